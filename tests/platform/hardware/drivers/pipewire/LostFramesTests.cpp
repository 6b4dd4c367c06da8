#include "tests/platform/hardware/drivers/pipewire/NumberedCycles.h"
#include "tests/platform/hardware/drivers/pipewire/OtherRecording.h"
#include "tests/platform/hardware/drivers/pipewire/RecordingHost.h"
#include "tests/support/PrivateSoundServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace braq;
using namespace braq::tests;

namespace {

namespace fs = std::filesystem;

constexpr UInt64 kCycle = 4096;
constexpr UInt32 kRate = 48000;
constexpr std::chrono::microseconds kCycleTime{kCycle * 1'000'000 / kRate};

/// Plays numbered frames and takes its time when it is told to.
class HeldUpPlayback final : public DeviceCycles {
  public:
    void runCycle(const DeviceCycle& cycle) noexcept override {
        mNumbered.runCycle(cycle);
        const auto microseconds = mHold.exchange(0);
        std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
    }
    void holdNext(std::chrono::microseconds time) { mHold = time.count(); }
    const NumberedPlayback& numbered() const { return mNumbered; }

  private:
    NumberedPlayback mNumbered;
    std::atomic<std::chrono::microseconds::rep> mHold{0};
};

/// What another program has heard, between the first and the last frame that was played.
struct Heard {
    explicit Heard(const std::vector<Float32>& samples) {
        UInt64 silent = 0;
        for (const Float32 sample : samples) {
            if (sample == 0.0F) {
                ++silent;
                continue;
            }
            silentFrames += numberedFrames == 0 ? 0 : silent;
            silent = 0;
            isInOrder = isInOrder && (numberedFrames == 0 || sample > last);
            last = sample;
            ++numberedFrames;
        }
    }

    UInt64 numberedFrames = 0;
    UInt64 silentFrames = 0;
    bool isInOrder = true;
    Float32 last = 0.0F;
};

class PipeWire_LostFrames : public testing::Test {
  protected:
    void start() {
        server.configure("default.clock.quantum", std::to_string(kCycle));
        server.configure("default.clock.max-quantum", "8192");
        server.keep({.name = "test.sink", .positions = "MONO"});
        server.start();
        RecordingHost& host = RecordingHost::withStartedDriver();
        sink = host.waitForDevice("test.sink");
        monitor = host.waitForDevice("test.sink.monitor");
        ASSERT_NE(sink, nullptr);
        ASSERT_NE(monitor, nullptr);
    }

    PrivateSoundServer server;
    std::shared_ptr<DriverDevice> sink;
    std::shared_ptr<DriverDevice> monitor;
};

/// By how many cycles the program is held up.
class PipeWire_LostFramesWhenHeldUpFor : public PipeWire_LostFrames, public testing::WithParamInterface<double> {};

/// Notes times, and takes its time when it is told to.
class HeldUpRecording final : public DeviceCycles {
  public:
    void runCycle(const DeviceCycle& cycle) noexcept override {
        if (mCycles == 0) {
            mFirst = cycle.hostTime;
        }
        mWorstDeviation = std::max(
            mWorstDeviation, std::abs(static_cast<Float64>(cycle.hostTime - mFirst) * kRate / 1e9 - cycle.sampleTime));
        mLost += cycle.lostFrames();
        const auto microseconds = mHold.exchange(0);
        std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
        ++mCycles;
    }
    void holdNext(std::chrono::microseconds time) { mHold = time.count(); }
    UInt64 cycles() const { return mCycles; }
    UInt64 lostFrames() const { return mLost; }
    /// In frames, of the sample time from what the host time says.
    Float64 worstDeviation() const { return mWorstDeviation; }

  private:
    UInt64 mFirst = 0;             // data thread
    Float64 mWorstDeviation = 0.0; // data thread
    std::atomic<UInt64> mCycles{0};
    std::atomic<UInt64> mLost{0};
    std::atomic<std::chrono::microseconds::rep> mHold{0};
};

} // namespace

TEST_P(PipeWire_LostFramesWhenHeldUpFor, CyclesAreTheSilenceThatAnotherProgramHears) {
    start();
    const fs::path file = server.folder() / "other.wav";
    const auto recorder =
        server.spawn({"pw-record", "-P", "{ stream.capture.sink=true stream.dont-remix=true }", "--target", "test.sink",
                      "--rate", "48000", "--channels", "1", "--format", "f32", file});
    ASSERT_TRUE(eventually([&] { return fs::exists(file) && !samplesOf(file).empty(); })) << "it records";
    HeldUpPlayback playback;
    ASSERT_EQ(sink->startIO(playback), kAudioHardwareNoError);
    const auto goOn = [&](UInt64 cycles) {
        const UInt64 played = playback.numbered().frames();
        EXPECT_TRUE(eventually([&] { return playback.numbered().frames() > played + cycles * kCycle; }));
    };
    goOn(4);
    playback.holdNext(std::chrono::duration_cast<std::chrono::microseconds>(kCycleTime * GetParam()));
    goOn(8);
    sink->stopIO();
    const std::size_t recorded = samplesOf(file).size();
    ASSERT_TRUE(eventually([&] { return samplesOf(file).size() >= recorded + 8 * kCycle; }));
    recorder->signal(SIGTERM);
    recorder->wait();
    const Heard heard(samplesOf(file));
    EXPECT_EQ(heard.silentFrames, playback.numbered().lostFrames());
    EXPECT_TRUE(heard.isInOrder);
    EXPECT_TRUE(playback.numbered().timesWereRight());
    if (GetParam() > 1.0) {
        EXPECT_GE(playback.numbered().lostFrames(), static_cast<UInt64>(GetParam()) * kCycle);
    }
}

INSTANTIATE_TEST_SUITE_P(SomeCycles, PipeWire_LostFramesWhenHeldUpFor, testing::Values(0.5, 1.4, 2.5, 10.4));

TEST_F(PipeWire_LostFrames, LeaveTheSampleTimeInStepWithTheHostTimeWhileRecording) {
    start();
    HeldUpRecording recording;
    ASSERT_EQ(monitor->startIO(recording), kAudioHardwareNoError);
    ASSERT_TRUE(eventually([&] { return recording.cycles() > 4; }));
    const UInt64 before = recording.cycles();
    recording.holdNext(kCycleTime * 5);
    ASSERT_TRUE(eventually([&] { return recording.cycles() > before + 4; }));
    monitor->stopIO();
    EXPECT_GE(recording.lostFrames(), 3 * kCycle);
    EXPECT_LT(recording.worstDeviation(), kCycle / 2.0);
}
