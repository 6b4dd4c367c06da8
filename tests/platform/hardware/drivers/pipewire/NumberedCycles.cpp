#include "tests/platform/hardware/drivers/pipewire/NumberedCycles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>

namespace braq::tests {

void NumberedPlayback::runCycle(const DeviceCycle& cycle) noexcept {
    const UInt64 first = mFrames.load(std::memory_order_relaxed);
    mLost.fetch_add(cycle.lostFrames(), std::memory_order_release);
    for (UInt32 channel = 0; channel < cycle.outputChannels; ++channel) {
        for (UInt32 frame = 0; frame < cycle.frames; ++frame) {
            cycle.output[channel][frame] = numberedSample(first + frame, channel);
        }
    }
    mPassedOver += cycle.passedOverFrames;
    if (cycle.sampleTime != static_cast<Float64>(first + mPassedOver) || cycle.hostTime <= mHostTime) {
        mTimesWereRight.store(false, std::memory_order_relaxed);
    }
    mHostTime = cycle.hostTime;
    mRate.store(cycle.nominalRate, std::memory_order_relaxed);
    mCycleFrames.store(cycle.frames, std::memory_order_relaxed);
    mFrames.store(first + cycle.frames, std::memory_order_release);
}

KeptRecording::KeptRecording(UInt32 channels, std::size_t frames)
    : mChannels(channels), mRoom(frames), mKept(channels * frames) {}

void KeptRecording::runCycle(const DeviceCycle& cycle) noexcept {
    const UInt64 first = mFrames.load(std::memory_order_relaxed);
    mLost.fetch_add(cycle.lostFrames(), std::memory_order_release);
    for (UInt32 frame = 0; frame < cycle.frames && cycle.inputChannels == mChannels; ++frame) {
        for (UInt32 channel = 0; channel < mChannels; ++channel) {
            const Float32 sample = cycle.input[channel][frame];
            if (first + frame < mRoom) {
                mKept[(first + frame) * mChannels + channel] = sample;
            }
            if (sample != 0.0F) {
                mSoundFrames.store(first + frame + 1, std::memory_order_release);
            }
        }
    }
    mFrames.store(first + cycle.frames, std::memory_order_release);
}

std::vector<Float32> KeptRecording::interleaved() const {
    const auto samples = static_cast<std::ptrdiff_t>(std::min<std::size_t>(frames(), mRoom) * mChannels);
    return {mKept.begin(), mKept.begin() + samples};
}

void expectNumberedRounds(const std::vector<Float32>& interleaved, UInt32 channels, const std::vector<UInt64>& rounds,
                          const LostFrames& lost) {
    const std::size_t recorded = interleaved.size() / channels;
    const auto isSilent = [&](std::size_t frame) {
        const auto begin = interleaved.begin() + static_cast<std::ptrdiff_t>(frame * channels);
        return std::all_of(begin, begin + channels, [](Float32 sample) { return sample == 0.0F; });
    };
    const auto numberOf = [&](std::size_t frame) {
        return static_cast<UInt64>(std::max(interleaved[frame * channels], 0.0F) * 16777216.0F) / 8;
    };
    std::size_t at = 0;
    const auto skipSilence = [&] {
        const std::size_t first = at;
        while (at < recorded && isSilent(at)) {
            ++at;
        }
        return at - first;
    };
    UInt64 silent = 0;
    UInt64 missing = 0;
    for (std::size_t round = 0; round < rounds.size(); ++round) {
        skipSilence();
        for (UInt64 frame = 0; frame < rounds[round]; ++frame, ++at) {
            const UInt64 silentHere = frame == 0 ? 0 : skipSilence();
            if (at == recorded || numberOf(at) < frame) { // the end of the round is missing
                missing += rounds[round] - frame;
                at -= silentHere;
                break;
            }
            silent += silentHere;
            missing += numberOf(at) - frame;
            frame = numberOf(at);
            for (UInt32 channel = 0; channel < channels; ++channel) {
                const Float32 sample = interleaved[at * channels + channel];
                ASSERT_EQ(std::bit_cast<UInt32>(sample), std::bit_cast<UInt32>(numberedSample(frame, channel)))
                    << "round " << round << ", frame " << frame << " of " << rounds[round] << ", channel " << channel
                    << " is " << sample;
            }
            ASSERT_LE(silent, lost.played) << "before frame " << frame << " of round " << round;
            ASSERT_LE(missing, lost.played + lost.recorded) << "before frame " << frame << " of round " << round;
        }
    }
    EXPECT_LE(missing, lost.played + lost.recorded) << "a round was not recorded to its end";
    skipSilence();
    EXPECT_EQ(at, recorded) << "something is played after the end";
}

} // namespace braq::tests
