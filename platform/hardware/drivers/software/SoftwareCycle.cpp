#include "platform/hardware/drivers/software/SoftwareCycle.h"

#include "platform/foundation/HostTime.h"

#include <algorithm>
#include <cmath>

namespace braq {

SoftwareCycle::SoftwareCycle(UInt32 inputChannels, UInt32 outputChannels, UInt32 capacity, bool loopback,
                             UInt64 startTime)
    : mIsLoopback(loopback),
      mInput(inputChannels),
      mOutput(outputChannels),
      mPlayed(loopback ? std::min(inputChannels, outputChannels) : 0),
      mHostTime(startTime) {
    reserve(capacity);
}

void SoftwareCycle::reserve(UInt32 frames) {
    if (frames <= mCapacity) {
        return;
    }
    mCapacity = frames;
    mInputChannels.clear();
    for (auto& channel : mInput) {
        channel.resize(frames);
        mInputChannels.push_back(channel.data());
    }
    mOutputChannels.clear();
    for (auto& channel : mOutput) {
        channel.resize(frames);
        mOutputChannels.push_back(channel.data());
    }
    // Holds the longest cycle before a cycle, plus that cycle itself.
    for (auto& channel : mPlayed) {
        channel.resize(std::size_t{2} * frames);
    }
}

void SoftwareCycle::run(DeviceCycles& cycles, UInt32 frames, Float64 rate, const Float32* const* input) noexcept {
    takePlayed(frames);
    cycles.runCycle({.frames = frames,
                     .sampleTime = mSampleTime,
                     .hostTime = mHostTime,
                     .nominalRate = rate,
                     .rateScalar = 1.0,
                     .inputChannels = static_cast<UInt32>(mInputChannels.size()),
                     .input = input != nullptr ? input : mInputChannels.data(),
                     .outputChannels = static_cast<UInt32>(mOutputChannels.size()),
                     .output = mOutputChannels.data(),
                     .passedOverFrames = mPassedOver});
    mPassedOver = 0;
    keepPlayed(frames);
    advance(frames, rate);
}

void SoftwareCycle::lose(UInt64 frames, Float64 rate) noexcept {
    mPassedOver += frames;
    advance(frames, rate);
}

void SoftwareCycle::advance(UInt64 frames, Float64 rate) noexcept {
    mSampleTime += static_cast<Float64>(frames);
    const Float64 passed = mHostFraction + static_cast<Float64>(frames) * nanosecondsPerSecond / rate;
    const Float64 whole = std::floor(passed);
    mHostTime += static_cast<UInt64>(whole);
    mHostFraction = passed - whole;
}

// Starts with silence for frames that were not played yet: the delay is the longest cycle so far.
void SoftwareCycle::takePlayed(UInt32 frames) noexcept {
    const UInt32 there = std::min(frames, mPlayedFrames);
    for (std::size_t channel = 0; channel < mInput.size(); ++channel) {
        Float32* target = mInput[channel].data();
        if (channel >= mPlayed.size()) {
            std::fill_n(target, frames, 0.0F);
            continue;
        }
        Float32* played = mPlayed[channel].data();
        std::fill_n(target, frames - there, 0.0F);
        std::copy_n(played, there, target + (frames - there));
        std::copy(played + there, played + mPlayedFrames, played);
    }
    mPlayedFrames -= there;
}

void SoftwareCycle::keepPlayed(UInt32 frames) noexcept {
    if (!mIsLoopback) {
        return;
    }
    for (std::size_t channel = 0; channel < mPlayed.size(); ++channel) {
        std::copy_n(mOutput[channel].data(), frames, mPlayed[channel].data() + mPlayedFrames);
    }
    mPlayedFrames += frames;
}

} // namespace braq
