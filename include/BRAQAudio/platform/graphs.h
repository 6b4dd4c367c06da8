#pragma once

// Graphs: units that pull from each other and are started together. For C11 and C++.

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/units.h"

/// @addtogroup audiounits
/// @{

/// A checked reference to a graph, like `AudioUnit` to a unit.
typedef struct OpaqueAUGraph* AUGraph;
/// A node of a graph, which holds one unit; from 1.
typedef SInt32 AUNode;

BRAQ_CONSTANT(OSStatus, kAUGraphErr_NodeNotFound, -10860);
BRAQ_CONSTANT(OSStatus, kAUGraphErr_InvalidConnection, -10861);
BRAQ_CONSTANT(OSStatus, kAUGraphErr_OutputNodeErr, -10862);
BRAQ_CONSTANT(OSStatus, kAUGraphErr_InvalidAudioUnit, -10864);

#ifdef __cplusplus
extern "C" {
#endif

// Any thread but an I/O thread, where these return `kAudioUnitErr_CannotDoInCurrentContext`. A null or disposed graph
// returns `kAudio_ParamError`. Operations on one graph are serialised.

/// Creates a closed graph without nodes.
BRAQ_EXPORT OSStatus NewAUGraph(AUGraph* graph);
/// Stops and uninitialises the graph, disposes of its units, and frees it.
BRAQ_EXPORT OSStatus DisposeAUGraph(AUGraph graph);

/// Creates the units of the nodes. Idempotent. A graph without nodes can be opened, too.
/// @return 0, or `kAUGraphErr_InvalidAudioUnit` if a node's unit cannot be created; then the graph stays closed
BRAQ_EXPORT OSStatus AUGraphOpen(AUGraph graph);
/// Stops and uninitialises the graph and disposes of its units. Nodes and connections stay.
BRAQ_EXPORT OSStatus AUGraphClose(AUGraph graph);

/// Adds a node. In an open graph its unit is created at once.
/// @return 0, or `kAUGraphErr_InvalidAudioUnit` if no component matches; then no node is added
BRAQ_EXPORT OSStatus AUGraphAddNode(AUGraph graph, const AudioComponentDescription* description, AUNode* node);
/// @param description may be null; receives the description that the node was added with
/// @param unit may be null; receives the node's unit, which the graph owns; null in a closed graph
/// @return 0 or `kAUGraphErr_NodeNotFound`
BRAQ_EXPORT OSStatus AUGraphNodeInfo(AUGraph graph, AUNode node, AudioComponentDescription* description,
                                     AudioUnit* unit);
/// Connects an output of one node to an input of another.
/// @return 0, `kAUGraphErr_NodeNotFound`, or `kAUGraphErr_InvalidConnection`: from an output unit, from itself, in a
///        cycle, or into an input that is already connected
BRAQ_EXPORT OSStatus AUGraphConnectNodeInput(AUGraph graph, AUNode source, UInt32 sourceOutput, AUNode destination,
                                             UInt32 destinationInput);

/// Initialises the units, each after those that it pulls from. Idempotent.
/// @return 0, the error of a unit, `kAudioUnitErr_Uninitialized` for a closed graph, or `kAUGraphErr_OutputNodeErr`
///        unless there is exactly one output unit; on failure nothing stays initialised
BRAQ_EXPORT OSStatus AUGraphInitialize(AUGraph graph);
/// Stops the graph and uninitialises its units.
BRAQ_EXPORT OSStatus AUGraphUninitialize(AUGraph graph);

/// Starts the output unit. @return as `AudioOutputUnitStart`, or `kAUGraphErr_OutputNodeErr`
BRAQ_EXPORT OSStatus AUGraphStart(AUGraph graph);
/// Stops the output unit, like `AudioOutputUnitStop`.
BRAQ_EXPORT OSStatus AUGraphStop(AUGraph graph);
#ifdef __cplusplus
}
#endif

/// @}
