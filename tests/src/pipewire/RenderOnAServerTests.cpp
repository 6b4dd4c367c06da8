#include "BRAQAudio/BRAQRenderAudioUnit.h"
#include "BRAQAudio/platform/foundation.h"
#include "tests/src/pipewire/UnitRecording.h"
#include "tests/support/FrameLists.h"
#include "tests/support/PrivateSoundServer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

namespace {

using braq::tests::cycle;
using braq::tests::eventually;
using braq::tests::PrivateSoundServer;
using braq::tests::sampleOf;
using braq::tests::UnitRecording;

class RenderOnAServer : public testing::Test {
  protected:
    RenderOnAServer() {
        server.configure("default.clock.quantum", std::to_string(cycle));
        server.keep({.name = "one", .more = "priority.session=2000"});
        server.keep({.name = "two", .more = "priority.session=1000"});
        server.start();
        server.setDefaultSink("one");
        EXPECT_TRUE(eventually([] {
            const auto device = BRAQAudioDevice::defaultPlaybackDevice();
            return device->deviceID() != 0 && device->deviceUID() == "one";
        }));
    }

    static std::shared_ptr<BRAQAudioDevice> deviceOf(const std::string& uid) {
        std::shared_ptr<BRAQAudioDevice> device;
        EXPECT_TRUE(eventually([&] { return (device = BRAQAudioDevice::initWithDeviceUID(uid)) != nullptr; })) << uid;
        return device;
    }

    /// Numbered frames.
    BRAQRenderBlock numbers() {
        return [this](const AudioTimeStamp* time, UInt32 frames, AudioBufferList* list) {
            isInOrder = isInOrder && time->mSampleTime >= static_cast<Float64>(mFrame);
            braq::tests::number(list, mFrame, frames);
            mFrame += frames;
            rendered = mFrame;
        };
    }

    PrivateSoundServer server;
    std::atomic<UInt64> rendered{0};
    std::atomic<bool> isInOrder{true};

  private:
    UInt64 mFrame = 0; // the closure
};

TEST_F(RenderOnAServer, WhatTheClosureMakesIsWhatTheMonitorHears) {
    const auto input = BRAQInputAudioUnit::initWithDevice(deviceOf("one.monitor"), std::nullopt);
    const UnitRecording recording(input, 2);
    input->start();
    ASSERT_TRUE(eventually([&] { return recording.frames() > 0; }));
    const auto unit = BRAQRenderAudioUnit::initWithDevice(deviceOf("one"), numbers());
    unit->start();
    const auto firstHeard = [&] {
        std::size_t frame = 0;
        while (frame < recording.frames() && recording.sample(1, frame) == 0.0F) {
            ++frame;
        }
        return frame;
    };
    constexpr std::size_t toHear = 50'000;
    ASSERT_TRUE(eventually([&] { return recording.frames() >= firstHeard() + toHear; }));
    unit->stop();
    input->stop();
    const std::size_t first = firstHeard();
    for (std::size_t frame = 0; frame < toHear; ++frame) {
        ASSERT_EQ(recording.sample(0, first + frame), sampleOf(frame, 0)) << "frame " << frame;
        ASSERT_EQ(recording.sample(1, first + frame), sampleOf(frame, 1)) << "frame " << frame;
    }
}

struct RouteDelegate final : BRAQAudioUnitDelegate {
    std::vector<std::string> told;

    void audioUnitDeviceDidChange(const std::shared_ptr<BRAQAudioUnit>& /*unit*/,
                                  const std::shared_ptr<BRAQAudioDevice>& device) override {
        told.push_back("moved to " + *device->deviceUID());
    }
};

TEST_F(RenderOnAServer, WithoutADeviceItGoesWhereTheDefaultGoes) {
    const auto unit = BRAQRenderAudioUnit::initWithDevice(nullptr, numbers());
    const auto delegate = std::make_shared<RouteDelegate>();
    unit->setDelegate(delegate);
    unit->start();
    ASSERT_TRUE(eventually([&] { return rendered > 10'000; }));
    EXPECT_EQ(unit->presentDevice()->deviceUID(), "one");
    server.setDefaultSink("two");
    EXPECT_TRUE(eventually([&] {
        BRAQMainQueue::mainQueue().drain();
        return !delegate->told.empty();
    }));
    EXPECT_EQ(delegate->told, std::vector<std::string>{"moved to two"});
    EXPECT_EQ(unit->presentDevice()->deviceUID(), "two");
    const UInt64 then = rendered;
    EXPECT_TRUE(eventually([&] { return rendered > then + 10'000; }));
    EXPECT_TRUE(unit->isRunning());
    unit->stop();
    EXPECT_TRUE(isInOrder) << "time never goes back";
    const UInt64 stopped = rendered;
    unit->setRenderBlock(nullptr);
    EXPECT_EQ(rendered, stopped);
}

} // namespace
