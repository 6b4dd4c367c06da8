#pragma once

#include "BRAQAudio/BRAQAudioFileReader.h"
#include "library/src/BRAQLoopWalk.h"

#include <atomic>

/// Where the walk of a buffer begins. Written while the buffer is filled, or when another loop is set, and read by
/// whoever asks for the position.
struct BRAQAudioFileReader::Beginning {
    std::atomic<SInt64> place{0};
    std::atomic<SInt64> first{0};
    std::atomic<SInt64> end{0};
    std::atomic<UInt64> returns{0};
    std::atomic<bool> isInside{false};
    std::atomic<UInt32> consumed{0}; ///< frames of the buffer before that
    std::atomic<UInt64> changes{0};  ///< odd while the others are written

    BRAQLoopWalk walk() const noexcept { return {place, first, end, returns, isInside}; }
    void set(const BRAQLoopWalk& walk, UInt32 consumedBefore) noexcept {
        place = walk.place;
        first = walk.first;
        end = walk.end;
        returns = walk.returns;
        isInside = walk.isInside;
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
