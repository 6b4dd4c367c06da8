#include "BRAQAudio/platform/hardware.h"

#include <gtest/gtest.h>

namespace {

constexpr UInt32 untouched = 0xDEADBEEF;

class AudioObject : public testing::Test {
  protected:
    OSStatus get(AudioObjectID object, UInt32 selector, UInt32 size) {
        const AudioObjectPropertyAddress address{selector, kAudioObjectPropertyScopeGlobal,
                                                 kAudioObjectPropertyElementMain};
        sizeAfter = size;
        return AudioObjectGetPropertyData(object, &address, 0, nullptr, &sizeAfter, &value);
    }

    UInt32 value = untouched;
    UInt32 sizeAfter = 0;
};

TEST_F(AudioObject, WithoutDevicesTheDefaultDevicesAreNoDeviceAndNoError) {
    for (const UInt32 selector :
         {kAudioHardwarePropertyDefaultInputDevice, kAudioHardwarePropertyDefaultOutputDevice}) {
        value = untouched;
        EXPECT_EQ(get(kAudioObjectSystemObject, selector, sizeof(value)), 0);
        EXPECT_EQ(value, kAudioObjectUnknown);
        EXPECT_EQ(sizeAfter, sizeof(value));
    }
}

TEST_F(AudioObject, RefusesAnUnknownObject) {
    EXPECT_EQ(get(kAudioObjectUnknown, kAudioDevicePropertyNominalSampleRate, 8), kAudioHardwareBadObjectError);
    EXPECT_EQ(value, untouched);
}

TEST_F(AudioObject, RefusesAnUnknownProperty) {
    EXPECT_EQ(get(kAudioObjectSystemObject, BRAQFourCharCode("xxxx"), 4), kAudioHardwareUnknownPropertyError);
    EXPECT_EQ(value, untouched);
}

TEST_F(AudioObject, RefusesABufferOfTheWrongSize) {
    EXPECT_EQ(get(kAudioObjectSystemObject, kAudioHardwarePropertyDefaultInputDevice, 2),
              kAudioHardwareBadPropertySizeError);
    EXPECT_EQ(value, untouched);
}

} // namespace
