#pragma once

#include "BRAQAudio/BRAQAudioFileReader.h"
#include "library/src/BRAQLoopWalk.h"

#include <atomic>

/// Where the walk of a buffer begins. Written while the buffer is filled, or when another loop is set, and read by
/// whoever asks for the position.
struct BRAQAudioFileReader::Beginning {
    BRAQPublishedLoopWalk published;
    std::atomic<UInt32> consumed{0}; ///< frames of the buffer before that
    std::atomic<UInt64> changes{0};  ///< odd while the others are written

    BRAQLoopWalk walk() const noexcept { return published.get(); }
    void set(const BRAQLoopWalk& walk, UInt32 consumedBefore) noexcept {
        published.set(walk);
        consumed = consumedBefore;
    }
};

struct BRAQAudioFileReader::Place {
    UInt64 index;      ///< of the current buffer
    UInt32 consumed;   ///< frames of it
    SInt64 fileStart;  ///< where it was filled
    BRAQLoopWalk walk; ///< to the frames consumed
    bool isBackwards;
};
