#include "tests/platform/hardware/HardwareHelpers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

namespace {

using namespace braq::tests;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

constexpr AudioObjectID system = kAudioObjectSystemObject;
constexpr UInt32 output = kAudioDevicePropertyScopeOutput;
constexpr UInt32 input = kAudioDevicePropertyScopeInput;
constexpr UInt32 untouched = 0xDEADBEEF;

TEST(AudioObject, WithoutDevicesTheDefaultDevicesAreNoDeviceAndNoError) {
    EXPECT_THAT(get<AudioDeviceID>(system, at(kAudioHardwarePropertyDefaultInputDevice)), Optional(0));
    EXPECT_THAT(get<AudioDeviceID>(system, at(kAudioHardwarePropertyDefaultOutputDevice)), Optional(0));
    EXPECT_THAT(get<AudioDeviceID>(system, at(kAudioHardwarePropertyDefaultSystemOutputDevice)), Optional(0));
}

TEST(AudioObject, WithoutDevicesTheListIsEmptyAndNoError) {
    UInt32 size = untouched;
    const auto address = at(kAudioHardwarePropertyDevices);
    EXPECT_EQ(AudioObjectGetPropertyDataSize(system, &address, 0, nullptr, &size), 0);
    EXPECT_EQ(size, 0U);
    EXPECT_THAT(getList<AudioDeviceID>(system, address), Optional(IsEmpty()));
}

TEST(AudioObject, ListsDevicesInTheOrderInWhichTheyAppeared) {
    const auto first = steppedDevice("first");
    const auto second = steppedDevice("second");
    const auto address = at(kAudioHardwarePropertyDevices);
    EXPECT_THAT(getList<AudioDeviceID>(system, address), Optional(ElementsAre(first->deviceID(), second->deviceID())));
    first->remove();
    EXPECT_THAT(getList<AudioDeviceID>(system, address), Optional(ElementsAre(second->deviceID())));
}

TEST(AudioObject, NeverUsesAnIdAgain) {
    const auto first = steppedDevice("comes and goes");
    const AudioDeviceID before = first->deviceID();
    first->remove();
    const auto second = steppedDevice("comes and goes");
    ASSERT_NE(second, nullptr);
    EXPECT_GT(second->deviceID(), before);
}

TEST(AudioObject, FindsADeviceByItsUID) {
    const auto device = steppedDevice("Gerät 1");
    EXPECT_EQ(deviceForUID("Gerät 1"), device->deviceID());
    EXPECT_EQ(deviceForUID("no such"), kAudioObjectUnknown);
    EXPECT_EQ(deviceForUID(""), kAudioObjectUnknown);
    device->remove();
    EXPECT_EQ(deviceForUID("Gerät 1"), kAudioObjectUnknown);
}

TEST(AudioObject, RefusesATranslationOfTheWrongShape) {
    CFStringRef uid = nullptr;
    AudioDeviceID device = untouched;
    const auto address = at(kAudioHardwarePropertyDeviceForUID);
    const auto ask = [&](UInt32 size, AudioValueTranslation translation) {
        return AudioObjectGetPropertyData(system, &address, 0, nullptr, &size, &translation);
    };
    const AudioValueTranslation right{&uid, sizeof(uid), &device, sizeof(device)};
    EXPECT_EQ(ask(16, right), kAudioHardwareBadPropertySizeError);
    EXPECT_EQ(ask(32, {&uid, 4, &device, sizeof(device)}), kAudioHardwareBadPropertySizeError);
    EXPECT_EQ(ask(32, {&uid, sizeof(uid), &device, 8}), kAudioHardwareBadPropertySizeError);
    EXPECT_EQ(ask(32, {nullptr, sizeof(uid), &device, sizeof(device)}), kAudioHardwareBadPropertySizeError);
    EXPECT_EQ(device, untouched);
    EXPECT_EQ(ask(32, right), 0);
    EXPECT_EQ(device, kAudioObjectUnknown) << "a null string is the UID of no device";
}

TEST(AudioObject, RefusesAnUnknownObject) {
    for (const AudioObjectID object : {kAudioObjectUnknown, AudioObjectID{0xFFFFFF}}) {
        EXPECT_EQ(statusOf(object, at(kAudioDevicePropertyNominalSampleRate), 8), kAudioHardwareBadObjectError);
        const auto address = at(kAudioDevicePropertyNominalSampleRate);
        UInt32 size = untouched;
        EXPECT_EQ(AudioObjectGetPropertyDataSize(object, &address, 0, nullptr, &size), kAudioHardwareBadObjectError);
        EXPECT_EQ(size, untouched);
        EXPECT_FALSE(AudioObjectHasProperty(object, &address));
        EXPECT_EQ(set(object, address, 48000.0), kAudioHardwareBadObjectError);
    }
}

TEST(AudioObject, RefusesAnUnknownProperty) {
    const auto device = steppedDevice("device");
    for (const AudioObjectID object : {system, device->deviceID()}) {
        EXPECT_EQ(statusOf(object, at(BRAQFourCharCode("xxxx")), 4), kAudioHardwareUnknownPropertyError);
    }
    EXPECT_EQ(statusOf(system, at(kAudioHardwarePropertyDevices, output), 4), kAudioHardwareUnknownPropertyError);
    EXPECT_EQ(statusOf(device->deviceID(), at(kAudioDevicePropertyLatency), 4), kAudioHardwareUnknownPropertyError);
    EXPECT_EQ(statusOf(device->deviceID(), at(kAudioDevicePropertyDeviceUID, BRAQFourCharCode("oops")), 8),
              kAudioHardwareUnknownPropertyError);
    EXPECT_EQ(statusOf(device->deviceID(), at(kAudioDevicePropertyLatency, output, 1), 4),
              kAudioHardwareUnknownPropertyError)
        << "only the main element is there";
}

TEST(AudioObject, RefusesAScalarBufferOfTheWrongSizeAndWritesNothing) {
    const auto address = at(kAudioHardwarePropertyDefaultInputDevice);
    for (const UInt32 wrong : {0U, 2U, 8U}) {
        std::array<UInt32, 2> value{untouched, untouched};
        UInt32 size = wrong;
        EXPECT_EQ(AudioObjectGetPropertyData(system, &address, 0, nullptr, &size, value.data()),
                  kAudioHardwareBadPropertySizeError);
        EXPECT_EQ(size, wrong);
        EXPECT_THAT(value, ElementsAre(untouched, untouched));
    }
    const auto device = steppedDevice("device");
    EXPECT_EQ(statusOf(device->deviceID(), at(kAudioDevicePropertyDeviceUID), 4), kAudioHardwareBadPropertySizeError);
}

TEST(AudioObject, WritesAsManyWholeEntriesOfAnArrayAsFit) {
    const std::array devices{steppedDevice("a"), steppedDevice("b"), steppedDevice("c")};
    const auto address = at(kAudioHardwarePropertyDevices);
    std::array<AudioDeviceID, 4> ids{untouched, untouched, untouched, untouched};
    UInt32 size = 11; // two entries and a part
    EXPECT_EQ(AudioObjectGetPropertyData(system, &address, 0, nullptr, &size, ids.data()), 0);
    EXPECT_EQ(size, 8U);
    EXPECT_THAT(ids, ElementsAre(devices[0]->deviceID(), devices[1]->deviceID(), untouched, untouched));
    size = sizeof(ids);
    EXPECT_EQ(AudioObjectGetPropertyData(system, &address, 0, nullptr, &size, ids.data()), 0);
    EXPECT_EQ(size, 12U) << "more room than needed";
    size = 0;
    EXPECT_EQ(AudioObjectGetPropertyData(system, &address, 0, nullptr, &size, ids.data()), 0);
    EXPECT_EQ(size, 0U);
}

TEST(AudioObject, DescribesADevice) {
    BRAQSoftwareDeviceOptions options = steppedOptions("the UID", 6, 1);
    options.name = "Ein Gerät";
    options.manufacturer = "Somebody";
    options.transportType = kAudioDeviceTransportTypeUSB;
    options.sampleRate = 44100.0;
    options.sampleRates = {44100.0, 96000.0};
    options.bufferFrames = 256;
    options.minimumBufferFrames = 32;
    options.maximumBufferFrames = 1024;
    options.playback.latencyFrames = 17;
    options.playback.safetyOffsetFrames = 5;
    options.record.latencyFrames = 23;
    options.record.safetyOffsetFrames = 7;
    const auto device = BRAQSoftwareDevice::deviceWithOptions(options);
    const AudioDeviceID id = device->deviceID();

    EXPECT_THAT(getText(id, kAudioDevicePropertyDeviceUID), Optional(std::string("the UID")));
    EXPECT_THAT(getText(id, kAudioObjectPropertyName), Optional(std::string("Ein Gerät")));
    EXPECT_THAT(getText(id, kAudioObjectPropertyManufacturer), Optional(std::string("Somebody")));
    EXPECT_THAT(get<UInt32>(id, at(kAudioDevicePropertyTransportType)), Optional(kAudioDeviceTransportTypeUSB));
    for (const UInt32 scope : {kAudioObjectPropertyScopeGlobal, output, input}) {
        EXPECT_THAT(get<Float64>(id, at(kAudioDevicePropertyNominalSampleRate, scope)), Optional(44100.0));
        EXPECT_THAT(get<UInt32>(id, at(kAudioDevicePropertyBufferFrameSize, scope)), Optional(256U));
    }
    const auto rates = getList<AudioValueRange>(id, at(kAudioDevicePropertyAvailableNominalSampleRates));
    ASSERT_EQ(rates->size(), 2U);
    EXPECT_EQ((*rates)[1].mMinimum, 96000.0);
    EXPECT_EQ((*rates)[1].mMaximum, 96000.0);
    const auto sizes = get<AudioValueRange>(id, at(kAudioDevicePropertyBufferFrameSizeRange));
    EXPECT_EQ(sizes->mMinimum, 32.0);
    EXPECT_EQ(sizes->mMaximum, 1024.0);
    EXPECT_THAT(get<UInt32>(id, at(kAudioDevicePropertyLatency, output)), Optional(17U));
    EXPECT_THAT(get<UInt32>(id, at(kAudioDevicePropertyLatency, input)), Optional(23U));
    EXPECT_THAT(get<UInt32>(id, at(kAudioDevicePropertySafetyOffset, output)), Optional(5U));
    EXPECT_THAT(get<UInt32>(id, at(kAudioDevicePropertySafetyOffset, input)), Optional(7U));
    EXPECT_THAT(get<UInt32>(id, at(kAudioDevicePropertyDeviceIsAlive)), Optional(1U));
    EXPECT_THAT(get<UInt32>(id, at(kAudioDevicePropertyDeviceIsRunning)), Optional(0U));
    EXPECT_THAT(get<UInt32>(id, at(kAudioDevicePropertyDeviceIsRunningSomewhere)), Optional(0U));
    EXPECT_THAT(getList<UInt32>(id, at(kAudioDevicePropertyPreferredChannelsForStereo, output)),
                Optional(ElementsAre(1U, 2U)));
    EXPECT_THAT(getList<UInt32>(id, at(kAudioDevicePropertyPreferredChannelsForStereo, input)),
                Optional(ElementsAre(1U, 1U)))
        << "a mono device plays both on its one channel";
}

TEST(AudioObject, HasNoStereoPairInADirectionWithoutChannels) {
    const auto device = steppedDevice("device", 2, 0);
    const auto address = at(kAudioDevicePropertyPreferredChannelsForStereo, input);
    EXPECT_FALSE(AudioObjectHasProperty(device->deviceID(), &address));
    EXPECT_EQ(statusOf(device->deviceID(), address, 8), kAudioHardwareUnknownPropertyError);
}

std::vector<UInt32> streamConfiguration(AudioDeviceID device, UInt32 scope, UInt32 room) {
    alignas(AudioBufferList) std::array<std::byte, 256> bytes{};
    const auto address = at(kAudioDevicePropertyStreamConfiguration, scope);
    UInt32 size = room;
    EXPECT_EQ(AudioObjectGetPropertyData(device, &address, 0, nullptr, &size, bytes.data()), 0);
    const auto* list = reinterpret_cast<const AudioBufferList*>(bytes.data());
    std::vector<UInt32> channels;
    for (UInt32 i = 0; i < list->mNumberBuffers; ++i) {
        channels.push_back(list->mBuffers[i].mNumberChannels);
    }
    EXPECT_EQ(size, 8 + 16 * channels.size());
    return channels;
}

TEST(AudioObject, AnswersTheStreamConfigurationAsABufferAStream) {
    BRAQSoftwareDeviceOptions options = steppedOptions("device", 0, 0);
    options.playback.streams = {{2}, {1}, {6}};
    const auto device = BRAQSoftwareDevice::deviceWithOptions(options);
    UInt32 size = 0;
    const auto address = at(kAudioDevicePropertyStreamConfiguration, output);
    EXPECT_EQ(AudioObjectGetPropertyDataSize(device->deviceID(), &address, 0, nullptr, &size), 0);
    EXPECT_EQ(size, 8U + 3 * 16);
    EXPECT_THAT(streamConfiguration(device->deviceID(), output, size), ElementsAre(2U, 1U, 6U));
    EXPECT_THAT(streamConfiguration(device->deviceID(), output, size - 1), ElementsAre(2U, 1U))
        << "whole buffers only, and the count says so";
    EXPECT_THAT(streamConfiguration(device->deviceID(), input, 8), IsEmpty());
    EXPECT_EQ(statusOf(device->deviceID(), address, 4), kAudioHardwareBadPropertySizeError);
}

TEST(AudioObject, HasAnObjectForEachStream) {
    BRAQSoftwareDeviceOptions options = steppedOptions("device", 0, 1);
    options.playback.streams = {{.channels = 2, .latencyFrames = 11}, {.channels = 4, .latencyFrames = 13}};
    const auto device = BRAQSoftwareDevice::deviceWithOptions(options);
    const auto streams = getList<AudioObjectID>(device->deviceID(), at(kAudioDevicePropertyStreams, output));
    ASSERT_EQ(streams->size(), 2U);
    EXPECT_THAT(get<UInt32>((*streams)[0], at(kAudioStreamPropertyStartingChannel)), Optional(1U));
    EXPECT_THAT(get<UInt32>((*streams)[1], at(kAudioStreamPropertyStartingChannel)), Optional(3U));
    EXPECT_THAT(get<UInt32>((*streams)[0], at(kAudioStreamPropertyLatency)), Optional(11U));
    EXPECT_THAT(get<UInt32>((*streams)[1], at(kAudioStreamPropertyLatency)), Optional(13U));
    EXPECT_EQ(statusOf((*streams)[1], at(kAudioDevicePropertyDeviceUID), 8), kAudioHardwareUnknownPropertyError)
        << "a stream is no device";
    EXPECT_EQ(getList<AudioObjectID>(device->deviceID(), at(kAudioDevicePropertyStreams, input))->size(), 1U);

    device->remove();
    waitForNotifications();
    EXPECT_EQ(statusOf((*streams)[0], at(kAudioStreamPropertyLatency), 4), kAudioHardwareBadObjectError);
}

TEST(AudioObject, AnswersAFaultOfTheDriver) {
    const auto device = steppedDevice("device");
    const AudioDeviceID id = device->deviceID();
    const auto address = at(kAudioDevicePropertyLatency, output);
    device->failProperty(id, address, kAudioHardwareUnspecifiedError);
    EXPECT_EQ(statusOf(id, address, 4), kAudioHardwareUnspecifiedError);
    EXPECT_EQ(statusOf(id, at(kAudioDevicePropertyLatency, input), 4), 0) << "only that property";
    EXPECT_TRUE(AudioObjectHasProperty(id, &address));
    device->failProperty(id, address, kAudioHardwareUnknownPropertyError);
    EXPECT_FALSE(AudioObjectHasProperty(id, &address));
    device->failProperty(id, address, 0);
    EXPECT_EQ(statusOf(id, address, 4), 0);

    const auto stream = getList<AudioObjectID>(id, at(kAudioDevicePropertyStreams, output))->front();
    device->failProperty(stream, at(kAudioStreamPropertyLatency), kAudioHardwareBadStreamError);
    EXPECT_EQ(statusOf(stream, at(kAudioStreamPropertyLatency), 4), kAudioHardwareBadStreamError);
    EXPECT_EQ(statusOf(stream, at(kAudioStreamPropertyStartingChannel), 4), 0);
}

TEST(AudioObject, FollowsTheDefaultDevices) {
    const auto first = steppedDevice("first");
    const auto second = steppedDevice("second");
    first->makeDefaultPlaybackDevice();
    second->makeDefaultRecordDevice();
    EXPECT_THAT(get<AudioDeviceID>(system, at(kAudioHardwarePropertyDefaultOutputDevice)), Optional(first->deviceID()));
    EXPECT_THAT(get<AudioDeviceID>(system, at(kAudioHardwarePropertyDefaultSystemOutputDevice)),
                Optional(first->deviceID()));
    EXPECT_THAT(get<AudioDeviceID>(system, at(kAudioHardwarePropertyDefaultInputDevice)), Optional(second->deviceID()));
    second->remove();
    EXPECT_THAT(get<AudioDeviceID>(system, at(kAudioHardwarePropertyDefaultInputDevice)), Optional(0U));
    EXPECT_THAT(get<AudioDeviceID>(system, at(kAudioHardwarePropertyDefaultOutputDevice)), Optional(first->deviceID()));
}

TEST(AudioObject, SetsTheRateInAnyScopeAndLater) {
    const auto device = steppedDevice("device");
    for (const UInt32 scope : {kAudioObjectPropertyScopeGlobal, output, input}) {
        const Float64 rate = scope == input ? 48000.0 : scope == output ? 96000.0 : 44100.0;
        EXPECT_EQ(set(device->deviceID(), at(kAudioDevicePropertyNominalSampleRate, scope), rate), 0);
        waitForNotifications();
        EXPECT_THAT(get<Float64>(device->deviceID(), at(kAudioDevicePropertyNominalSampleRate)), Optional(rate));
    }
}

TEST(AudioObject, ChangesARateOnlyWhenTheNotificationThreadGetsToIt) {
    const auto device = steppedDevice("device");
    const auto address = at(kAudioDevicePropertyNominalSampleRate);
    std::promise<void> go;
    braq::Hardware::instance().notifications().run([&go] { go.get_future().wait(); });
    EXPECT_EQ(set(device->deviceID(), address, 96000.0), 0);
    EXPECT_THAT(get<Float64>(device->deviceID(), address), Optional(48000.0));
    go.set_value();
    waitForNotifications();
    EXPECT_THAT(get<Float64>(device->deviceID(), address), Optional(96000.0));
}

TEST(AudioObject, RefusesARateThatTheDeviceDoesNotOffer) {
    const auto device = steppedDevice("device");
    const auto address = at(kAudioDevicePropertyNominalSampleRate);
    for (const Float64 rate : {12345.0, 0.0, -48000.0}) {
        EXPECT_EQ(set(device->deviceID(), address, rate), kAudioDeviceUnsupportedFormatError);
    }
    EXPECT_EQ(set(device->deviceID(), address, 48000.0F), kAudioHardwareBadPropertySizeError);
    waitForNotifications();
    EXPECT_THAT(get<Float64>(device->deviceID(), address), Optional(48000.0));
}

TEST(AudioObject, SetsTheBufferSizeWithinItsRange) {
    const auto device = steppedDevice("device");
    const auto address = at(kAudioDevicePropertyBufferFrameSize);
    EXPECT_EQ(set(device->deviceID(), address, UInt32{1024}), 0);
    waitForNotifications();
    EXPECT_THAT(get<UInt32>(device->deviceID(), address), Optional(1024U));
    for (const UInt32 frames : {0U, 15U, 8193U}) {
        EXPECT_EQ(set(device->deviceID(), address, frames), kAudioHardwareIllegalOperationError);
    }
    EXPECT_EQ(set(device->deviceID(), address, 1.0), kAudioHardwareBadPropertySizeError);
}

TEST(AudioObject, RefusesToSetWhatCannotBeSet) {
    const auto device = steppedDevice("device");
    EXPECT_EQ(set(device->deviceID(), at(kAudioDevicePropertyLatency, output), UInt32{3}),
              kAudioHardwareUnsupportedOperationError);
    EXPECT_EQ(set(system, at(kAudioHardwarePropertyDefaultOutputDevice), device->deviceID()),
              kAudioHardwareUnsupportedOperationError);
    EXPECT_EQ(set(device->deviceID(), at(BRAQFourCharCode("xxxx")), UInt32{3}), kAudioHardwareUnknownPropertyError);
}

TEST(AudioObject, AnswersNoMoreWhenTheDeviceIsGone) {
    const auto device = steppedDevice("device");
    device->remove();
    waitForNotifications();
    EXPECT_EQ(statusOf(device->deviceID(), at(kAudioDevicePropertyNominalSampleRate), 8), kAudioHardwareBadObjectError);
    EXPECT_EQ(statusOf(device->deviceID(), at(kAudioDevicePropertyDeviceIsAlive), 4), kAudioHardwareBadObjectError);
    EXPECT_EQ(set(device->deviceID(), at(kAudioDevicePropertyNominalSampleRate), 44100.0),
              kAudioHardwareBadObjectError);
}

} // namespace
