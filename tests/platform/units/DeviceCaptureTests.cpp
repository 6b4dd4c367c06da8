#include "tests/platform/units/UnitHelpers.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>

#include <bit>
#include <stdexcept>

namespace {

using namespace braq::tests;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Optional;

/// A list of planes with memory of its own.
class Planes {
  public:
    Planes(UInt32 channels, UInt32 frames)
        : mSamples(channels, frames, 99.0F), mBytes(AudioBufferListByteSize(channels)) {
        list()->mNumberBuffers = channels;
        for (UInt32 channel = 0; channel < channels; ++channel) {
            list()->mBuffers[channel] = {1, static_cast<UInt32>(frames * sizeof(Float32)),
                                         mSamples.pointers()[channel]};
        }
    }
    AudioBufferList* list() { return reinterpret_cast<AudioBufferList*>(mBytes.data()); }
    std::vector<Float32>& operator[](std::size_t channel) { return mSamples[channel]; }

  private:
    Channels mSamples;
    std::vector<std::byte> mBytes;
};

/// Records everything, channel by channel.
class Recording {
  public:
    Recording(AudioDeviceID device, const AudioStreamBasicDescription& format)
        : mPlanes(isPlanar(format) ? format.mChannelsPerFrame : 1, 8192 * format.mChannelsPerFrame),
          mIsPlanar(isPlanar(format)),
          channels(format.mChannelsPerFrame),
          recorder(device, format, [this](const AudioTimeStamp& time, UInt32 frames, AudioBufferList* none) {
              EXPECT_EQ(none, nullptr);
              return take(time, frames);
          }) {
        if (!mIsPlanar) {
            mPlanes.list()->mBuffers[0].mNumberChannels = format.mChannelsPerFrame;
        }
    }

  private:
    static bool isPlanar(const AudioStreamBasicDescription& format) { return !braq::isInterleaved(format); }
    OSStatus take(const AudioTimeStamp& time, UInt32 frames) {
        slices.push_back(frames);
        times.push_back(time);
        const OSStatus status = AudioUnitRender(recorder.unit, nullptr, &time, 1, frames, mPlanes.list());
        for (std::size_t channel = 0; channel < channels.size(); ++channel) {
            for (std::size_t frame = 0; frame < frames; ++frame) {
                channels[channel].push_back(mIsPlanar ? mPlanes[channel][frame]
                                                      : mPlanes[0][frame * channels.size() + channel]);
            }
            const UInt32 bytes = mPlanes.list()->mBuffers[mIsPlanar ? channel : 0].mDataByteSize;
            EXPECT_EQ(bytes, frames * sizeof(Float32) * (mIsPlanar ? 1 : channels.size()));
        }
        return status;
    }
    Planes mPlanes;
    const bool mIsPlanar;

