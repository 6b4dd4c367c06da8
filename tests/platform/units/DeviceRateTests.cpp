#include "tests/platform/units/SineFit.h"
#include "tests/platform/units/UnitHelpers.h"

#include <gmock/gmock.h>

#include <cmath>
#include <numbers>

namespace {

using namespace braq::tests;

struct Rates {
    Float64 client;
    Float64 device;
};

class Units_DeviceRates : public ::testing::TestWithParam<Rates> {
  protected:
    std::shared_ptr<BRAQSoftwareDevice> makeDevice() const {
        auto options = steppedOptions("device");
        options.sampleRate = GetParam().device;
        return BRAQSoftwareDevice::deviceWithOptions(options);
    }
};

Float32 sineAt(double hertz, double rate, UInt64 frame) {
    return static_cast<Float32>(0.5 * std::sin(2.0 * std::numbers::pi * hertz / rate * static_cast<double>(frame)));
}

constexpr double hertz[]{997.0, 15000.0};
constexpr double leastSignalToNoise = 110.0; // decibels

TEST_P(Units_DeviceRates, PlaybackKeepsSineAndTime) {
    const auto device = makeDevice();
    for (const double pitch : hertz) {
        for (const auto& format : {planar(GetParam().client, 2), interleaved(GetParam().client, 2)}) {
            Tape tape([&](UInt32 channel, UInt64 frame) {
                return (channel == 0 ? 1.0F : -1.0F) * sineAt(pitch, GetParam().client, frame);
            });
            Player player(device->deviceID(), format, tape.body());
            ASSERT_EQ(player.start(), 0);
            const Channels played = stepPlaying(*device, 2, 32768, 500);
            for (std::size_t channel = 0; channel < 2; ++channel) {
                const auto middle = std::span(played[channel]).subspan(8192, 16384);
                const SineFit fit = fitSine(middle, pitch / GetParam().device, 8192);
                RecordProperty("signalToNoise" + std::to_string(static_cast<int>(pitch)),
                               std::to_string(fit.signalToNoise));
                EXPECT_GE(fit.signalToNoise, leastSignalToNoise) << pitch;
                EXPECT_NEAR(fit.amplitude, 0.5, 1e-4) << pitch;
                const double halfPeriod = GetParam().device / pitch / 2.0;
                EXPECT_NEAR(std::remainder(fit.delayFrames - (channel == 0 ? 0.0 : halfPeriod), 2.0 * halfPeriod), 0.0,
                            1e-3)
                    << "frame k sounds at time k";
            }
        }
    }
}

TEST_P(Units_DeviceRates, PlaybackPullsNoMoreThanItNeedsAndSomeAhead) {
    const auto device = makeDevice();
    Tape tape(numbered);
    Player player(device->deviceID(), planar(GetParam().client, 2), tape.body());
    ASSERT_EQ(player.start(), 0);
    stepPlaying(*device, 2, 20000, 500);
    const double needed = 20000.0 * GetParam().client / GetParam().device;
    EXPECT_GE(static_cast<double>(tape.delivered), needed);
    EXPECT_LE(static_cast<double>(tape.delivered),
              needed + 1024.0 * std::max(1.0, GetParam().client / GetParam().device));
}

TEST_P(Units_DeviceRates, PlaybackTimeStampsSayWhenEachFrameIsHeard) {
    const auto device = makeDevice();
    UInt64 start = 0;
    constexpr UInt64 impulse = 5000;
    UInt64 delivered = 0;
    Float64 told = 0.0; // seconds from the start
    Player player(device->deviceID(), planar(GetParam().client, 2),
                  [&](const AudioTimeStamp& time, UInt32 frames, AudioBufferList* list) {
                      if (delivered <= impulse && impulse < delivered + frames) {
                          plane(list)[impulse - delivered] = 1.0F;
                          told = static_cast<Float64>(time.mHostTime - start) / 1e9 +
                                 static_cast<Float64>(impulse - delivered) / GetParam().client;
                      }
                      delivered += frames;
                      return 0;
                  });
    ASSERT_EQ(player.start(), 0);
    start = device->hostTimeOfStep();
    const Channels played = stepPlaying(*device, 2, 40000, 500);
    const auto peak = std::ranges::max_element(played[0]) - played[0].begin();
    EXPECT_NEAR(told * GetParam().device, static_cast<Float64>(peak), 1.0) << "frames of the device";
}

TEST_P(Units_DeviceRates, CaptureTimeStampsSayWhenEachFrameWasCaptured) {
    const auto device = makeDevice();
    UInt64 start = 0;
    constexpr std::size_t impulse = 15000;
    Channels recorded(2, 32768);
    recorded[0][impulse] = 1.0F;
    Float32 peak = 0.0F;
    Float64 told = 0.0; // seconds from the start
    std::vector<Float32> samples(4096);
    AudioUnit unit = nullptr;
    Recorder recorder(device->deviceID(), planar(GetParam().client, 1),
                      [&](const AudioTimeStamp& time, UInt32 frames, AudioBufferList*) {
                          AudioBufferList list{1, {{1, 0, samples.data()}}};
                          EXPECT_EQ(AudioUnitRender(unit, nullptr, &time, recordElement, frames, &list), 0);
                          const auto largest = std::max_element(samples.begin(), samples.begin() + frames);
                          if (*largest > peak) {
                              peak = *largest;
                              told = static_cast<Float64>(time.mHostTime - start) / 1e9 +
                                     static_cast<Float64>(largest - samples.begin()) / GetParam().client;
                          }
                          return 0;
                      });
    unit = recorder.unit;
    ASSERT_EQ(recorder.start(), 0);
    start = device->hostTimeOfStep();
    stepRecording(*device, recorded, 2, 32768, 500);
    EXPECT_GT(peak, 0.1F);
    EXPECT_NEAR(told * GetParam().device, static_cast<Float64>(impulse),
                std::max(1.0, GetParam().device / GetParam().client))
        << "frames of the device";
}

TEST_P(Units_DeviceRates, CaptureKeepsSineAndTimeAndLength) {
    const auto device = makeDevice();
    constexpr UInt32 frames = 65536;
    for (const double pitch : hertz) {
        Channels recorded(2, frames);
        for (std::size_t frame = 0; frame < frames; ++frame) {
            recorded[0][frame] = sineAt(pitch, GetParam().device, frame);
            recorded[1][frame] = -recorded[0][frame];
        }
        std::vector<Float32> heard;
        Float64 next = 0.0;
        AudioUnit unit = nullptr;
        Recorder recorder(device->deviceID(), interleaved(GetParam().client, 2),
                          [&](const AudioTimeStamp& time, UInt32 count, AudioBufferList*) {
                              EXPECT_EQ(time.mSampleTime, next) << "continuous, in the client's frames";
                              EXPECT_LE(count, 512U);
                              next += count;
                              AudioBufferList list{1, {{2, 0, nullptr}}};
                              EXPECT_EQ(AudioUnitRender(unit, nullptr, &time, 1, count, &list), 0);
                              EXPECT_EQ(list.mBuffers[0].mDataByteSize, count * 8);
                              heard.insert(heard.end(), plane(&list), plane(&list) + 2 * count);
                              return 0;
                          });
        unit = recorder.unit;
        ASSERT_EQ(recorder.start(), 0);
        stepRecording(*device, recorded, 2, frames, 500);
        const double expected = frames * GetParam().client / GetParam().device;
        EXPECT_LE(static_cast<double>(heard.size()) / 2.0, expected + 1.0);
        EXPECT_GE(static_cast<double>(heard.size()) / 2.0, expected - 0.1 * GetParam().client) << "some are held";
        std::vector<Float32> left;
        std::vector<Float32> right;
        for (std::size_t sample = 0; sample + 1 < heard.size(); sample += 2) {
            left.push_back(heard[sample]);
            right.push_back(-heard[sample + 1]);
        }
        EXPECT_EQ(left, right);
        ASSERT_GE(left.size(), 24576U);
        const SineFit fit = fitSine(std::span(left).subspan(8192, 16384), pitch / GetParam().client, 8192);
        RecordProperty("signalToNoise" + std::to_string(static_cast<int>(pitch)), std::to_string(fit.signalToNoise));
        EXPECT_GE(fit.signalToNoise, leastSignalToNoise) << pitch;
        EXPECT_NEAR(fit.amplitude, 0.5, 1e-4) << pitch;
        EXPECT_NEAR(std::remainder(fit.delayFrames, GetParam().client / pitch), 0.0, 1e-3) << "frame k is of time k";
    }
}

INSTANTIATE_TEST_SUITE_P(UpAndDown, Units_DeviceRates,
                         testing::Values(Rates{44100.0, 48000.0}, Rates{48000.0, 44100.0}, Rates{44100.0, 96000.0},
                                         Rates{96000.0, 44100.0}),
                         [](const auto& given) {
                             return "Client" + std::to_string(static_cast<int>(given.param.client)) + "Device" +
                                    std::to_string(static_cast<int>(given.param.device));
                         });

} // namespace
