#include "BRAQAudio/BRAQAudioDevice.h"

#include "BRAQAudio/BRAQAudioHardware.h"
#include "tests/src/DeviceFixture.h"
#include "tests/src/HardwareHook.h"
#include "tests/support/SoftwareDriversOnly.h"

namespace {

const braq::tests::SoftwareDriversOnly softwareDriversOnly;

using braq::tests::HardwareCall;
using braq::tests::HardwareHook;

class Device : public DeviceTest {};

TEST_F(Device, IsMadeForAnIDThatNobodyChecks) {
    const auto device = BRAQAudioDevice::initWithDeviceID(4711);
    EXPECT_EQ(device->deviceID(), 4711U);
    EXPECT_TRUE(device->delegates().empty());
    EXPECT_FALSE(device->hasPropertyListener());
}

TEST_F(Device, IsFoundByItsUID) {
    const auto software = makeDevice("found");
    for (const auto& device : {BRAQAudioDevice::initWithDeviceUID("found"), BRAQAudioDevice::deviceWithUID("found")}) {
        ASSERT_NE(device, nullptr);
        EXPECT_EQ(device->deviceID(), software->deviceID());
        EXPECT_FALSE(device->hasPropertyListener());
    }
}

TEST_F(Device, WithAnUnknownUIDThereIsNone) {
    const auto software = makeDevice("found");
    for (const std::string& uid : {std::string("lost"), std::string(), std::string("found\0lost", 10)}) {
        EXPECT_EQ(BRAQAudioDevice::initWithDeviceUID(uid), nullptr);
        EXPECT_EQ(BRAQAudioDevice::deviceWithUID(uid), nullptr);
    }
}

TEST_F(Device, SaysWhatItIs) {
    const auto software = makeDeviceWith(
        {.uid = "Gerät", .name = "Lautsprecher – groß 🔊", .transportType = kAudioDeviceTransportTypeUSB});
    const auto device = BRAQAudioDevice::initWithDeviceID(software->deviceID());
    EXPECT_EQ(device->deviceUID(), "Gerät");
    EXPECT_EQ(device->deviceName(), "Lautsprecher – groß 🔊");
    EXPECT_EQ(device->transportType(), kAudioDeviceTransportTypeUSB);
    EXPECT_EQ(device->getStringProperty(kAudioObjectPropertyManufacturer), "BRAQAudio");
}

TEST_F(Device, ReadsNumbersOfItsChoice) {
    const auto software = makeDevice("numbers");
    const auto device = BRAQAudioDevice::initWithDeviceID(software->deviceID());
    UInt32 value = 77;
    EXPECT_TRUE(device->getUInt32PropertyValue(&value, kAudioDevicePropertyDeviceIsAlive));
    EXPECT_EQ(value, 1U);
    EXPECT_FALSE(device->getUInt32PropertyValue(&value, BRAQFourCharCode("none")));
    EXPECT_FALSE(device->getUInt32PropertyValue(&value, kAudioDevicePropertyNominalSampleRate)) << "8 bytes";
    EXPECT_EQ(value, 1U) << "left as it was";
}

TEST_F(Device, ThatIsGoneSaysNothing) {
    const auto software = makeDevice("gone");
    const auto device = BRAQAudioDevice::initWithDeviceID(software->deviceID());
    software->remove();
    EXPECT_EQ(device->deviceUID(), std::nullopt);
    EXPECT_EQ(device->deviceName(), std::nullopt);
    EXPECT_EQ(device->transportType(), 0U);
}

TEST_F(Device, IsEqualToAnotherObjectForTheSameDevice) {
    const auto software = makeDevice("one");
    const auto another = makeDevice("two");
    const auto one = BRAQAudioDevice::initWithDeviceID(software->deviceID());
    const auto same = BRAQAudioDevice::initWithDeviceUID("one");
    const auto other = BRAQAudioDevice::initWithDeviceUID("two");
    EXPECT_TRUE(one->isEqual(*one));
    EXPECT_TRUE(one->isEqual(*same));
    EXPECT_TRUE(*one == *same);
    EXPECT_FALSE(one->isEqual(*other));
    EXPECT_TRUE(*one != *other);
    EXPECT_EQ(one->hash(), same->hash());
    EXPECT_EQ(one->hash(), std::hash<std::string>()("one"));
    EXPECT_NE(one->hash(), other->hash());
}

TEST_F(Device, IsEqualToOneOfTheSameUIDUnderAnotherID) {
    const auto software = makeDevice("one");
    const auto another = makeDevice("two");
    const auto one = BRAQAudioDevice::initWithDeviceID(software->deviceID());
    const auto other = BRAQAudioDevice::initWithDeviceID(another->deviceID());
    ASSERT_FALSE(one->isEqual(*other));
    const HardwareHook saysTheSame(HardwareCall::getData, another->deviceID(), kAudioDevicePropertyDeviceUID,
                                   [&](AudioObjectID& asked) {
                                       asked = software->deviceID();
                                       return kAudioHardwareNoError;
                                   });
    EXPECT_TRUE(one->isEqual(*other));
    EXPECT_EQ(one->hash(), other->hash());
    EXPECT_NE(one->deviceID(), other->deviceID());
}

TEST_F(Device, WhoseUIDCannotBeReadIsEqualToNothing) {
    const auto software = makeDevice("unread");
    const auto device = BRAQAudioDevice::initWithDeviceID(software->deviceID());
    const auto same = BRAQAudioDevice::initWithDeviceID(software->deviceID());
    software->failProperty(software->deviceID(), {kAudioDevicePropertyDeviceUID, kAudioObjectPropertyScopeGlobal, 0},
                           kAudioHardwareUnspecifiedError);
    EXPECT_FALSE(device->isEqual(*device));
    EXPECT_FALSE(*device == *same);
    EXPECT_EQ(device->hash(), 0U);
}

} // namespace
