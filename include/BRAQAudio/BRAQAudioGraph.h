#pragma once

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/foundation.h"
#include "BRAQAudio/platform/graphs.h"

#include <memory>

/// An open graph of the platform. Raises nothing. Any thread but an I/O thread.
class BRAQ_EXPORT BRAQAudioGraph {
  public:
    /// @return null, without a word, if there is no graph to be had
    static std::shared_ptr<BRAQAudioGraph> init();
    /// Uninitialises and closes the graph, and deliberately does not dispose of it.
    virtual ~BRAQAudioGraph();
    BRAQAudioGraph(const BRAQAudioGraph&) = delete;
    BRAQAudioGraph& operator=(const BRAQAudioGraph&) = delete;

    /// Adds a node for the first component that fits; 0 fits anything.
    /// @param error may be null; written only on failure
    /// @return 0 on failure
    AUNode addNodeWithType(UInt32 type, UInt32 subType, UInt32 manufacturer, std::shared_ptr<NSError>* error);
    /// The unit of a node, which stays the graph's.
    /// @param error may be null; written only on failure
    /// @return null on failure
    AudioUnit audioUnitForNode(AUNode node, std::shared_ptr<NSError>* error);

    AUGraph graph() const noexcept { return mGraph; }

  protected:
    explicit BRAQAudioGraph(AUGraph graph) noexcept : mGraph(graph) {}

  private:
    AUGraph mGraph;
};
