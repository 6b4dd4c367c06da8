#include "platform/units/CaptureConverter.h"

#include "platform/samples/Extrapolation.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

namespace braq {
namespace {

constexpr UInt32 convertedAtOnce = 512;
constexpr UInt32 framesToWarmUp = 8192;
constexpr UInt32 nearFrames = 1024; // more than half a filter has at any pair of usual rates

std::unique_ptr<FixedRateConverter> make(UInt32 channels, Float64 fromRate, Float64 toRate) {
    auto converter = FixedRateConverter::create(fromRate, toRate, channels, FixedRateConverter::Quality::high);
    if (converter == nullptr) {
        throw std::bad_alloc();
    }
    return converter;
}

/// What lies as far before `first` as `sample` lies behind it, if the sound goes on smoothly: without a step, and with the
/// same slope.
float mirrored(float first, float sample) noexcept { return 2.0F * first - sample; }

} // namespace

CaptureConverter::CaptureConverter(UInt32 channels, Float64 fromRate, Float64 toRate)
    : mChannels(channels),
      mFromRate(fromRate),
      mToRate(toRate),
      mConverter(make(channels, fromRate, toRate)),
      mFrom(channels),
      mTo(channels) {
    warmUp(0);
}

// libsoxr's queues grow until the maximum amount has passed through them. So this feeds a second of silence, in blocks
// larger than any later one, which does not change the phase. Silence that is still inside is dropped when it comes
// out.
void CaptureConverter::warmUp(UInt32 withheld) {
    mNeedsLead = withheld != 0;
    const auto second = static_cast<UInt32>(std::lround(mFromRate));
    mToDrop = static_cast<UInt64>(std::llround(mToRate / mFromRate * second));
    const std::vector<float> silence(framesToWarmUp);
    std::vector<float> sink(mostFrames(framesToWarmUp));
    std::ranges::fill(mFrom, silence.data());
    std::ranges::fill(mTo, sink.data());
    for (UInt32 done = 0, frames = 0; done < second - withheld; done += frames) {
        frames = std::min(framesToWarmUp, second - withheld - done);
        mToDrop -= process(frames, static_cast<UInt32>(sink.size()));
    }
}

UInt32 CaptureConverter::convert(const float* const* from, UInt32 frames, float* const* to, UInt32 capacity) noexcept {
    if (mNeedsLead && frames != 0) {
        takeLead(from, frames, to, capacity);
    }
    const UInt32 converted = take(from, frames, to, capacity);
    mTaken += frames;
    mGiven += converted;
    return converted;
}

// What comes out is before the first frame, and dropped.
void CaptureConverter::takeLead(const float* const* from, UInt32 frames, float* const* to, UInt32 capacity) noexcept {
    for (UInt32 channel = 0; channel < mChannels; ++channel) {
        float* const lead = mLead->get()[channel];
        for (UInt32 back = 1; back <= nearFrames; ++back) {
            lead[nearFrames - back] = mirrored(from[channel][0], from[channel][std::min(back, frames - 1)]);
        }
    }
    mNeedsLead = false;
    take(mLead->get(), nearFrames, to, capacity);
}

UInt32 CaptureConverter::take(const float* const* from, UInt32 frames, float* const* to, UInt32 capacity) noexcept {
    UInt32 converted = 0;
    for (UInt32 done = 0, part = 0; done < frames; done += part) {
        part = std::min(convertedAtOnce, frames - done);
        for (UInt32 channel = 0; channel < mChannels; ++channel) {
            mFrom[channel] = from[channel] + done;
            mTo[channel] = to[channel] + converted;
        }
        converted += drop(process(part, capacity - converted));
    }
    return converted;
}

std::vector<std::vector<float>> CaptureConverter::drain(const float* const* last, UInt32 frames) {
    const auto whole = static_cast<UInt64>(std::llround(static_cast<Float64>(mTaken) * mToRate / mFromRate));
    const UInt64 wanted = whole > mGiven ? whole - mGiven : 0;
    Planes following(mChannels, nearFrames);
    for (UInt32 channel = 0; channel < mChannels; ++channel) {
        extrapolate({last[channel], frames}, {following.get()[channel], nearFrames});
    }
    // libsoxr loses frames at the end unless there is room for all of them.
    Planes made(mChannels, static_cast<UInt32>(mToDrop + wanted) + mostFrames(nearFrames));
    UInt32 given = take(following.get(), nearFrames, made.get(), made.frames());
    given += finish(given, made);
    std::vector<std::vector<float>> rest;
    for (UInt32 channel = 0; channel < mChannels; ++channel) {
        rest.emplace_back(made.get()[channel], made.get()[channel] + std::min<UInt64>(given, wanted));
    }
    return rest;
}

/// @return frames made behind those that are there
UInt32 CaptureConverter::finish(UInt32 there, Planes& made) noexcept {
    for (UInt32 channel = 0; channel < mChannels; ++channel) {
        mTo[channel] = made.get()[channel] + there;
    }
    return drop(static_cast<UInt32>(mConverter->process(nullptr, 0, mTo.data(), made.frames() - there).made));
}

/// Drops what is before the captured frames of those that were given.
/// @return the others
UInt32 CaptureConverter::drop(UInt32 given) noexcept {
    const auto dropped = static_cast<UInt32>(std::min<UInt64>(mToDrop, given));
    mToDrop -= dropped;
    for (UInt32 channel = 0; dropped != 0 && channel < mChannels; ++channel) {
        std::copy(mTo[channel] + dropped, mTo[channel] + given, mTo[channel]);
    }
    return given - dropped;
}

void CaptureConverter::goOn() {
    if (mFromRate < nearFrames) {
        return;
    }
    mConverter = make(mChannels, mFromRate, mToRate);
    mLead = std::make_unique<Planes>(mChannels, nearFrames);
    warmUp(nearFrames);
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
    warmUp(0);
}

UInt32 CaptureConverter::mostFrames(UInt32 frames) const noexcept {
    constexpr UInt32 block = 2048; // maximum that libsoxr outputs at once when it has enough input
    return static_cast<UInt32>(std::ceil(frames * mToRate / mFromRate)) + block;
}

} // namespace braq
