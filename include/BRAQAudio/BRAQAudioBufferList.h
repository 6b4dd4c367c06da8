#pragma once

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/types.h"

/// @addtogroup core
/// @{

extern "C" {

/// Allocates a list with uninitialised sample memory: one buffer for all channels if interleaved, else one buffer per
/// channel. Each channel gets bytesPerSample x frames bytes (only the product matters).
/// @param channels at least 1
/// @return null if out of memory
/// Not on an I/O thread.
BRAQ_EXPORT AudioBufferList* BRAQAudioBufferListCreate(UInt32 channels, UInt32 bytesPerSample, UInt32 frames,
                                                       bool interleaved);
/// Frees the sample memory of every buffer, then the list. Not on an I/O thread.
BRAQ_EXPORT void BRAQAudioBufferListDestroy(AudioBufferList* list);
/// Allocates a list with the same descriptors, which share the sample memory. Free it with `free`, never with
/// `BRAQAudioBufferListDestroy`. Not on an I/O thread.
/// @return null if out of memory
BRAQ_EXPORT AudioBufferList* BRAQAudioBufferListCopy(const AudioBufferList* list);
/// Copies the header and descriptors into `destination`, which must have room for as many buffers. The samples are
/// shared.
/// @realtime
BRAQ_EXPORT void BRAQAudioBufferListCopyTo(const AudioBufferList* list, AudioBufferList* destination) noexcept;
/// Frames of `bytesPerSample` bytes that fit into the first buffer. 0 if `bytesPerSample` or its channel count is 0.
/// @realtime
BRAQ_EXPORT UInt32 BRAQAudioBufferListCapacityInFrames(const AudioBufferList* list, UInt32 bytesPerSample) noexcept;
}

/// @}
