#include "BRAQAudio/BRAQAudioGraph.h"

#include "tests/src/UnitCalls.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using braq::tests::CapturedLog;
using braq::tests::refused;
using braq::tests::UnitCalls;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr UInt32 converter = BRAQFourCharCode("aufc");
constexpr UInt32 varispeed = BRAQFourCharCode("vari");
constexpr UInt32 platform = BRAQFourCharCode("appl");

void expectError(const std::shared_ptr<NSError>& error, OSStatus status, const std::string& method,
                 const std::string& origin) {
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code(), status);
    EXPECT_EQ(std::get<std::string>(error->userInfo().at("reportingFile")), "BRAQAudioGraph");
    EXPECT_EQ(std::get<std::string>(error->userInfo().at("reportingMethod")), "-[BRAQAudioGraph " + method + "]");
    EXPECT_EQ(std::get<std::string>(error->userInfo().at("origin")), origin);
}

TEST(AudioGraph, AddsNodesAndFindsTheirUnits) {
    const auto graph = BRAQAudioGraph::init();
    std::shared_ptr<NSError> error;
    const AUNode node = graph->addNodeWithType(converter, varispeed, platform, &error);
    EXPECT_NE(node, 0);
    const AudioUnit unit = graph->audioUnitForNode(node, &error);
    ASSERT_NE(unit, nullptr);
    EXPECT_EQ(error, nullptr);
    Float32 rate = 0.0F;
    EXPECT_EQ(AudioUnitGetParameter(unit, kVarispeedParam_PlaybackRate, kAudioUnitScope_Global, 0, &rate), 0);
    EXPECT_EQ(rate, 1.0F);
    AudioUnit same = nullptr;
    EXPECT_EQ(AUGraphNodeInfo(graph->graph(), node, nullptr, &same), 0);
    EXPECT_EQ(same, unit);
}

TEST(AudioGraph, HandsOutWhyThereIsNoNodeOrNoUnit) {
    const auto graph = BRAQAudioGraph::init();
    std::shared_ptr<NSError> error;
    EXPECT_EQ(graph->addNodeWithType(converter, BRAQFourCharCode("none"), platform, &error), 0);
    expectError(error, kAUGraphErr_InvalidAudioUnit,
                "addNodeWithType:subType:manufacturer:error:", "AUGraphAddNode( mGraph, &desc, &node )");
    error.reset();
    EXPECT_EQ(graph->audioUnitForNode(17, &error), nullptr);
    expectError(error, kAUGraphErr_NodeNotFound,
                "audioUnitForNode:error:", "AUGraphNodeInfo( mGraph, node, ((void*)0), &unit )");
    EXPECT_EQ(graph->addNodeWithType(converter, BRAQFourCharCode("none"), platform, nullptr), 0);
    EXPECT_EQ(graph->audioUnitForNode(17, nullptr), nullptr);
}

TEST(AudioGraph, IsNothingWithoutAWordWhereThereIsNoGraph) {
    const CapturedLog log;
    for (const std::size_t failing : {0U, 1U}) {
        const UnitCalls calls(failing, refused);
        EXPECT_EQ(BRAQAudioGraph::init(), nullptr);
        EXPECT_EQ(calls.calls().size(), failing + 1) << "nothing is undone";
    }
    EXPECT_THAT(log.errors(), IsEmpty());
}

TEST(AudioGraph, ClosesItsGraphWithoutDisposingOfIt) {
    auto graph = BRAQAudioGraph::init();
    const AUGraph reference = graph->graph();
    const UnitCalls calls;
    graph.reset();
    EXPECT_THAT(calls.functions(), ElementsAre("AUGraphUninitialize", "AUGraphClose"));
    EXPECT_EQ(AUGraphOpen(reference), 0) << "it is still there";
    EXPECT_EQ(DisposeAUGraph(reference), 0);
}

} // namespace
