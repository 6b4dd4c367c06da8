#include "BRAQAudio/BRAQAudioHardware.h"
#include "BRAQAudio/BRAQAudioInputMeter.h"
#include "BRAQAudio/BRAQInputAudioUnit.h"
#include "BRAQAudio/BRAQOutputAudioUnit.h"
#include "tests/src/NumberedQueues.h"
#include "tests/support/PrivateSoundServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <vector>

namespace {

using braq::testing::eventually;
using braq::testing::PrivateSoundServer;
using braq::testing::sampleOf;

// Long cycles: a machine that is busy and gives no real-time scheduling keeps up with them all the same.
constexpr UInt32 cycle = 4096;
constexpr std::size_t mostFrames = 600'000;
constexpr UInt32 framesToHear = 100'000;

/// Keeps what an input unit delivers.
class Recording {
  public:
    explicit Recording(const std::shared_ptr<BRAQInputAudioUnit>& unit) : mLeft(mostFrames), mRight(mostFrames) {
        unit->setInputProcessingBlock([this](auto*, auto*, UInt32, UInt32 frames, AudioBufferList* list) {
            const std::size_t first = mFrames.load(std::memory_order_relaxed);
            const std::size_t kept = std::min<std::size_t>(frames, mostFrames - first);
            std::copy_n(static_cast<const Float32*>(list->mBuffers[0].mData), kept, &mLeft[first]);
            std::copy_n(static_cast<const Float32*>(list->mBuffers[1].mData), kept, &mRight[first]);
            mFrames.store(first + kept, std::memory_order_release);
        });
    }
    std::size_t frames() const { return mFrames.load(std::memory_order_acquire); }
    Float32 left(std::size_t frame) const { return mLeft[frame]; }
    Float32 right(std::size_t frame) const { return mRight[frame]; }

  private:
    std::vector<Float32> mLeft;
    std::vector<Float32> mRight;
    std::atomic<std::size_t> mFrames{0};
};

class UnitsOnAServer : public testing::Test {
  protected:
    UnitsOnAServer() {
        server.configure("default.clock.quantum", std::to_string(cycle));
        server.configure("default.clock.max-quantum", "8192");
        server.configure("default.clock.allowed-rates", "[ 44100 48000 ]");
        server.keep({.name = "test.sink"});
        server.start();
        EXPECT_TRUE(eventually([&] {
            sink = BRAQAudioDevice::initWithDeviceUID("test.sink");
            monitor = BRAQAudioDevice::initWithDeviceUID("test.sink.monitor");
            return sink != nullptr && monitor != nullptr;
        }));
    }

    PrivateSoundServer server;
    std::shared_ptr<BRAQAudioDevice> sink;
    std::shared_ptr<BRAQAudioDevice> monitor;
};

TEST_F(UnitsOnAServer, WhatTheRingHoldsIsWhatTheMonitorOfTheSinkHears) {
    const auto input = BRAQInputAudioUnit::initWithDevice(monitor, std::nullopt);
    const Recording recording(input);
    input->start();
    ASSERT_TRUE(eventually([&] { return recording.frames() > 0; }));

    const auto queue = std::make_shared<queue_test::Reader>(8, 16384);
    queue->prime();
    const auto output =
        BRAQOutputAudioUnit::initWithStreamDescription(sink->deviceNativePlaybackStreamDescription(), sink);
    output->setAudioBufferQueue(queue);
    output->setEndOfStreamNotificationBlock([](BQueueableAudioNotification*) {});
    output->start();
    ASSERT_TRUE(output->isRunning());
    const auto firstHeard = [&] {
        std::size_t frame = 0;
        while (frame < recording.frames() && recording.right(frame) == 0.0F) {
            ++frame;
        }
        return frame;
    };
    ASSERT_TRUE(eventually([&] { return recording.frames() >= firstHeard() + framesToHear; }));
    output->stop();
    input->stop();

    const std::size_t first = firstHeard();
    for (std::size_t frame = 0; frame < framesToHear; ++frame) {
        ASSERT_EQ(recording.left(first + frame), sampleOf(frame, 0)) << "frame " << frame;
        ASSERT_EQ(recording.right(first + frame), sampleOf(frame, 1)) << "frame " << frame;
    }
    EXPECT_EQ(queue->errorCount(), 0U);
}

TEST_F(UnitsOnAServer, HaveAnIdleDeviceRunAtTheRateOfWhatTheyPlay) {
    const auto format = sink->deviceNativePlaybackStreamDescription();
    for (const Float64 rate : {44100.0, 48000.0, 44100.0}) {
        format->setSampleRate(rate);
        const auto output = BRAQOutputAudioUnit::initWithStreamDescription(format, sink);
        const auto queue = std::make_shared<queue_test::Reader>(8, 16384);
        queue->prime();
        output->setAudioBufferQueue(queue);
        output->start();
        ASSERT_TRUE(output->isRunning());
        EXPECT_EQ(sink->playbackNominalSampleRate(), rate);
        output->stop();
    }
    const std::string settings = server.run({"pw-metadata", "-n", "settings"});
    EXPECT_NE(settings.find("key:'clock.force-rate' value:'0'"), std::string::npos) << settings;
}

TEST_F(UnitsOnAServer, StopWhenTheServerIsLost) {
    const auto output =
        BRAQOutputAudioUnit::initWithStreamDescription(sink->deviceNativePlaybackStreamDescription(), sink);
    const auto queue = std::make_shared<queue_test::Reader>(8, 16384);
    queue->prime();
    output->setAudioBufferQueue(queue);
    const auto meter = BRAQAudioInputMeter::initWithDevice(monitor, {{0}});
    meter->start();
    output->start();
    ASSERT_TRUE(output->isRunning());
    server.kill();
    EXPECT_TRUE(eventually([&] { return !output->isRunning(); }));
    output->start();
    EXPECT_FALSE(output->isRunning());
    output->stop();
    meter->invalidate();
}

} // namespace
