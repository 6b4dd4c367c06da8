#include "library/src/BRAQHeardFrames.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr Float64 longestRun = 10e6;      // nanoseconds
constexpr Float64 mostUnsteadiness = 1e5; // nanoseconds by which the times of two cycles may be at odds

} // namespace

SInt64 BRAQHeardRun::frameAt(Float64 time) const noexcept {
    const Float64 passed = std::floor((time - hostTime) * framesPerNanosecond);
    BRAQLoopWalk walk = from.walk;
    walk.advance(static_cast<UInt64>(std::clamp(passed, 0.0, static_cast<Float64>(frames))), from.isBackwards);
    return from.isBackwards ? walk.place : walk.nextFrame(false);
}

bool BRAQHeardFrames::goesOn(const BRAQHeardRun& run) const noexcept {
    if (mLast.frames == 0 || run.file != mLast.file || run.from.isBackwards != mLast.from.isBackwards ||
        run.framesPerNanosecond != mLast.framesPerNanosecond || !(run.from.walk == mEnd)) {
        return false;
    }
    const Float64 length = static_cast<Float64>(mLast.frames) / mLast.framesPerNanosecond;
    return length + static_cast<Float64>(run.frames) / run.framesPerNanosecond <= longestRun &&
           std::abs(run.hostTime - (mLast.hostTime + length)) <= mostUnsteadiness;
}

void BRAQHeardFrames::add(const BRAQHeardRun& run) noexcept {
    UInt64 count = mCount.load(std::memory_order_relaxed);
    if (goesOn(run)) {
        mLast.frames += run.frames;
    } else {
        mLast = run;
        ++count;
    }
    mEnd = run.from.walk;
    mEnd.advance(run.frames, run.from.isBackwards);
    mSlots[(count - 1) % slots].set(mLast);
    mCount.store(count, std::memory_order_release);
}

void BRAQHeardFrames::clear() noexcept {
    mLast = {};
    mCount.store(0, std::memory_order_release);
}

std::optional<BRAQHeardRun> BRAQHeardFrames::at(Float64 time) const noexcept {
    const UInt64 count = mCount.load(std::memory_order_acquire);
    std::optional<BRAQHeardRun> run;
    for (UInt64 index = count; index > 0 && index + slots > count; --index) {
        run = mSlots[(index - 1) % slots].get();
        if (run->hostTime <= time) {
            break;
        }
    }
    return run;
}

void BRAQHeardFrames::Slot::set(const BRAQHeardRun& run) noexcept {
    const UInt64 before = changes.load(std::memory_order_relaxed);
    changes.store(before + 1, std::memory_order_relaxed);
    hostTime.store(run.hostTime, std::memory_order_release);
    framesPerNanosecond.store(run.framesPerNanosecond, std::memory_order_release);
    frames.store(run.frames, std::memory_order_release);
    file.store(run.file, std::memory_order_release);
    isBackwards.store(run.from.isBackwards, std::memory_order_release);
    walk.set(run.from.walk);
    changes.store(before + 2, std::memory_order_release);
}

BRAQHeardRun BRAQHeardFrames::Slot::get() const noexcept {
    while (true) {
        const UInt64 before = changes.load(std::memory_order_acquire);
        BRAQHeardRun run;
        run.hostTime = hostTime.load(std::memory_order_acquire);
        run.framesPerNanosecond = framesPerNanosecond.load(std::memory_order_acquire);
        run.frames = frames.load(std::memory_order_acquire);
        run.file = file.load(std::memory_order_acquire);
        run.from = {walk.get(), isBackwards.load(std::memory_order_acquire)};
        if (before % 2 == 0 && changes.load(std::memory_order_relaxed) == before) {
            return run;
        }
    }
}