  public:
    std::vector<UInt32> slices;
    std::vector<AudioTimeStamp> times;
    std::vector<std::vector<Float32>> channels;
    Recorder recorder;
};

Channels numberedInput(UInt32 channels, UInt32 frames) {
    Channels recorded(channels, frames);
    for (UInt32 channel = 0; channel < channels; ++channel) {
        for (UInt32 frame = 0; frame < frames; ++frame) {
            recorded[channel][frame] = numbered(channel, frame);
        }
    }
    return recorded;
}

TEST(Units_DeviceCapture, RecordsEveryBitAtEqualRates) {
    for (const UInt32 channels : {1U, 2U, 6U}) {
        for (const auto& format : {planar(48000.0, channels), interleaved(48000.0, channels)}) {
            const auto device = steppedDevice("device", 0, channels);
            Recording recording(device->deviceID(), format);
            ASSERT_EQ(recording.recorder.start(), 0);
            Channels recorded = numberedInput(channels, 2000);
            recorded[0][7] = -0.0F;
            recorded[0][8] = std::bit_cast<Float32>(0x7FC12345U);
            stepRecording(*device, recorded, channels, 2000, 300);
            for (UInt32 channel = 0; channel < channels; ++channel) {
                ASSERT_EQ(recording.channels[channel].size(), 2000U);
                for (std::size_t frame = 0; frame < 2000; ++frame) {
                    ASSERT_EQ(std::bit_cast<UInt32>(recording.channels[channel][frame]),
                              std::bit_cast<UInt32>(recorded[channel][frame]));
                }
            }
        }
    }
}

TEST(Units_DeviceCapture, RecordsSlicesWithinTheAnsweredBufferSize) {
    auto options = steppedOptions("device");
    options.bufferFrames = 256;
    const auto device = BRAQSoftwareDevice::deviceWithOptions(options);
    Recording recording(device->deviceID(), planar(48000.0, 2));
    EXPECT_THAT(getUnit<UInt32>(recording.recorder.unit, kAudioDevicePropertyBufferFrameSize), Optional(256U));
    ASSERT_EQ(recording.recorder.start(), 0);
    const Channels recorded = numberedInput(2, 3000);
    stepRecording(*device, recorded, 2, 3000, 1500);
    EXPECT_THAT(recording.slices, Each(testing::Le(256U)));
    EXPECT_EQ(recording.channels[1], recorded[1]);
    Float64 next = 0.0;
    for (std::size_t slice = 0; slice < recording.slices.size(); ++slice) {
        EXPECT_EQ(recording.times[slice].mSampleTime, next);
        next += recording.slices[slice];
    }
    EXPECT_EQ(recording.times[1].mHostTime - recording.times[0].mHostTime, 5'333'333U);
}

TEST(Units_DeviceCapture, RecordsTheChannelsOfTheMap) {
    const auto record = [](std::vector<SInt32> map, UInt32 channels, UInt32 deviceChannels) {
        const auto device = steppedDevice("device", 0, deviceChannels);
        Recording recording(device->deviceID(), planar(48000.0, channels));
        if (!map.empty()) {
            EXPECT_EQ(AudioUnitSetProperty(recording.recorder.unit, kAudioOutputUnitProperty_ChannelMap, input, 1,
                                           map.data(), static_cast<UInt32>(map.size() * sizeof(SInt32))),
                      0);
        }
        EXPECT_EQ(recording.recorder.start(), 0);
        stepRecording(*device, numberedInput(deviceChannels, 64), deviceChannels, 64);
        stepRecording(*device, numberedInput(deviceChannels, 1), deviceChannels, 1);
        std::vector<Float32> last;
        for (const auto& samples : recording.channels) {
            last.push_back(samples.back()); // of frame 0: the number of its channel, from 1
        }
        return last;
    };
    EXPECT_THAT(record({1, 0}, 2, 2), ElementsAre(2.0F, 1.0F));
    EXPECT_THAT(record({2, 3}, 2, 4), ElementsAre(3.0F, 4.0F));
    EXPECT_THAT(record({-1, 0}, 2, 2), ElementsAre(0.0F, 1.0F));
    EXPECT_THAT(record({1, 1}, 2, 2), ElementsAre(2.0F, 2.0F));
    EXPECT_THAT(record({3}, 2, 4), ElementsAre(4.0F, 0.0F)) << "a short map: silence in the other";
    EXPECT_THAT(record({3}, 1, 4), ElementsAre(4.0F));
    EXPECT_THAT(record({}, 1, 4), ElementsAre(1.0F)) << "no map: channel to channel";
    EXPECT_THAT(record({}, 3, 2), ElementsAre(1.0F, 2.0F, 0.0F)) << "silence where there is none";
}

TEST(Units_DeviceCapture, HandsOutItsSliceAsOftenAsItIsAskedInItsCallback) {
    const auto device = steppedDevice("device");
    AudioUnit unit = nullptr;
    int calls = 0;
    Recorder recorder(
        device->deviceID(), planar(48000.0, 2), [&](const AudioTimeStamp& time, UInt32 frames, AudioBufferList*) {
            const auto render = [&](AudioUnitElement element, UInt32 count, AudioBufferList* list) {
                return AudioUnitRender(unit, nullptr, &time, element, count, list);
            };
            ++calls;
            EXPECT_EQ(frames, 16U);
            Planes planes(2, 16);
            EXPECT_EQ(render(1, frames + 1, planes.list()), kAudioUnitErr_TooManyFramesToProcess);
            EXPECT_EQ(render(0, frames, planes.list()), kAudioUnitErr_InvalidElement);
            EXPECT_EQ(render(2, frames, planes.list()), kAudioUnitErr_InvalidElement);
            EXPECT_EQ(render(1, frames, nullptr), kAudio_ParamError);
            EXPECT_EQ(AudioUnitRender(unit, nullptr, nullptr, 1, frames, planes.list()), kAudio_ParamError);
            planes.list()->mNumberBuffers = 1;
            EXPECT_EQ(render(1, frames, planes.list()), kAudio_ParamError);
            planes.list()->mNumberBuffers = 2;
            planes.list()->mBuffers[0].mNumberChannels = 2;
            EXPECT_EQ(render(1, frames, planes.list()), kAudio_ParamError);
            planes.list()->mBuffers[0].mNumberChannels = 1;
            EXPECT_THAT(planes[0], Each(99.0F)) << "what is refused leaves the memory alone";
            EXPECT_EQ(render(1, 4, planes.list()), 0) << "fewer frames: the first ones";
            EXPECT_EQ(planes.list()->mBuffers[1].mDataByteSize, 16U);
            EXPECT_EQ(planes[1][3], numbered(1, 3));
            EXPECT_EQ(planes[1][4], 99.0F);
            EXPECT_EQ(render(1, frames, planes.list()), 0) << "though its byte sizes say four frames";
            EXPECT_EQ(planes[1][15], numbered(1, 15));
            planes.list()->mBuffers[1].mData = nullptr;
            EXPECT_EQ(render(1, frames, planes.list()), 0);
            EXPECT_NE(planes.list()->mBuffers[1].mData, nullptr) << "pointed at memory of the unit";
            EXPECT_EQ(plane(planes.list(), 1)[15], numbered(1, 15));
            EXPECT_EQ(planes.list()->mBuffers[1].mDataByteSize, 64U);
            return 0;
        });
    unit = recorder.unit;
    ASSERT_EQ(recorder.start(), 0);
    stepRecording(*device, numberedInput(2, 16), 2, 16);
    EXPECT_EQ(calls, 1);
}

TEST(Units_DeviceCapture, HandsOutNothingOutsideOfItsCallback) {
    const auto device = steppedDevice("device");
    const AudioTimeStamp time{};
    Planes planes(2, 16);
    AudioUnit recording = nullptr;
    std::vector<OSStatus> statuses;
    const auto ask = [&] { statuses.push_back(AudioUnitRender(recording, nullptr, &time, 1, 16, planes.list())); };
    const auto asks = [&](const AudioTimeStamp&, UInt32, AudioBufferList*) {
        ask();
        return 0;
    };
    Player before(device->deviceID(), planar(48000.0, 2), asks);
    before.start();
    Recorder recorder(device->deviceID(), planar(48000.0, 2),
                      [](const AudioTimeStamp&, UInt32, AudioBufferList*) { return 0; });
    recording = recorder.unit;
    ask(); // not initialised
    ASSERT_EQ(recorder.start(), 0);
    Player after(device->deviceID(), planar(48000.0, 2), asks);
    after.start();
    ask();
    device->step(16);
    ask();
    EXPECT_EQ(statuses.size(), 5U);
    EXPECT_THAT(statuses, Each(kAudioUnitErr_CannotDoInCurrentContext));
    EXPECT_THAT(planes[0], Each(99.0F));
}

TEST(Units_DeviceCapture, KeepsTheStatusOfItsCallbackAndGoesOn) {
    const auto device = steppedDevice("device");
    int calls = 0;
    Recorder recorder(device->deviceID(), planar(48000.0, 2), [&](const AudioTimeStamp&, UInt32, AudioBufferList*) {
        ++calls;
        return -4242;
    });
    ASSERT_EQ(recorder.start(), 0);
    device->step(16);
    device->step(16);
    EXPECT_EQ(calls, 2);
    EXPECT_THAT(getUnit<OSStatus>(recorder.unit, kAudioUnitProperty_LastRenderError), Optional(-4242));
    EXPECT_THAT(getUnit<OSStatus>(recorder.unit, kAudioUnitProperty_LastRenderError), Optional(0));
}

TEST(Units_DeviceCapture, CallsForEverySliceThoughTheCallbackThrows) {
    const CapturedLog log;
    const auto device = steppedDevice("device");
    Float64 next = 0.0;
    Recorder recorder(device->deviceID(), planar(48000.0, 2),
                      [&](const AudioTimeStamp& time, UInt32 frames, AudioBufferList*) -> OSStatus {
                          EXPECT_EQ(time.mSampleTime, next);
                          next += frames;
                          throw std::runtime_error("from the callback");
                      });
    ASSERT_EQ(recorder.start(), 0);
    device->step(1200);
    device->step(1200);
    EXPECT_EQ(next, 2400.0);
    waitForNotifications();
    ASSERT_EQ(log.errors().size(), 1U);
    EXPECT_THAT(log.errors()[0], HasSubstr("threw"));
}

TEST(Units_DeviceCapture, RecordsNothingWithoutACallback) {
    const auto device = steppedDevice("device");
    TestUnit unit;
    setUnit(unit, kAudioOutputUnitProperty_EnableIO, input, 1, UInt32{1});
    setUnit(unit, kAudioOutputUnitProperty_EnableIO, output, 0, UInt32{0});
    setUnit(unit, kAudioOutputUnitProperty_CurrentDevice, global, 0, device->deviceID());
    ASSERT_EQ(AudioUnitInitialize(unit), 0);
    ASSERT_EQ(AudioOutputUnitStart(unit), 0);
    EXPECT_TRUE(device->step(16));
}

TEST(Units_DeviceCapture, RecordsAndPlaysInOneUnit) {
    const auto device = steppedDevice("device");
    std::vector<Float32> heard;
    std::vector<std::pair<char, Float64>> calls;
    AudioUnit unit = nullptr;
    Planes planes(2, 512);
    Callback inputCallback([&](const AudioTimeStamp& time, UInt32 frames, AudioBufferList*) {
        calls.emplace_back('i', time.mSampleTime);
        const OSStatus status = AudioUnitRender(unit, nullptr, &time, 1, frames, planes.list());
        heard.assign(planes[1].begin(), planes[1].begin() + frames);
        return status;
    });
    Player player(device->deviceID(), planar(48000.0, 2),
                  [&](const AudioTimeStamp& time, UInt32 frames, AudioBufferList* list) {
                      calls.emplace_back('o', time.mSampleTime);
                      std::copy_n(heard.data(), frames, plane(list, 0));
                      return 0;
                  });
    unit = player.unit;
    setUnit(unit, kAudioOutputUnitProperty_EnableIO, input, 1, UInt32{1});
    setUnit(unit, kAudioUnitProperty_SampleRate, output, 1, Float64{48000.0});
    setUnit(unit, kAudioOutputUnitProperty_SetInputCallback, global, 0, inputCallback.get());
    ASSERT_EQ(player.start(), 0);
    const Channels recorded = numberedInput(2, 100);
    Channels played(2, 100, 99.0F);
    for (int cycle = 0; cycle < 2; ++cycle) {
        EXPECT_TRUE(device->step(100, recorded.pointers(), played.pointers()));
        EXPECT_EQ(played[0], recorded[1]) << "what is recorded can be played in the same cycle";
        EXPECT_THAT(played[1], Each(0.0F));
    }
    EXPECT_THAT(calls,
                ElementsAre(std::pair('i', 0.0), std::pair('o', 0.0), std::pair('i', 100.0), std::pair('o', 100.0)));
}

TEST(Units_DeviceCapture, IsFollowedByALoopbackDeviceBitForBit) {
    auto options = steppedOptions("device");
    options.loopback = true;
    const auto device = BRAQSoftwareDevice::deviceWithOptions(options);
    Tape tape(numbered);
    Player player(device->deviceID(), interleaved(48000.0, 2), tape.body());
    Recording recording(device->deviceID(), planar(48000.0, 2));
    ASSERT_EQ(recording.recorder.start(), 0);
    ASSERT_EQ(player.start(), 0);
    for (int cycle = 0; cycle < 10; ++cycle) {
        device->step(200);
    }
    const auto& heard = recording.channels[1];
    ASSERT_EQ(heard.size(), 2000U);
    for (std::size_t frame = 0; frame < 2000; ++frame) {
        ASSERT_EQ(heard[frame], frame < 200 ? 0.0F : numbered(1, frame - 200));
    }
}

} // namespace
