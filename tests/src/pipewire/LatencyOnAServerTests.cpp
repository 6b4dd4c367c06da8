#include "BRAQAudio/BRAQAudioHardware.h"
#include "tests/platform/units/UnitHelpers.h"
#include "tests/support/PrivateSoundServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <vector>

namespace {

using namespace braq::tests;

constexpr UInt32 shortCycle = 256; // frames of the graph, at 48,000 a second
constexpr Float64 graphRate = 48000.0;
constexpr Float64 nanosecondsPerSecond = 1e9;
constexpr std::size_t impulses = 15;
constexpr std::size_t mostHeard = 1000;

/// When impulses went through a callback, in nanoseconds of the host's clock.
class Times {
  public:
    void add(const AudioTimeStamp& time, Float64 offsetFrames, Float64 rate) {
        const std::size_t count = mCount.load(std::memory_order_relaxed);
        if (count < mTimes.size()) {
            mTimes[count] = static_cast<Float64>(time.mHostTime) + offsetFrames * nanosecondsPerSecond / rate;
            mCount.store(count + 1, std::memory_order_release);
        }
    }
    std::size_t count() const { return mCount.load(std::memory_order_acquire); }
    std::vector<Float64> get() const { return {mTimes.begin(), mTimes.begin() + static_cast<std::ptrdiff_t>(count())}; }

  private:
    std::vector<Float64> mTimes = std::vector<Float64>(mostHeard);
    std::atomic<std::size_t> mCount{0};
};

/// Finds impulses in a recording: the largest sample of each, which its neighbours are never larger than.
class ImpulseFinder {
  public:
    explicit ImpulseFinder(Times& times) : mTimes(times) {}

    void look(const AudioTimeStamp& time, const Float32* samples, UInt32 frames) {
        constexpr Float32 loud = 0.4F;
        for (UInt32 frame = 0; frame < frames; ++frame) {
            if (mBefore > loud && mBefore >= mBeforeThat && mBefore > samples[frame]) {
                mTimes.add(time, static_cast<Float64>(frame) - 1.0, graphRate);
            }
            mBeforeThat = std::exchange(mBefore, samples[frame]);
        }
    }

  private:
    Times& mTimes;
    Float32 mBefore = 0.0F;
    Float32 mBeforeThat = 0.0F;
};

class LatencyOnAServer : public testing::TestWithParam<Float64> {
  protected:
    LatencyOnAServer() {
        server.configure("default.clock.quantum", std::to_string(shortCycle));
        server.configure("default.clock.max-quantum", std::to_string(shortCycle));
        server.keep({.name = "test.sink"});
        server.start();
        EXPECT_TRUE(eventually([&] {
            sink = BRAQAudioHardware::deviceIDForDeviceUID("test.sink");
            monitor = BRAQAudioHardware::deviceIDForDeviceUID("test.sink.monitor");
            return sink != 0 && monitor != 0;
        }));
    }

    PrivateSoundServer server;
    AudioDeviceID sink = 0;
    AudioDeviceID monitor = 0;
};

TEST_P(LatencyOnAServer, TellsWhenTheMonitorHearsAFrameToWithinACycle) {
    Times heard;
    ImpulseFinder finder(heard);
    std::atomic<bool> isRecording{false};
    std::vector<Float32> samples(2 * shortCycle);
    AudioUnit recordUnit = nullptr;
    Recorder recorder(monitor, planar(graphRate, 1), [&](const AudioTimeStamp& time, UInt32 frames, AudioBufferList*) {
        AudioBufferList list{1, {{1, static_cast<UInt32>(frames * sizeof(Float32)), samples.data()}}};
        const OSStatus status = AudioUnitRender(recordUnit, nullptr, &time, recordElement, frames, &list);
        if (status == 0) {
            finder.look(time, samples.data(), frames);
            isRecording = true;
        }
        return status;
    });
    recordUnit = recorder.unit;
    ASSERT_EQ(recorder.start(), 0);
    ASSERT_TRUE(eventually([&] { return isRecording.load(); }));

    Times rendered;
    const auto period = static_cast<UInt64>(GetParam() / 10.0);
    UInt64 next = 0;
    Player player(sink, planar(GetParam(), 1), [&](const AudioTimeStamp& time, UInt32 frames, AudioBufferList* list) {
        for (UInt32 frame = 0; frame < frames; ++frame, ++next) {
            if (next % period == period / 2) {
                plane(list)[frame] = 1.0F;
                rendered.add(time, frame, GetParam());
            }
        }
        return 0;
    });
    ASSERT_EQ(player.start(), 0);
    ASSERT_TRUE(eventually([&] { return heard.count() >= impulses; }));
    const Float64 latency = getUnit<Float64>(player.unit, kAudioUnitProperty_Latency).value_or(-1.0);
    EXPECT_EQ(AudioOutputUnitStop(player.unit), 0);
    EXPECT_EQ(AudioOutputUnitStop(recorder.unit), 0);

    // Each is a tenth of a second from the next, so that the nearest one is the same one. A shortCycle that the machine was too
    // busy for moves what is around it, and so it is the middle one of the errors that counts.
    const std::vector<Float64> expected = rendered.get();
    std::vector<Float64> errors;
    for (const Float64 time : heard.get()) {
        const auto distance = [&](Float64 at) { return time - (at + latency * nanosecondsPerSecond); };
        const auto nearest = std::ranges::min_element(expected, {}, [&](Float64 at) { return std::abs(distance(at)); });
        errors.push_back(distance(*nearest) / nanosecondsPerSecond);
    }
    std::ranges::sort(errors);
    const Float64 middle = errors[errors.size() / 2];
    RecordProperty("microsecondsHeardLater", std::to_string(middle * 1e6));
    RecordProperty("least", std::to_string(errors.front() * 1e6));
    RecordProperty("most", std::to_string(errors.back() * 1e6));
    EXPECT_LE(std::abs(middle), shortCycle / graphRate) << "from " << errors.front() << " to " << errors.back();
}

INSTANTIATE_TEST_SUITE_P(AtRates, LatencyOnAServer, testing::Values(48000.0, 44100.0, 96000.0),
                         [](const auto& rate) { return std::to_string(static_cast<int>(rate.param)); });

} // namespace
