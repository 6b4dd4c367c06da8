#pragma once

#include "BRAQAudio/BRAQAudioDevice.h"
#include "BRAQAudio/BRAQInputAudioUnit.h"
#include "tests/support/FrameLists.h"
#include "tests/support/PrivateSoundServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace braq::tests {

/// Keeps a channel of what a device records, and when.
class Ear {
  public:
    static constexpr std::size_t mostFrames = 1'500'000;

    /// @param uid empty: no device is given
    /// @param rate of the graph that the device is in; nothing is converted
    explicit Ear(const std::string& uid, UInt32 channel = 0, double rate = 48000.0)
        : mChannel(channel), mFrames(mostFrames), mTimes(mostFrames), mRate(rate) {
        std::shared_ptr<BRAQAudioDevice> device;
        const auto format = BRAQAudioStreamBasicDescription::nativeStreamDescription();
        format->setIsInterleaved(false);
        format->setSampleRate(rate);
        if (!uid.empty()) {
            EXPECT_TRUE(eventually([&] { return (device = BRAQAudioDevice::initWithDeviceUID(uid)) != nullptr; }))
                << uid;
            format->setChannelsPerFrame(device->deviceNativeRecordStreamDescription()->channelsPerFrame());
        }
        mUnit = BRAQInputAudioUnit::initWithStreamDescription(format, device, std::nullopt);
        mUnit->setInputProcessingBlock(
            [this](auto*, const AudioTimeStamp* time, UInt32, UInt32 frames, AudioBufferList* list) {
                const auto first = mCount.load(std::memory_order_relaxed);
                const auto kept = std::min<std::size_t>(frames, mostFrames - first);
                const auto* samples = static_cast<const Float32*>(list->mBuffers[mChannel].mData);
                for (std::size_t frame = 0; frame < kept; ++frame) {
                    mFrames[first + frame] = samples[frame];
                    mTimes[first + frame] =
                        static_cast<double>(time->mHostTime) * 1e-9 + static_cast<double>(frame) / mRate;
                }
                mCount.store(first + kept, std::memory_order_release);
            });
        mUnit->start();
        EXPECT_TRUE(eventually([&] { return mCount > 0; })) << uid;
    }
    ~Ear() {
        mUnit->stop();
        mUnit->setInputProcessingBlock(nullptr);
    }
    Ear(const Ear&) = delete;
    Ear& operator=(const Ear&) = delete;

    struct Heard {
        UInt64 number; ///< of the frame that was played
        double time;   ///< seconds
    };
    /// The numbered frames that were heard, in order.
    std::vector<Heard> heard() const {
        std::vector<Heard> all;
        for (std::size_t frame = 0; frame < mCount; ++frame) {
            if (mFrames[frame] > 0.0F) { // a converter may ring below zero
                all.push_back({static_cast<UInt64>(mFrames[frame] / sampleOf(1, 0)), mTimes[frame]});
            }
        }
        return all;
    }
    bool hearsMoreThan(std::size_t frames) const { return heard().size() > frames; }

    const std::shared_ptr<BRAQInputAudioUnit>& unit() const { return mUnit; }

  private:
    const UInt32 mChannel;
    std::vector<Float32> mFrames;
    std::vector<double> mTimes;
    const double mRate;
    std::atomic<std::size_t> mCount{0};
    std::shared_ptr<BRAQInputAudioUnit> mUnit;
};

} // namespace braq::tests
