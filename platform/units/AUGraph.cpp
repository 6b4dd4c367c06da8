#include "BRAQAudio/platform/graphs.h"

#include "platform/hardware/DeviceProcedures.h"
#include "platform/units/Graph.h"

#include <cstdint>
#include <map>
#include <memory>

namespace {

/// The graphs of the process, by numbers that are not used again.
class Graphs {
  public:
    static Graphs& instance() {
        // Never destroyed: other threads may still use graphs when the process ends.
        static auto* const graphs = new Graphs;
        return *graphs;
    }

    AUGraph add(std::shared_ptr<braq::Graph> graph) {
        const std::lock_guard lock(mMutex);
        mGraphs[++mLast] = std::move(graph);
        return reinterpret_cast<AUGraph>(mLast);
    }

    std::shared_ptr<braq::Graph> find(AUGraph reference) const {
        const std::lock_guard lock(mMutex);
        const auto found = mGraphs.find(reinterpret_cast<std::uintptr_t>(reference));
        return found != mGraphs.end() ? found->second : nullptr;
    }

    std::shared_ptr<braq::Graph> take(AUGraph reference) {
        const std::lock_guard lock(mMutex);
        const auto found = mGraphs.extract(reinterpret_cast<std::uintptr_t>(reference));
        return found.empty() ? nullptr : std::move(found.mapped());
    }

  private:
    mutable std::mutex mMutex;
    std::map<std::uintptr_t, std::shared_ptr<braq::Graph>> mGraphs; // under the mutex
    std::uintptr_t mLast = 0;                                       // under the mutex
};

template <class Work>
OSStatus onGraph(AUGraph reference, Work work) {
    if (braq::DeviceProcedures::isOnIOThread()) {
        return kAudioUnitErr_CannotDoInCurrentContext;
    }
    const auto graph = Graphs::instance().find(reference);
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
    *graph = Graphs::instance().add(std::make_shared<braq::Graph>());
    return 0;
}

OSStatus DisposeAUGraph(AUGraph graph) {
    if (braq::DeviceProcedures::isOnIOThread()) {
        return kAudioUnitErr_CannotDoInCurrentContext;
    }
    const auto taken = Graphs::instance().take(graph);
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
