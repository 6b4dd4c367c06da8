#pragma once

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/types.h"

extern "C" {

/// A new list with sample memory of undefined content: one buffer with all channels when interleaved, else one buffer a
/// channel. Each channel gets bytesPerSample x frames bytes (only the product counts).
/// @param channels at least 1
/// @return null if there is no memory
/// Never on an I/O thread.
BRAQ_EXPORT AudioBufferList* BRAQAudioBufferListCreate(UInt32 channels, UInt32 bytesPerSample, UInt32 frames,
                                                       bool interleaved);
/// Frees the sample memory of every buffer, then the list. Never on an I/O thread.
BRAQ_EXPORT void BRAQAudioBufferListDestroy(AudioBufferList* list);
/// A new list with the same descriptors that shares the sample memory. Free it with `free`, never with
/// `BRAQAudioBufferListDestroy`. Never on an I/O thread.
/// @return null if there is no memory
BRAQ_EXPORT AudioBufferList* BRAQAudioBufferListCopy(const AudioBufferList* list);
/// Copies header and descriptors into `destination`, which has room for as many buffers; samples are shared.
/// @realtime
BRAQ_EXPORT void BRAQAudioBufferListCopyTo(const AudioBufferList* list, AudioBufferList* destination) noexcept;
/// Frames of `bytesPerSample` bytes that the first buffer has room for; 0 when that or its channel count is 0.
/// @realtime
BRAQ_EXPORT UInt32 BRAQAudioBufferListCapacityInFrames(const AudioBufferList* list, UInt32 bytesPerSample) noexcept;
}
