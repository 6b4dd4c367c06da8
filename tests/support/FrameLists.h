#pragma once

#include "BRAQAudio/platform/types.h"

#include <memory>

// Non-interleaved float buffer lists whose every sample tells which frame and channel it belongs to, so that a frame that
// is lost, doubled, torn or in the wrong channel shows.

namespace braq::tests {

/// The sample of a numbered stream; exact for frames below 2^21.
constexpr Float32 sampleOf(UInt64 frame, UInt32 channel) { return static_cast<Float32>(frame * 8 + channel); }

/// Writes frames `firstNumber`, `firstNumber` + 1, … to the first `frames` frames of `list`.
void number(AudioBufferList* list, UInt64 firstNumber, UInt32 frames);

/// Expects the frames of `list` from `position` on to be numbered from `firstNumber`; reports the first that is not.
void expectNumbered(const AudioBufferList* list, UInt32 position, UInt64 firstNumber, UInt32 frames);

/// A list with its memory, filled with zeros.
class FrameList {
  public:
    FrameList(UInt32 channels, UInt32 frames);
    ~FrameList();
    FrameList(const FrameList&) = delete;
    FrameList& operator=(const FrameList&) = delete;

    AudioBufferList* get() const { return mList; }
    Float32 sample(UInt32 channel, UInt32 frame) const;
    void fill(Float32 value);
    void expectNumbered(UInt32 position, UInt64 firstNumber, UInt32 frames) const {
        tests::expectNumbered(mList, position, firstNumber, frames);
    }

  private:
    AudioBufferList* mList;
    UInt32 mFrames;
};

} // namespace braq::tests
