#include "BRAQAudio/BRAQAudioDevice.h"

#include "tests/src/DeviceFixture.h"
#include "tests/src/HardwareHook.h"

#include <gmock/gmock.h>

namespace {

using braq::tests::HardwareCall;
using braq::tests::HardwareHook;

class DeviceList : public DeviceTest {
  protected:
    static std::vector<AudioDeviceID> idsOfAllDevices() {
        std::vector<AudioDeviceID> ids;
        for (const auto& device : BRAQAudioDevice::allDevices()) {
            ids.push_back(device->deviceID());
        }
        return ids;
    }
};

TEST_F(DeviceList, IsEmptyWithoutDevices) { EXPECT_TRUE(BRAQAudioDevice::allDevices().empty()); }

TEST_F(DeviceList, HasEveryDeviceInThePlatformsOrder) {
    const auto first = makeDevice("first");
    const auto second = makeDevice("second");
    const auto third = makeDevice("third");
    EXPECT_THAT(idsOfAllDevices(), testing::ElementsAre(first->deviceID(), second->deviceID(), third->deviceID()));
    second->remove();
    EXPECT_THAT(idsOfAllDevices(), testing::ElementsAre(first->deviceID(), third->deviceID()));
}

TEST_F(DeviceList, LeavesOutADeviceThatGoesWhileItIsRead) {
    const auto stays = makeDevice("stays");
    const auto goes = makeDevice("goes");
    const HardwareHook atTheWrongTime(HardwareCall::getData, kAudioObjectSystemObject, kAudioHardwarePropertyDevices,
                                      [&](AudioObjectID&) {
                                          goes->remove();
                                          return kAudioHardwareNoError;
                                      });
    EXPECT_THAT(idsOfAllDevices(), testing::ElementsAre(stays->deviceID()));
}

TEST_F(DeviceList, MayMissADeviceThatComesWhileItIsRead) {
    const auto first = makeDevice("first");
    std::shared_ptr<BRAQSoftwareDevice> late;
    const HardwareHook atTheWrongTime(HardwareCall::getData, kAudioObjectSystemObject, kAudioHardwarePropertyDevices,
                                      [&](AudioObjectID&) {
                                          late = makeDevice("late");
                                          return kAudioHardwareNoError;
                                      });
    EXPECT_THAT(idsOfAllDevices(), testing::ElementsAre(first->deviceID()));
}

TEST_F(DeviceList, RaisesWhenItsSizeCannotBeRead) {
    const HardwareHook fails(HardwareCall::getSize, kAudioObjectSystemObject, kAudioHardwarePropertyDevices, -50);
    expectRaised([] { BRAQAudioDevice::allDevices(); }, -50, "BRAQAudioDevice", "+[BRAQAudioDevice allDevices]",
                 "AudioObjectGetPropertyDataSize( kAudioObjectSystemObject, &aopa, 0, ((void*)0), &deviceListSize )",
                 66);
}

TEST_F(DeviceList, RaisesWhenItCannotBeRead) {
    const HardwareHook fails(HardwareCall::getData, kAudioObjectSystemObject, kAudioHardwarePropertyDevices, -51);
    expectRaised(
        [] { BRAQAudioDevice::allDevices(); }, -51, "BRAQAudioDevice", "+[BRAQAudioDevice allDevices]",
        "AudioObjectGetPropertyData( kAudioObjectSystemObject, &aopa, 0, ((void*)0), &deviceListSize, deviceList )",
        70);
}

TEST_F(DeviceList, DefaultsAreTheDevicesThatWereMadeSo) {
    const auto plays = makeDevice("plays");
    const auto records = makeDevice("records");
    plays->makeDefaultPlaybackDevice();
    records->makeDefaultRecordDevice();
    EXPECT_EQ(BRAQAudioDevice::defaultPlaybackDevice()->deviceID(), plays->deviceID());
    EXPECT_EQ(BRAQAudioDevice::defaultRecordDevice()->deviceID(), records->deviceID());
}

TEST_F(DeviceList, WithoutADefaultThereIsADeviceWithTheIDOfNone) {
    const auto playback = BRAQAudioDevice::defaultPlaybackDevice();
    const auto record = BRAQAudioDevice::defaultRecordDevice();
    ASSERT_NE(playback, nullptr);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(playback->deviceID(), 0U);
    EXPECT_EQ(record->deviceID(), 0U);
    EXPECT_EQ(playback->deviceUID(), std::nullopt);
    EXPECT_EQ(playback->playbackNominalSampleRate(), 0.0);
}

TEST_F(DeviceList, DefaultsRaiseWhenTheyCannotBeRead) {
    const std::string origin =
        "AudioObjectGetPropertyData( kAudioObjectSystemObject, &aopa, 0, ((void*)0), &deviceIDSize, &deviceID )";
    const HardwareHook input(HardwareCall::getData, kAudioObjectSystemObject, kAudioHardwarePropertyDefaultInputDevice,
                             -52);
    const HardwareHook output(HardwareCall::getData, kAudioObjectSystemObject,
                              kAudioHardwarePropertyDefaultOutputDevice, -53);
    expectRaised([] { BRAQAudioDevice::defaultRecordDevice(); }, -52, "BRAQAudioDevice",
                 "+[BRAQAudioDevice defaultRecordDevice]", origin, 39);
    expectRaised([] { BRAQAudioDevice::defaultPlaybackDevice(); }, -53, "BRAQAudioDevice",
                 "+[BRAQAudioDevice defaultPlaybackDevice]", origin, 53);
}

} // namespace
