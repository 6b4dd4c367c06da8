#pragma once

// Graphs: units that pull from each other, started as one.

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/units.h"

/// A checked reference to a graph, as `AudioUnit` is one to a unit.
using AUGraph = struct OpaqueAUGraph*;
/// A place of a unit in a graph; from 1.
using AUNode = SInt32;

constexpr OSStatus kAUGraphErr_NodeNotFound = -10860;
constexpr OSStatus kAUGraphErr_InvalidConnection = -10861;
constexpr OSStatus kAUGraphErr_OutputNodeErr = -10862;
constexpr OSStatus kAUGraphErr_InvalidAudioUnit = -10864;

extern "C" {

// Any thread but an I/O thread, where these answer `kAudioUnitErr_CannotDoInCurrentContext`. A graph that is null or was
// disposed of answers `kAudio_ParamError`. Operations on one graph take turns.

/// Makes a graph without nodes, closed.
BRAQ_EXPORT OSStatus NewAUGraph(AUGraph* graph);
/// Stops and uninitialises the graph, lets its units go and forgets it.
BRAQ_EXPORT OSStatus DisposeAUGraph(AUGraph graph);

/// Makes the units of the nodes. Harmless when repeated; a graph without nodes opens too.
/// @return 0, or `kAUGraphErr_InvalidAudioUnit` when a node's unit cannot be made, and then it stays closed
BRAQ_EXPORT OSStatus AUGraphOpen(AUGraph graph);
/// Stops and uninitialises it and lets the units go; nodes and connections stay.
BRAQ_EXPORT OSStatus AUGraphClose(AUGraph graph);

/// Adds a node; in an open graph it gets its unit at once.
/// @return 0, or `kAUGraphErr_InvalidAudioUnit` when no component fits, and then there is no node
BRAQ_EXPORT OSStatus AUGraphAddNode(AUGraph graph, const AudioComponentDescription* description, AUNode* node);
/// @param description may be null: takes what the node was added with
/// @param unit may be null: takes the node's unit, which stays the graph's; null in a closed graph
/// @return 0 or `kAUGraphErr_NodeNotFound`
BRAQ_EXPORT OSStatus AUGraphNodeInfo(AUGraph graph, AUNode node, AudioComponentDescription* description,
                                     AudioUnit* unit);
/// Has an input of one node pull from an output of another.
/// @return 0, `kAUGraphErr_NodeNotFound`, or `kAUGraphErr_InvalidConnection`: from an output unit, from itself, in a circle, or
///         into an input that has a connection
BRAQ_EXPORT OSStatus AUGraphConnectNodeInput(AUGraph graph, AUNode source, UInt32 sourceOutput, AUNode destination,
                                             UInt32 destinationInput);

/// Initialises the units, each after those that it pulls from. Harmless when repeated.
/// @return 0, what a unit answers, `kAudioUnitErr_Uninitialized` for a closed graph, or `kAUGraphErr_OutputNodeErr` when there
///         is not exactly one output unit; then nothing stays initialised
BRAQ_EXPORT OSStatus AUGraphInitialize(AUGraph graph);
/// Stops the graph and undoes it.
BRAQ_EXPORT OSStatus AUGraphUninitialize(AUGraph graph);

/// Starts the one output unit. @return as `AudioOutputUnitStart`, or `kAUGraphErr_OutputNodeErr`
BRAQ_EXPORT OSStatus AUGraphStart(AUGraph graph);
/// As `AudioOutputUnitStop`.
BRAQ_EXPORT OSStatus AUGraphStop(AUGraph graph);
}
