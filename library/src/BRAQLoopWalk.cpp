#include "library/src/BRAQLoopWalk.h"

#include <algorithm>
#include <limits>

bool BRAQLoopWalk::isLeadingIn(bool backwards) const noexcept {
    return first < end && place >= 0 && (backwards ? place > first : place < end);
}

bool BRAQLoopWalk::isAtSeam(bool backwards) const noexcept {
    return first < end && isInside && returns > 0 && place == (backwards ? first : end);
}

void BRAQLoopWalk::goBack(bool backwards) noexcept {
    place = backwards ? end : first;
    --returns;
}

UInt64 BRAQLoopWalk::framesToSeam(bool backwards, UInt64 most) const noexcept {
    if (!isLeadingIn(backwards)) {
        return most;
    }
    return std::min(most, static_cast<UInt64>(backwards ? place - first : end - place));
}

SInt64 BRAQLoopWalk::nextFrame(bool backwards) const noexcept {
    BRAQLoopWalk next = *this;
    if (isAtSeam(backwards)) {
        next.goBack(backwards);
    }
    return backwards ? next.place - 1 : next.place;
}

// Whole rounds are counted, not walked: the real-time side may ask.
void BRAQLoopWalk::advance(UInt64 frames, bool backwards) noexcept {
    if (frames == 0) {
        return;
    }
    if (isAtSeam(backwards)) {
        goBack(backwards);
    }
    const auto step = static_cast<SInt64>(frames);
    if (!isLeadingIn(backwards)) {
        place += backwards ? -step : step;
        isInside = false;
        return;
    }
    const SInt64 length = end - first;
    SInt64 offset = (backwards ? end - place : place - first) + step; // frames of the range, from where it is entered
    if (offset > length) {
        const UInt64 rounds = std::min(static_cast<UInt64>(offset - 1) / static_cast<UInt64>(length), returns);
        returns -= rounds;
        offset -= static_cast<SInt64>(rounds) * length;
    }
    place = backwards ? end - offset : first + offset;
    isInside = offset > 0 && offset <= length;
}

BRAQLoopWalk BRAQLoopWalk::inLoop(SInt64 newFirst, SInt64 newEnd, UInt64 newReturns, bool backwards) const noexcept {
    const bool staysAtSeam = newFirst == first && newEnd == end && isAtSeam(backwards);
    const bool isWithin = backwards ? newFirst < place && place <= newEnd : newFirst <= place && place < newEnd;
    const bool isEndless = newReturns == std::numeric_limits<UInt64>::max();
    return {place, newFirst, newEnd, newReturns + (staysAtSeam && !isEndless ? 1 : 0), isWithin || staysAtSeam};
}
