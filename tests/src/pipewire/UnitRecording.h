#pragma once

#include "BRAQAudio/BRAQInputAudioUnit.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <vector>

namespace braq::tests {

// Long cycles: a machine that is busy and gives no real-time scheduling keeps up with them all the same.
constexpr UInt32 cycle = 4096;

/// Keeps all channels that an input unit delivers.
class UnitRecording {
  public:
    static constexpr std::size_t mostFrames = 900'000;

    UnitRecording(const std::shared_ptr<BRAQInputAudioUnit>& unit, std::size_t channels)
        : mChannels(channels, std::vector<Float32>(mostFrames)) {
        unit->setInputProcessingBlock([this](auto*, auto*, UInt32, UInt32 frames, AudioBufferList* list) {
            const std::size_t first = mFrames.load(std::memory_order_relaxed);
            const std::size_t kept = std::min<std::size_t>(frames, mostFrames - first);
            for (std::size_t channel = 0; channel < mChannels.size(); ++channel) {
                std::copy_n(static_cast<const Float32*>(list->mBuffers[channel].mData), kept,
                            &mChannels[channel][first]);
            }
            mFrames.store(first + kept, std::memory_order_release);
        });
    }
    std::size_t frames() const { return mFrames.load(std::memory_order_acquire); }
    /// The first frame in which anything is heard; `frames()` if there is none.
    std::size_t firstHeard() const {
        std::size_t frame = 0;
        const auto isSilent = [&](const auto& channel) { return channel[frame] == 0.0F; };
        while (frame < frames() && std::ranges::all_of(mChannels, isSilent)) {
            ++frame;
        }
        return frame;
    }
    Float32 sample(std::size_t channel, std::size_t frame) const { return mChannels[channel][frame]; }

  private:
    std::vector<std::vector<Float32>> mChannels;
    std::atomic<std::size_t> mFrames{0};
};

} // namespace braq::tests
