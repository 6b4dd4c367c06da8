#include "tests/platform/units/UnitHelpers.h"

#include <gmock/gmock.h>

namespace {

using namespace braq::tests;
using testing::Each;

void listen(void*, AudioUnit, AudioUnitPropertyID, AudioUnitScope, AudioUnitElement) {}

TEST(Units_IOThread, IsRefusedWhatMayWait) {
    const auto device = steppedDevice("device");
    TestUnit other;
    TestUnit varispeed(varispeedDescription);
    AUGraph graph = nullptr;
    NewAUGraph(&graph);
    std::vector<OSStatus> statuses;
    std::vector<OSStatus> parameters;
    Player player(device->deviceID(), planar(48000.0, 2), [&](const AudioTimeStamp& time, UInt32, AudioBufferList*) {
        for (const AudioUnit unit : {AudioUnit{other}, AudioUnit{player.unit}}) {
            UInt32 value = 0;
            UInt32 size = sizeof(value);
            statuses.insert(
                statuses.end(),
                {AudioUnitInitialize(unit), AudioUnitUninitialize(unit), AudioOutputUnitStart(unit),
                 AudioOutputUnitStop(unit), AudioComponentInstanceDispose(unit),
                 AudioUnitGetProperty(unit, kAudioOutputUnitProperty_IsRunning, global, 0, &value, &size),
                 AudioUnitSetProperty(unit, kAudioOutputUnitProperty_StartTimestampsAtZero, global, 0, &value, size),
                 AudioUnitAddPropertyListener(unit, kAudioOutputUnitProperty_IsRunning, listen, nullptr),
                 AudioUnitRemovePropertyListenerWithUserData(unit, kAudioOutputUnitProperty_IsRunning, listen,
                                                             nullptr)});
            Float32 volume = 0.0F;
            parameters.push_back(AudioUnitSetParameter(unit, kHALOutputParam_Volume, global, 0, 0.5F, 0));
            parameters.push_back(AudioUnitGetParameter(unit, kHALOutputParam_Volume, global, 0, &volume));
        }
        AudioUnit made = nullptr;
        AUGraph madeGraph = nullptr;
        AUNode node = 0;
        statuses.insert(statuses.end(),
                        {AudioComponentInstanceNew(AudioComponentFindNext(nullptr, &deviceDescription), &made),
                         NewAUGraph(&madeGraph), AUGraphOpen(graph), AUGraphClose(graph), AUGraphInitialize(graph),
                         AUGraphUninitialize(graph), AUGraphStart(graph), AUGraphStop(graph), DisposeAUGraph(graph),
                         AUGraphAddNode(graph, &deviceDescription, &node), AUGraphNodeInfo(graph, 1, nullptr, nullptr),
                         AUGraphConnectNodeInput(graph, 1, 0, 2, 0)});
        parameters.push_back(AudioUnitSetParameter(varispeed, kVarispeedParam_PlaybackRate, global, 0, 2.0F, 0));
        static_cast<void>(time);
        return 0;
    });
    ASSERT_EQ(player.start(), 0);
    device->step(16);
    EXPECT_EQ(statuses.size(), 30U);
    EXPECT_THAT(statuses, Each(kAudioUnitErr_CannotDoInCurrentContext));
    EXPECT_EQ(parameters.size(), 5U);
    EXPECT_THAT(parameters, Each(0)) << "may be changed anywhere";
    EXPECT_EQ(DisposeAUGraph(graph), 0) << "nothing has happened to it";
    EXPECT_TRUE(device->step(16)) << "nor to the unit";
}

} // namespace
