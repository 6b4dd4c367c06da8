#include "tests/platform/units/UnitHelpers.h"

#include <gmock/gmock.h>

namespace {

using namespace braq::tests;
using testing::Each;
using testing::Optional;

/// A graph that is disposed of at the end.
class TestGraph {
  public:
    TestGraph() { EXPECT_EQ(NewAUGraph(&mGraph), 0); }
    ~TestGraph() { DisposeAUGraph(mGraph); }
    TestGraph(const TestGraph&) = delete;
    TestGraph& operator=(const TestGraph&) = delete;
    operator AUGraph() const { return mGraph; }

    AUNode add(const AudioComponentDescription& description) {
        AUNode node = 0;
        EXPECT_EQ(AUGraphAddNode(mGraph, &description, &node), 0);
        return node;
    }
    AudioUnit unit(AUNode node) {
        AudioUnit unit = nullptr;
        EXPECT_EQ(AUGraphNodeInfo(mGraph, node, nullptr, &unit), 0);
        return unit;
    }

  private:
    AUGraph mGraph = nullptr;
};

bool isInitialised(AudioUnit unit) {
    return setUnit(unit, kAudioUnitProperty_MaximumFramesPerSlice, global, 0, UInt32{1156}) ==
           kAudioUnitErr_Initialized;
}

TEST(Units_Graph, OpensWithoutNodes) {
    TestGraph graph;
    EXPECT_EQ(AUGraphOpen(graph), 0);
    EXPECT_EQ(AUGraphOpen(graph), 0) << "idempotent";
    EXPECT_EQ(AUGraphInitialize(graph), kAUGraphErr_OutputNodeErr);
    EXPECT_EQ(AUGraphStart(graph), kAUGraphErr_OutputNodeErr);
    EXPECT_EQ(AUGraphStop(graph), kAUGraphErr_OutputNodeErr);
    EXPECT_EQ(AUGraphUninitialize(graph), 0);
    EXPECT_EQ(AUGraphClose(graph), 0);
    EXPECT_EQ(AUGraphInitialize(graph), kAudioUnitErr_Uninitialized) << "closed";
}

TEST(Units_Graph, MakesTheUnitsOfItsNodesWhenItIsOpened) {
    TestGraph graph;
    const AUNode first = graph.add(varispeedDescription);
    EXPECT_EQ(graph.unit(first), nullptr) << "closed";
    ASSERT_EQ(AUGraphOpen(graph), 0);
    EXPECT_NE(graph.unit(first), nullptr);
    const AUNode second = graph.add(deviceDescription);
    EXPECT_NE(second, first);
    EXPECT_NE(graph.unit(second), nullptr) << "in an open graph at once";
    const AudioUnit unit = graph.unit(first);
    EXPECT_EQ(AUGraphClose(graph), 0);
    EXPECT_EQ(graph.unit(first), nullptr);
    EXPECT_EQ(AudioUnitInitialize(unit), kAudio_ParamError) << "it was disposed of";
    ASSERT_EQ(AUGraphOpen(graph), 0);
    EXPECT_NE(graph.unit(first), nullptr) << "nodes stay";
}

TEST(Units_Graph, TellsWhatItsNodesAre) {
    TestGraph graph;
    const AUNode node = graph.add(varispeedDescription);
    AudioComponentDescription description{};
    EXPECT_EQ(AUGraphNodeInfo(graph, node, &description, nullptr), 0);
    EXPECT_EQ(description.componentType, kAudioUnitType_FormatConverter);
    EXPECT_EQ(description.componentSubType, kAudioUnitSubType_Varispeed);
    EXPECT_EQ(AUGraphNodeInfo(graph, node, nullptr, nullptr), 0);
    for (const AUNode unknown : {0, -1, node + 1}) {
        EXPECT_EQ(AUGraphNodeInfo(graph, unknown, &description, nullptr), kAUGraphErr_NodeNotFound);
        EXPECT_EQ(AUGraphConnectNodeInput(graph, node, 0, unknown, 0), kAUGraphErr_NodeNotFound);
        EXPECT_EQ(AUGraphConnectNodeInput(graph, unknown, 0, node, 0), kAUGraphErr_NodeNotFound);
    }
    constexpr AudioComponentDescription none{kAudioUnitType_Output, kAudioUnitSubType_Varispeed, 0, 0, 0};
    AUNode added = 77;
    EXPECT_EQ(AUGraphAddNode(graph, &none, &added), kAUGraphErr_InvalidAudioUnit);
    EXPECT_EQ(AUGraphAddNode(graph, nullptr, &added), kAudio_ParamError);
    EXPECT_EQ(AUGraphAddNode(graph, &deviceDescription, nullptr), kAudio_ParamError);
    EXPECT_EQ(added, 77);
    EXPECT_EQ(AUGraphOpen(graph), 0) << "there is no node that cannot be made";
}

TEST(Units_Graph, AnswersABadParameterForWhatIsNoGraph) {
    AUGraph disposed = nullptr;
    NewAUGraph(&disposed);
    EXPECT_EQ(DisposeAUGraph(disposed), 0);
    EXPECT_EQ(NewAUGraph(nullptr), kAudio_ParamError);
    for (const AUGraph graph : {AUGraph{nullptr}, disposed, disposed}) {
        AUNode node = 0;
        const std::vector<OSStatus> statuses{AUGraphOpen(graph),
                                             AUGraphClose(graph),
                                             AUGraphAddNode(graph, &deviceDescription, &node),
                                             AUGraphNodeInfo(graph, 1, nullptr, nullptr),
                                             AUGraphConnectNodeInput(graph, 1, 0, 2, 0),
                                             AUGraphInitialize(graph),
                                             AUGraphUninitialize(graph),
                                             AUGraphStart(graph),
                                             AUGraphStop(graph),
                                             DisposeAUGraph(graph)};
        EXPECT_THAT(statuses, Each(kAudio_ParamError));
    }
}

TEST(Units_Graph, HasExactlyOneOutput) {
    const auto device = steppedDevice("device");
    device->makeDefaultPlaybackDevice();
    TestGraph graph;
    AUGraphOpen(graph);
    const AUNode varispeed = graph.add(varispeedDescription);
    EXPECT_EQ(AUGraphInitialize(graph), kAUGraphErr_OutputNodeErr);
    EXPECT_FALSE(isInitialised(graph.unit(varispeed)));
    graph.add(deviceDescription);
    EXPECT_EQ(AUGraphStart(graph), kAudioUnitErr_Uninitialized);
    EXPECT_EQ(AUGraphStop(graph), kAudioUnitErr_Uninitialized);
    EXPECT_EQ(AUGraphInitialize(graph), 0);
    EXPECT_EQ(AUGraphInitialize(graph), 0) << "idempotent";
    EXPECT_EQ(AUGraphUninitialize(graph), 0);
    graph.add(deviceDescription);
    EXPECT_EQ(AUGraphInitialize(graph), kAUGraphErr_OutputNodeErr);
    EXPECT_EQ(AUGraphStart(graph), kAUGraphErr_OutputNodeErr);
}

TEST(Units_Graph, RefusesConnectionsThatCannotBe) {
    TestGraph graph;
    const AUNode first = graph.add(varispeedDescription);
    const AUNode second = graph.add(varispeedDescription);
    const AUNode third = graph.add(varispeedDescription);
    const AUNode fourth = graph.add(varispeedDescription);
    const AUNode last = graph.add(deviceDescription);
    EXPECT_EQ(AUGraphConnectNodeInput(graph, first, 0, first, 0), kAUGraphErr_InvalidConnection) << "itself";
    EXPECT_EQ(AUGraphConnectNodeInput(graph, last, 0, first, 0), kAUGraphErr_InvalidConnection) << "from the output";
    EXPECT_EQ(AUGraphConnectNodeInput(graph, first, 1, second, 0), kAUGraphErr_InvalidConnection);
    EXPECT_EQ(AUGraphConnectNodeInput(graph, first, 0, second, 1), kAUGraphErr_InvalidConnection);
    EXPECT_EQ(AUGraphConnectNodeInput(graph, first, 0, second, 0), 0);
    EXPECT_EQ(AUGraphConnectNodeInput(graph, first, 0, second, 0), kAUGraphErr_InvalidConnection) << "twice";
    EXPECT_EQ(AUGraphConnectNodeInput(graph, fourth, 0, second, 0), kAUGraphErr_InvalidConnection) << "taken";
    EXPECT_EQ(AUGraphConnectNodeInput(graph, second, 0, third, 0), 0);
    EXPECT_EQ(AUGraphConnectNodeInput(graph, second, 0, first, 0), kAUGraphErr_InvalidConnection) << "a circle";
    EXPECT_EQ(AUGraphConnectNodeInput(graph, third, 0, first, 0), kAUGraphErr_InvalidConnection) << "a wide one";
    EXPECT_EQ(AUGraphConnectNodeInput(graph, third, 0, last, 0), 0);
}

struct Chain {
    TestGraph graph;
    AUNode output = graph.add(deviceDescription);
    AUNode second = graph.add(varispeedDescription);
    AUNode first = graph.add(varispeedDescription);
    Callback callback;
    explicit Chain(AudioDeviceID device, Callback::Body body) : callback(std::move(body)) {
        EXPECT_EQ(AUGraphConnectNodeInput(graph, second, 0, output, 0), 0);
        EXPECT_EQ(AUGraphConnectNodeInput(graph, first, 0, second, 0), 0);
        setUp(device);
    }
    void setUp(AudioDeviceID device) {
        EXPECT_EQ(AUGraphOpen(graph), 0);
        EXPECT_EQ(setUnit(graph.unit(output), kAudioOutputUnitProperty_CurrentDevice, global, 0, device), 0);
        for (const AUNode node : {output, second, first}) {
            EXPECT_EQ(setUnit(graph.unit(node), kAudioUnitProperty_SampleRate, input, 0, Float64{48000.0}), 0);
        }
        for (const AUNode node : {second, first}) {
            EXPECT_EQ(
                setUnit(graph.unit(node), kAudioUnitProperty_SampleRate, braq::tests::output, 0, Float64{48000.0}), 0);
        }
        EXPECT_EQ(setUnit(graph.unit(first), kAudioUnitProperty_SetRenderCallback, input, 0, callback.get()), 0);
    }
};

TEST(Units_Graph, PlaysThroughItsConnectionsWhateverTheOrderOfTheNodes) {
    const auto device = steppedDevice("device");
    Tape tape(numbered);
    Chain chain(device->deviceID(), tape.body());
    ASSERT_EQ(AUGraphInitialize(chain.graph), 0);
    EXPECT_TRUE(isInitialised(chain.graph.unit(chain.first)));
    ASSERT_EQ(AUGraphStart(chain.graph), 0);
    EXPECT_EQ(AUGraphStart(chain.graph), 0) << "idempotent";
    const Channels played = stepPlaying(*device, 2, 5000, 2500);
    for (std::size_t frame = 0; frame < 5000; ++frame) {
        ASSERT_EQ(played[1][frame], numbered(1, frame)) << "untouched at rate 1";
    }
    EXPECT_EQ(tape.delivered, 5000U);
    EXPECT_EQ(AUGraphStop(chain.graph), 0);
    EXPECT_EQ(AUGraphStop(chain.graph), 0) << "idempotent";
    EXPECT_FALSE(device->step(16));
}

TEST(Units_Graph, StartsAgainAndAgain) {
    const auto device = steppedDevice("device");
    Tape tape(numbered);
    Chain chain(device->deviceID(), tape.body());
    for (int round = 0; round < 5; ++round) {
        if (round == 3) {
            ASSERT_EQ(AUGraphClose(chain.graph), 0);
            chain.setUp(device->deviceID());
        }
        ASSERT_EQ(AUGraphInitialize(chain.graph), 0);
        ASSERT_EQ(AUGraphStart(chain.graph), 0);
        const UInt64 before = tape.delivered;
        EXPECT_EQ(stepPlaying(*device, 2, 100)[0].front(), numbered(0, before));
        if (round % 2 == 0) {
            EXPECT_EQ(AUGraphStop(chain.graph), 0);
        }
        EXPECT_EQ(AUGraphUninitialize(chain.graph), 0) << "running or not";
        EXPECT_FALSE(device->step(16));
    }
}

TEST(Units_Graph, IsDisposedOfWhileItRuns) {
    const auto device = steppedDevice("device");
    Tape tape(numbered);
    AUGraph graph = nullptr;
    AudioUnit unit = nullptr;
    {
        Chain chain(device->deviceID(), tape.body());
        graph = chain.graph;
        unit = chain.graph.unit(chain.first);
        AUGraphInitialize(graph);
        AUGraphStart(graph);
        device->step(100);
        EXPECT_EQ(DisposeAUGraph(graph), 0);
        EXPECT_FALSE(device->step(100));
        EXPECT_EQ(tape.delivered, 100U);
        EXPECT_EQ(DisposeAUGraph(graph), kAudio_ParamError);
        EXPECT_EQ(AudioUnitUninitialize(unit), kAudio_ParamError) << "its units are gone with it";
    }
}

TEST(Units_Graph, LeavesNothingInitialisedWhenAUnitRefuses) {
    Tape tape(numbered);
    const auto device = steppedDevice("device");
    Chain chain(device->deviceID(), tape.body());
    setUnit(chain.graph.unit(chain.second), kAudioUnitProperty_SampleRate, input, 0, Float64{96000.0});
    EXPECT_EQ(AUGraphInitialize(chain.graph), kAudioUnitErr_FormatNotSupported);
    for (const AUNode node : {chain.output, chain.second, chain.first}) {
        EXPECT_FALSE(isInitialised(chain.graph.unit(node)));
    }
    EXPECT_EQ(AUGraphStart(chain.graph), kAudioUnitErr_Uninitialized);
    setUnit(chain.graph.unit(chain.second), kAudioUnitProperty_SampleRate, input, 0, Float64{48000.0});
    device->remove();
    waitForNotifications();
    EXPECT_EQ(AUGraphInitialize(chain.graph), kAudioUnitErr_FailedInitialization);
    for (const AUNode node : {chain.output, chain.second, chain.first}) {
        EXPECT_FALSE(isInitialised(chain.graph.unit(node)));
    }
}

TEST(Units_Graph, RefusesConnectionsWhileInitialised) {
    const auto device = steppedDevice("device");
    Tape tape(numbered);
    Chain chain(device->deviceID(), tape.body());
    const AUNode more = chain.graph.add(varispeedDescription);
    ASSERT_EQ(AUGraphInitialize(chain.graph), 0);
    EXPECT_EQ(AUGraphConnectNodeInput(chain.graph, more, 0, chain.first, 0), kAudioUnitErr_Initialized);
}

TEST(Units_Graph, ReportsThatTheDeviceRefusesToStart) {
    const auto device = steppedDevice("device");
    Tape tape(numbered);
    Chain chain(device->deviceID(), tape.body());
    ASSERT_EQ(AUGraphInitialize(chain.graph), 0);
    device->failStarts(1, kAudioHardwareUnspecifiedError);
    EXPECT_EQ(AUGraphStart(chain.graph), kAudioHardwareUnspecifiedError);
    EXPECT_THAT(getUnit<UInt32>(chain.graph.unit(chain.output), kAudioOutputUnitProperty_IsRunning), Optional(0U));
    EXPECT_EQ(AUGraphStart(chain.graph), 0);
    EXPECT_TRUE(device->step(16));
}

} // namespace
