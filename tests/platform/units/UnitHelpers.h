#pragma once

#include "BRAQAudio/platform/graphs.h"
#include "BRAQAudio/platform/units.h"
#include "platform/samples/StreamFormat.h"
#include "tests/platform/hardware/HardwareHelpers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

// What tests of units make and read again and again.
namespace braq::tests {

constexpr AudioUnitScope global = kAudioUnitScope_Global;
constexpr AudioUnitScope input = kAudioUnitScope_Input;
constexpr AudioUnitScope output = kAudioUnitScope_Output;
constexpr AudioUnitElement playElement = 0;
constexpr AudioUnitElement recordElement = 1;

constexpr AudioComponentDescription deviceDescription{kAudioUnitType_Output, kAudioUnitSubType_HALOutput,
                                                      kAudioUnitManufacturer_Platform, 0, 0};
constexpr AudioComponentDescription varispeedDescription{kAudioUnitType_FormatConverter, kAudioUnitSubType_Varispeed,
                                                         kAudioUnitManufacturer_Platform, 0, 0};

inline AudioStreamBasicDescription planar(Float64 rate, UInt32 channels) { return planarFloatFormat(rate, channels); }

inline AudioStreamBasicDescription interleaved(Float64 rate, UInt32 channels) {
    auto format = planarFloatFormat(rate, channels);
    format.mFormatFlags &= ~kAudioFormatFlagIsNonInterleaved;
    format.mBytesPerFrame *= channels;
    format.mBytesPerPacket *= channels;
    return format;
}

template <class T>
OSStatus setUnit(AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope, AudioUnitElement element,
                 const T& value) {
    return AudioUnitSetProperty(unit, property, scope, element, &value, sizeof(value));
}

/// A scalar property; nothing if reading it fails.
template <class T>
std::optional<T> getUnit(AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope = global,
                         AudioUnitElement element = 0) {
    T value{};
    UInt32 size = sizeof(value);
    const OSStatus status = AudioUnitGetProperty(unit, property, scope, element, &value, &size);
    return status == 0 && size == sizeof(value) ? std::optional(value) : std::nullopt;
}

/// A unit that is disposed of at the end.
class TestUnit {
  public:
    explicit TestUnit(const AudioComponentDescription& description = deviceDescription) {
        EXPECT_EQ(AudioComponentInstanceNew(AudioComponentFindNext(nullptr, &description), &mUnit), 0);
    }
    ~TestUnit() { AudioComponentInstanceDispose(mUnit); }
    TestUnit(const TestUnit&) = delete;
    TestUnit& operator=(const TestUnit&) = delete;
    operator AudioUnit() const { return mUnit; }

  private:
    AudioUnit mUnit = nullptr;
};

/// A render or input callback with a body. It stays where it is made.
class Callback {
  public:
    using Body = std::function<OSStatus(const AudioTimeStamp& time, UInt32 frames, AudioBufferList* list)>;

    explicit Callback(Body body) : mBody(std::move(body)) {}
    Callback(const Callback&) = delete;
    Callback& operator=(const Callback&) = delete;
    AURenderCallbackStruct get() { return {call, this}; }

  private:
    static OSStatus call(void* self, AudioUnitRenderActionFlags*, const AudioTimeStamp* time, UInt32, UInt32 frames,
                         AudioBufferList* list) {
        return static_cast<Callback*>(self)->mBody(*time, frames, list);
    }
    const Body mBody;
};

inline Float32* plane(const AudioBufferList* list, UInt32 channel = 0) {
    return static_cast<Float32*>(list->mBuffers[channel].mData);
}

/// Plays on a device through a callback.
class Player {
  public:
    Player(AudioDeviceID device, const AudioStreamBasicDescription& format, Callback::Body body)
        : callback(std::move(body)) {
        EXPECT_EQ(setUnit(unit, kAudioOutputUnitProperty_CurrentDevice, global, 0, device), 0);
        EXPECT_EQ(setUnit(unit, kAudioUnitProperty_StreamFormat, input, playElement, format), 0);
        EXPECT_EQ(setUnit(unit, kAudioUnitProperty_SetRenderCallback, input, playElement, callback.get()), 0);
        EXPECT_EQ(setUnit(unit, kAudioOutputUnitProperty_StartTimestampsAtZero, global, 0, UInt32{1}), 0);
    }
    OSStatus start() {
        const OSStatus status = AudioUnitInitialize(unit);
        return status != 0 ? status : AudioOutputUnitStart(unit);
    }

