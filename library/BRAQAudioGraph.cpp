#include "BRAQAudio/BRAQAudioGraph.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"

namespace {

constexpr const char* file = "BRAQAudioGraph";

} // namespace

std::shared_ptr<BRAQAudioGraph> BRAQAudioGraph::init() {
    AUGraph graph = nullptr;
    if (NewAUGraph(&graph) != 0 || AUGraphOpen(graph) != 0) {
        return nullptr; // deliberately leaves the graph as it is
    }
    return std::shared_ptr<BRAQAudioGraph>(new BRAQAudioGraph(graph));
}

BRAQAudioGraph::~BRAQAudioGraph() {
    AUGraphUninitialize(mGraph);
    AUGraphClose(mGraph);
}

AUNode BRAQAudioGraph::addNodeWithType(UInt32 type, UInt32 subType, UInt32 manufacturer,
                                       std::shared_ptr<NSError>* error) {
    constexpr NSXCallSite here{file, "-[BRAQAudioGraph addNodeWithType:subType:manufacturer:error:]"};
    const AudioComponentDescription description{type, subType, manufacturer, 0, 0};
    AUNode node = 0;
    if (NSXReturnOnFailure(AUGraphAddNode(mGraph, &description, &node), "AUGraphAddNode( mGraph, &desc, &node )", here,
                           error)) {
        return 0;
    }
    return node;
}

AudioUnit BRAQAudioGraph::audioUnitForNode(AUNode node, std::shared_ptr<NSError>* error) {
    constexpr NSXCallSite here{file, "-[BRAQAudioGraph audioUnitForNode:error:]"};
    AudioUnit unit = nullptr;
    if (NSXReturnOnFailure(AUGraphNodeInfo(mGraph, node, nullptr, &unit),
                           "AUGraphNodeInfo( mGraph, node, ((void*)0), &unit )", here, error)) {
        return nullptr;
    }
    return unit;
}
