#include "platform/hardware/DeviceClock.h"

#include "platform/foundation/HostTime.h"

#include <cmath>

namespace braq {
namespace {

Float64 signedDifference(UInt64 a, UInt64 b) {
    return a >= b ? static_cast<Float64>(a - b) : -static_cast<Float64>(b - a);
}

/// A segment that begins `nanoseconds` after the start of `from`.
ClockSegment segmentAfter(const ClockSegment& from, Float64 nanoseconds) {
    const Float64 exact = from.hostFraction + nanoseconds;
    const Float64 whole = std::floor(exact);
    ClockSegment segment;
    segment.hostTime = from.hostTime + static_cast<UInt64>(static_cast<SInt64>(whole));
    segment.hostFraction = exact - whole;
    return segment;
}

} // namespace

Float64 ClockSegment::sampleTimeAt(UInt64 host) const noexcept {
    return sampleTime + (signedDifference(host, hostTime) - hostFraction) / nanosecondsPerFrame;
}

Float64 ClockSegment::nanosecondsUntil(Float64 sample) const noexcept {
    return hostFraction + (sample - sampleTime) * nanosecondsPerFrame;
}

Float64 ClockView::sampleTimeAt(UInt64 host) const noexcept {
    const bool isBefore = before.nanosecondsPerFrame > 0.0 && host < now.hostTime;
    return (isBefore ? before : now).sampleTimeAt(host);
}

UInt64 ClockView::hostTimeAt(Float64 sample) const noexcept {
    const bool isBefore = before.nanosecondsPerFrame > 0.0 && sample < now.sampleTime;
    const ClockSegment& segment = isBefore ? before : now;
    const Float64 nanoseconds = std::round(segment.nanosecondsUntil(sample));
    if (nanoseconds >= 0.0) {
        return segment.hostTime + static_cast<UInt64>(nanoseconds);
    }
    const auto back = static_cast<UInt64>(-nanoseconds);
    return back < segment.hostTime ? segment.hostTime - back : 0;
}

void DeviceClock::publish(const DeviceCycle& cycle) noexcept {
    const Float64 frames = cycle.frames;
    const Float64 measured = nanosecondsPerSecond / cycle.nominalRate * cycle.rateScalar;
    ClockSegment segment;
    segment.hostTime = cycle.hostTime;
    segment.nanosecondsPerFrame = measured;

    // How much later the measurement is than predicted. Half a cycle or more is not jitter: the device was held up or
    // restarted, and time restarts.
    const ClockSegment& last = mView.now;
    const bool isFirst = last.nanosecondsPerFrame <= 0.0;
    const Float64 foretold = isFirst ? 0.0 : (cycle.sampleTime - last.sampleTime) * last.nanosecondsPerFrame;
    const Float64 late = isFirst ? 0.0 : signedDifference(cycle.hostTime, last.hostTime) - last.hostFraction - foretold;
    const bool continues = !isFirst && cycle.sampleTime > last.sampleTime && std::abs(late) < frames * measured / 2.0;
    if (continues) {
        segment = segmentAfter(last, foretold);
        segment.nanosecondsPerFrame = measured + late / frames;
        mView.before = last;
    } else {
        mView.before = {};
    }
    segment.sampleTime = cycle.sampleTime;
    segment.rateScalar = cycle.rateScalar;
    mView.now = segment;
    put(mView);
}

void DeviceClock::reset() noexcept {
    mView = {};
    put(mView);
}

// A sequence lock. The segments are stored with release and read with acquire, so that a reader that sees a word of a
// new view also sees the preceding odd number when it checks the number again.
void DeviceClock::put(const ClockView& view) noexcept {
    const UInt32 sequence = mSequence.load(std::memory_order_relaxed);
    mSequence.store(sequence + 1, std::memory_order_relaxed);
    mBefore.set(view.before);
    mNow.set(view.now);
    mSequence.store(sequence + 2, std::memory_order_release);
}

std::optional<ClockView> DeviceClock::view() const noexcept {
    while (true) {
        const UInt32 sequence = mSequence.load(std::memory_order_acquire);
        const ClockView view{mBefore.get(), mNow.get()};
        if (sequence % 2 == 0 && mSequence.load(std::memory_order_relaxed) == sequence) {
            return view.now.nanosecondsPerFrame > 0.0 ? std::optional(view) : std::nullopt;
        }
    }
}

void DeviceClock::PublishedSegment::set(const ClockSegment& segment) noexcept {
    sampleTime.store(segment.sampleTime, std::memory_order_release);
    hostTime.store(segment.hostTime, std::memory_order_release);
    hostFraction.store(segment.hostFraction, std::memory_order_release);
    nanosecondsPerFrame.store(segment.nanosecondsPerFrame, std::memory_order_release);
    rateScalar.store(segment.rateScalar, std::memory_order_release);
}

ClockSegment DeviceClock::PublishedSegment::get() const noexcept {
    ClockSegment segment;
    segment.sampleTime = sampleTime.load(std::memory_order_acquire);
    segment.hostTime = hostTime.load(std::memory_order_acquire);
    segment.hostFraction = hostFraction.load(std::memory_order_acquire);
    segment.nanosecondsPerFrame = nanosecondsPerFrame.load(std::memory_order_acquire);
    segment.rateScalar = rateScalar.load(std::memory_order_acquire);
    return segment;
}

} // namespace braq