    Callback callback; // outlives the unit
    TestUnit unit;
};

/// Records from a device through a callback.
class Recorder {
  public:
    Recorder(AudioDeviceID device, const AudioStreamBasicDescription& format, Callback::Body body)
        : callback(std::move(body)) {
        EXPECT_EQ(setUnit(unit, kAudioOutputUnitProperty_EnableIO, input, recordElement, UInt32{1}), 0);
        EXPECT_EQ(setUnit(unit, kAudioOutputUnitProperty_EnableIO, output, playElement, UInt32{0}), 0);
        EXPECT_EQ(setUnit(unit, kAudioOutputUnitProperty_CurrentDevice, global, 0, device), 0);
        EXPECT_EQ(setUnit(unit, kAudioUnitProperty_StreamFormat, output, recordElement, format), 0);
        EXPECT_EQ(setUnit(unit, kAudioOutputUnitProperty_SetInputCallback, global, 0, callback.get()), 0);
        EXPECT_EQ(setUnit(unit, kAudioOutputUnitProperty_StartTimestampsAtZero, global, 0, UInt32{1}), 0);
    }
    OSStatus start() {
        const OSStatus status = AudioUnitInitialize(unit);
        return status != 0 ? status : AudioOutputUnitStart(unit);
    }

    Callback callback;
    TestUnit unit;
};

/// Has a device play a number of frames in cycles of the given length.
inline Channels stepPlaying(BRAQSoftwareDevice& device, std::size_t channels, UInt32 frames, UInt32 cycle = 512) {
    Channels played(channels, frames, 99.0F);
    std::vector<Float32*> at(channels);
    for (UInt32 done = 0, now = 0; done < frames; done += now) {
        now = std::min(cycle, frames - done);
        for (std::size_t channel = 0; channel < channels; ++channel) {
            at[channel] = played.pointers()[channel] + done;
        }
        EXPECT_TRUE(device.step(now, nullptr, at.data()));
    }
    return played;
}

/// Has a device record these frames in cycles of the given length.
inline void stepRecording(BRAQSoftwareDevice& device, const Channels& recorded, std::size_t channels, UInt32 frames,
                          UInt32 cycle = 512) {
    std::vector<const Float32*> at(channels);
    for (UInt32 done = 0, now = 0; done < frames; done += now) {
        now = std::min(cycle, frames - done);
        for (std::size_t channel = 0; channel < channels; ++channel) {
            at[channel] = recorded.pointers()[channel] + done;
        }
        EXPECT_TRUE(device.step(now, at.data()));
    }
}

/// An endless recording: a sample for each channel and frame, delivered in the layout of a list.
class Tape {
  public:
    using Sound = std::function<Float32(UInt32 channel, UInt64 frame)>;

    explicit Tape(Sound sound) : mSound(std::move(sound)) {}

    OSStatus operator()(UInt32 frames, AudioBufferList* list) {
        for (UInt32 buffer = 0, channel = 0; buffer < list->mNumberBuffers; ++buffer) {
            const UInt32 stride = list->mBuffers[buffer].mNumberChannels;
            for (UInt32 inBuffer = 0; inBuffer < stride; ++inBuffer, ++channel) {
                for (UInt32 frame = 0; frame < frames; ++frame) {
                    plane(list, buffer)[frame * stride + inBuffer] = mSound(channel, delivered + frame);
                }
            }
        }
        delivered += frames;
        return 0;
    }
    Callback::Body body() {
        return [this](const AudioTimeStamp&, UInt32 frames, AudioBufferList* list) { return (*this)(frames, list); };
    }

    UInt64 delivered = 0; // frames

  private:
    const Sound mSound;
};

/// Each sample says which it is; exact up to some 16 million.
inline Float32 numbered(UInt32 channel, UInt64 frame) { return static_cast<Float32>(frame * 8 + channel + 1); }

inline std::vector<UInt32> bits(const std::vector<Float32>& samples) {
    std::vector<UInt32> result(samples.size());
    std::ranges::transform(samples, result.begin(), [](Float32 sample) { return std::bit_cast<UInt32>(sample); });
    return result;
}

} // namespace braq::tests
