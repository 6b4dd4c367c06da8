#include "platform/units/CaptureConverter.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

namespace braq {
namespace {

constexpr UInt32 convertedAtOnce = 512;
constexpr UInt32 framesToWarmUp = 8192;

std::unique_ptr<FixedRateConverter> make(UInt32 channels, Float64 fromRate, Float64 toRate) {
    auto converter = FixedRateConverter::create(fromRate, toRate, channels, FixedRateConverter::Quality::high);
    if (converter == nullptr) {
        throw std::bad_alloc();
    }
    return converter;
}

} // namespace

CaptureConverter::CaptureConverter(UInt32 channels, Float64 fromRate, Float64 toRate)
    : mChannels(channels),
      mFromRate(fromRate),
      mToRate(toRate),
      mConverter(make(channels, fromRate, toRate)),
      mFrom(channels),
      mTo(channels) {
    warmUp();
}

// libsoxr's queues grow until the maximum amount has passed through them. So this feeds a second of silence, in blocks
// larger than any later one, which does not change the phase. Silence that is still inside is dropped when it comes
// out.
void CaptureConverter::warmUp() {
    const auto second = static_cast<UInt32>(std::lround(mFromRate));
    mToDrop = static_cast<UInt64>(std::llround(mToRate / mFromRate * second));
    const std::vector<float> silence(framesToWarmUp);
    std::vector<float> sink(mostFrames(framesToWarmUp));
    std::ranges::fill(mFrom, silence.data());
    std::ranges::fill(mTo, sink.data());
    for (UInt32 done = 0, frames = 0; done < second; done += frames) {
        frames = std::min(framesToWarmUp, second - done);
        mToDrop -= process(frames, static_cast<UInt32>(sink.size()));
    }
}

UInt32 CaptureConverter::convert(const float* const* from, UInt32 frames, float* const* to, UInt32 capacity) noexcept {
    UInt32 converted = 0;
    for (UInt32 done = 0, part = 0; done < frames; done += part) {
        part = std::min(convertedAtOnce, frames - done);
        for (UInt32 channel = 0; channel < mChannels; ++channel) {
            mFrom[channel] = from[channel] + done;
            mTo[channel] = to[channel] + converted;
        }
        const UInt32 given = process(part, capacity - converted);
        const auto dropped = static_cast<UInt32>(std::min<UInt64>(mToDrop, given));
        mToDrop -= dropped;
        for (UInt32 channel = 0; dropped != 0 && channel < mChannels; ++channel) {
            std::copy(mTo[channel] + dropped, mTo[channel] + given, mTo[channel]);
        }
        converted += given - dropped;
    }
    mTaken += frames;
    mGiven += converted;
    return converted;
}

Float64 CaptureConverter::heldFrames() const noexcept {
    return std::max(0.0, static_cast<Float64>(mTaken) - static_cast<Float64>(mGiven) * mFromRate / mToRate);
}

UInt32 CaptureConverter::process(UInt32 frames, UInt32 capacity) noexcept {
    return static_cast<UInt32>(mConverter->process(mFrom.data(), frames, mTo.data(), capacity).made);
}

void CaptureConverter::reset() {
    mConverter = make(mChannels, mFromRate, mToRate);
    mTaken = 0;
    mGiven = 0;
    warmUp();
}

UInt32 CaptureConverter::mostFrames(UInt32 frames) const noexcept {
    constexpr UInt32 block = 2048; // maximum that libsoxr outputs at once when it has enough input
    return static_cast<UInt32>(std::ceil(frames * mToRate / mFromRate)) + block;
}

} // namespace braq
