#include "BRAQAudio/platform/graphs.h"

#include "platform/foundation/HandleTable.h"
#include "platform/hardware/DeviceProcedures.h"
#include "platform/units/Graph.h"

#include <cstdint>
#include <memory>

namespace {

/// The graphs of the process.
braq::HandleTable<braq::Graph>& graphs() {
    // Never destroyed: other threads may still use graphs when the process ends.
    static auto* const table = new braq::HandleTable<braq::Graph>;
    return *table;
}

std::uintptr_t numberOf(AUGraph reference) { return reinterpret_cast<std::uintptr_t>(reference); }

template <class Work>
OSStatus onGraph(AUGraph reference, Work work) {
    if (braq::DeviceProcedures::isOnIOThread()) {
        return kAudioUnitErr_CannotDoInCurrentContext;
    }
    const auto graph = graphs().find(numberOf(reference));
    return graph != nullptr ? work(*graph) : kAudio_ParamError;
}

} // namespace

OSStatus NewAUGraph(AUGraph* graph) {
    if (braq::DeviceProcedures::isOnIOThread()) {
        return kAudioUnitErr_CannotDoInCurrentContext;
    }
    if (graph == nullptr) {
        return kAudio_ParamError;
    }
    *graph = reinterpret_cast<AUGraph>(graphs().add(std::make_shared<braq::Graph>()));
    return 0;
}

OSStatus DisposeAUGraph(AUGraph graph) {
    if (braq::DeviceProcedures::isOnIOThread()) {
        return kAudioUnitErr_CannotDoInCurrentContext;
    }
    const auto taken = graphs().take(numberOf(graph));
    return taken != nullptr ? taken->close() : kAudio_ParamError;
}

OSStatus AUGraphOpen(AUGraph graph) {
    return onGraph(graph, [](braq::Graph& of) { return of.open(); });
}

OSStatus AUGraphClose(AUGraph graph) {
    return onGraph(graph, [](braq::Graph& of) { return of.close(); });
}

OSStatus AUGraphAddNode(AUGraph graph, const AudioComponentDescription* description, AUNode* node) {
    return onGraph(graph, [&](braq::Graph& of) {
        return description != nullptr && node != nullptr ? of.addNode(*description, node) : kAudio_ParamError;
    });
}

OSStatus AUGraphNodeInfo(AUGraph graph, AUNode node, AudioComponentDescription* description, AudioUnit* unit) {
    return onGraph(graph, [&](braq::Graph& of) { return of.nodeInfo(node, description, unit); });
}

OSStatus AUGraphConnectNodeInput(AUGraph graph, AUNode source, UInt32 sourceOutput, AUNode destination,
                                 UInt32 destinationInput) {
    return onGraph(graph,
                   [&](braq::Graph& of) { return of.connect(source, sourceOutput, destination, destinationInput); });
}

OSStatus AUGraphInitialize(AUGraph graph) {
    return onGraph(graph, [](braq::Graph& of) { return of.initialize(); });
}

OSStatus AUGraphUninitialize(AUGraph graph) {
    return onGraph(graph, [](braq::Graph& of) { return of.uninitialize(); });
}

OSStatus AUGraphStart(AUGraph graph) {
    return onGraph(graph, [](braq::Graph& of) { return of.start(); });
}

OSStatus AUGraphStop(AUGraph graph) {
    return onGraph(graph, [](braq::Graph& of) { return of.stop(); });
}
