#pragma once

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/foundation.h"
#include "BRAQAudio/platform/graphs.h"

#include <memory>

/// @addtogroup units
/// @{

/// An open platform graph. Nothing here raises. Any thread but an I/O thread.
class BRAQ_EXPORT BRAQAudioGraph {
  public:
    /// @return null, without a log line, if no graph can be made
    static std::shared_ptr<BRAQAudioGraph> init();
    /// Uninitialises and closes the graph. It deliberately does not dispose of it.
    virtual ~BRAQAudioGraph();
    BRAQAudioGraph(const BRAQAudioGraph&) = delete;
    BRAQAudioGraph& operator=(const BRAQAudioGraph&) = delete;

    /// Adds a node for the first component that matches; 0 matches anything.
    /// @param error may be null; written on failure only
    /// @return 0 on failure
    AUNode addNodeWithType(UInt32 type, UInt32 subType, UInt32 manufacturer, std::shared_ptr<NSError>* error);
    /// The unit of a node. The graph keeps ownership.
    /// @param error may be null; written on failure only
    /// @return null on failure
    AudioUnit audioUnitForNode(AUNode node, std::shared_ptr<NSError>* error);

    AUGraph graph() const noexcept { return mGraph; }

  protected:
    explicit BRAQAudioGraph(AUGraph graph) noexcept : mGraph(graph) {}

  private:
    AUGraph mGraph;
};

/// @}
