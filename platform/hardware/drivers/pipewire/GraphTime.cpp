#include "platform/hardware/drivers/pipewire/GraphTime.h"

#include "platform/foundation/HostTime.h"

#include <spa/node/io.h>

#include <utility>

namespace braq::pipewire {
namespace {

UInt64 nanosecondsOf(UInt64 frames, UInt32 rate) {
    return static_cast<UInt64>(static_cast<Float64>(frames) * nanosecondsPerSecond / rate);
}

} // namespace

GraphTime::Cycle GraphTime::begin(const spa_io_clock& clock) noexcept {
    Cycle cycle{clock.nsec, 0, std::exchange(mLateFrames, 0)};
    mDeadline = clock.next_nsec;
    if (mHostTime != 0 && clock.nsec <= mHostTime) {
        // While the graph changes its driver, a cycle can run with the clock of the old one, which stands still.
        cycle.hostTime = mHostTime + nanosecondsOf(mDuration, clock.rate.denom);
        mGoesOn = false;
        mDeadline = 0;
    } else {
        cycle.passedOverFrames = passedOver(clock);
        mGoesOn = true;
    }
    mDriver = clock.id;
    mRate = clock.rate.denom;
    mHostTime = cycle.hostTime;
    mDuration = clock.duration;
    mNext = clock.position + clock.duration;
    return cycle;
}

// A driver may also set its position anew. Then less time has passed than the frames take.
UInt64 GraphTime::passedOver(const spa_io_clock& clock) const noexcept {
    const bool isSameClock = mGoesOn && clock.id == mDriver && clock.rate.denom == mRate;
    if (!isSameClock || clock.position <= mNext) {
        return 0;
    }
    const UInt64 frames = clock.position - mNext;
    return clock.nsec - mHostTime >= nanosecondsOf(frames, mRate) ? frames : 0;
}

// The graph does not wait: at its next cycle, whoever is not ready is left out.
void GraphTime::finish(UInt64 now) noexcept {
    if (mDeadline != 0 && now > mDeadline) {
        mLateFrames = mDuration;
    }
}

} // namespace braq::pipewire
