#include "BRAQAudio/BRAQInputAudioUnit.h"
#include "BRAQAudio/BRAQRenderAudioUnit.h"

#include "tests/support/PrivateSoundServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

namespace {

using braq::tests::ChildProcess;
using braq::tests::eventually;
using braq::tests::PrivateSoundServer;

constexpr double rate = 48000.0;
constexpr UInt32 quantum = 1024;
constexpr double impulsePeriod = 0.2; // seconds, much longer than any latency here

/// When impulses were in the air, in seconds of the host's clock. Written on an I/O thread.
class ImpulseTimes {
  public:
    void add(const AudioTimeStamp& time, UInt32 frame) {
        const std::size_t count = mCount.load(std::memory_order_relaxed);
        if (count < mTimes.size()) {
            mTimes[count] = static_cast<double>(time.mHostTime) * 1e-9 + frame / rate;
            mCount.store(count + 1, std::memory_order_release);
        }
    }
    std::vector<double> shiftedBy(double seconds) const {
        std::vector<double> times(mCount.load(std::memory_order_acquire));
        std::transform(mTimes.data(), mTimes.data() + times.size(), times.data(),
                       [seconds](double time) { return time + seconds; });
        return times;
    }

  private:
    std::vector<double> mTimes = std::vector<double>(1000);
    std::atomic<std::size_t> mCount{0};
};

std::shared_ptr<BRAQAudioStreamBasicDescription> monoFormat() {
    const auto format = BRAQAudioStreamBasicDescription::nativeStreamDescription();
    format->setIsInterleaved(false);
    format->setChannelsPerFrame(1);
    format->setSampleRate(rate);
    return format;
}

std::shared_ptr<BRAQAudioDevice> deviceOf(const std::string& uid) {
    std::shared_ptr<BRAQAudioDevice> device;
    EXPECT_TRUE(eventually([&] { return (device = BRAQAudioDevice::initWithDeviceUID(uid)) != nullptr; })) << uid;
    return device;
}

// A program talks into the microphone and listens at the loudspeaker; the example is between them.
TEST(ExampleEffect, IsAsLateAsItTells) {
    PrivateSoundServer server;
    server.configure("default.clock.quantum", std::to_string(quantum));
    server.configure("default.clock.max-quantum", std::to_string(quantum));
    server.keep({.name = "mouth"});
    server.keep({.name = "loudspeaker"});
    server.keep({.name = "microphone", .positions = "MONO", .mediaClass = "Audio/Source/Virtual"});
    server.start();
    server.setDefaultSink("loudspeaker");
    server.setDefaultSource("microphone");
    server.run({"pw-link", "mouth:monitor_FL", "microphone:input_MONO"});

    ImpulseTimes played;
    const auto mouth = BRAQRenderAudioUnit::initWithStreamDescription(
        monoFormat(), deviceOf("mouth"), [&](const AudioTimeStamp* time, UInt32 frames, AudioBufferList* list) {
            constexpr auto period = static_cast<UInt64>(impulsePeriod * rate);
            for (UInt32 frame = 0; frame < frames; ++frame) {
                if ((static_cast<UInt64>(time->mSampleTime) + frame) % period == period / 2) {
                    static_cast<Float32*>(list->mBuffers[0].mData)[frame] = 1.0F;
                    played.add(*time, frame);
                }
            }
        });
    ImpulseTimes heard;
    const auto ear =
        BRAQInputAudioUnit::initWithStreamDescription(monoFormat(), deviceOf("loudspeaker.monitor"), std::nullopt);
    ear->setInputProcessingBlock([&](auto*, const AudioTimeStamp* time, UInt32, UInt32 frames, AudioBufferList* list) {
        for (UInt32 frame = 0; frame < frames; ++frame) {
            if (static_cast<const Float32*>(list->mBuffers[0].mData)[frame] > 0.05F) {
                heard.add(*time, frame);
            }
        }
    });
    ear->start();
    mouth->start();
    const std::string log = server.folder() / "effect.log";
    ChildProcess effect({BRAQ_EXAMPLES "/example_effect", "4"}, log);
    EXPECT_EQ(effect.wait(), 0);
    mouth->stop();
    ear->stop();

    std::ifstream file(log);
    const std::string told{std::istreambuf_iterator<char>(file), {}};
    std::smatch found;
    ASSERT_TRUE(std::regex_search(told, found, std::regex("input (\\S+) ms, ring (\\S+) ms, output (\\S+) ms")))
        << told;
    const double latency = (std::stod(found[1]) + std::stod(found[2]) + std::stod(found[3])) / 1000.0;

    std::vector<double> delays;
    const auto spoken = played.shiftedBy(mouth->latency());
    for (const double time : heard.shiftedBy(-ear->latency())) {
        const auto after = std::ranges::upper_bound(spoken, time);
        if (after != spoken.begin()) {
            delays.push_back(time - *(after - 1));
        }
    }
    ASSERT_GE(delays.size(), 10U) << told;
    std::ranges::sort(delays);
    const double measured = delays[delays.size() / 2]; // a busy machine makes the graph miss cycles
    RecordProperty("measured", std::to_string(measured * 1000.0));
    RecordProperty("told", std::to_string(latency * 1000.0));
    EXPECT_NEAR(measured, latency, quantum / rate / 2.0) << told;
}

} // namespace
