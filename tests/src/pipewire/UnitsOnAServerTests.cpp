#include "BRAQAudio/BRAQAudioHardware.h"
#include "BRAQAudio/BRAQAudioInputMeter.h"
#include "BRAQAudio/BRAQInputAudioUnit.h"
#include "BRAQAudio/BRAQOutputAudioUnit.h"
#include "tests/src/NumberedQueues.h"
#include "tests/src/pipewire/UnitRecording.h"
#include "tests/support/PrivateSoundServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <vector>

namespace {

using braq::tests::cycle;
using braq::tests::eventually;
using braq::tests::PrivateSoundServer;
using braq::tests::sampleOf;
using braq::tests::UnitRecording;

constexpr UInt32 framesToHear = 100'000;

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
    const UnitRecording recording(input, 2);
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
        while (frame < recording.frames() && recording.sample(1, frame) == 0.0F) {
            ++frame;
        }
        return frame;
    };
    ASSERT_TRUE(eventually([&] { return recording.frames() >= firstHeard() + framesToHear; }));
    output->stop();
    input->stop();

    const std::size_t first = firstHeard();
    for (std::size_t frame = 0; frame < framesToHear; ++frame) {
        ASSERT_EQ(recording.sample(0, first + frame), sampleOf(frame, 0)) << "frame " << frame;
        ASSERT_EQ(recording.sample(1, first + frame), sampleOf(frame, 1)) << "frame " << frame;
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
