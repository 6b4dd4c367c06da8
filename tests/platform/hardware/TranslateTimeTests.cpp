#include "platform/hardware/DeviceIO.h"
#include "tests/platform/hardware/HardwareHelpers.h"

#include <gtest/gtest.h>

namespace {

using namespace braq::tests;

class TranslateTime : public testing::Test {
  protected:
    void start() {
        ASSERT_EQ(braq::addIOProcedure(
                      device->deviceID(), braq::IODirections::playback, [](void*, const braq::IOSlice&) {}, nullptr,
                      &procedure),
                  0);
        ASSERT_EQ(braq::startIOProcedure(device->deviceID(), procedure), 0);
    }

    OSStatus translate(UInt32 wanted) {
        out = {};
        out.mFlags = wanted;
        return AudioDeviceTranslateTime(device->deviceID(), &in, &out);
    }

    const std::shared_ptr<BRAQSoftwareDevice> device = steppedDevice("device");
    braq::IOProcedureID procedure = 0;
    AudioTimeStamp in{};
    AudioTimeStamp out{};
};

TEST_F(TranslateTime, AnswersOnlyWhileTheDeviceRuns) {
    in.mFlags = kAudioTimeStampHostTimeValid;
    EXPECT_EQ(translate(kAudioTimeStampSampleTimeValid), kAudioHardwareNotRunningError);
    start();
    EXPECT_EQ(translate(kAudioTimeStampSampleTimeValid), kAudioHardwareNotRunningError) << "no cycle has run";
    device->step(480);
    EXPECT_EQ(translate(kAudioTimeStampSampleTimeValid), 0);
    braq::stopIOProcedure(device->deviceID(), procedure);
    EXPECT_EQ(translate(kAudioTimeStampSampleTimeValid), kAudioHardwareNotRunningError);
}

TEST_F(TranslateTime, ConvertsBothWays) {
    start();
    const UInt64 begin = device->hostTimeOfStep();
    device->step(480);
    in.mFlags = kAudioTimeStampHostTimeValid;
    in.mHostTime = begin + 20'000'000;
    EXPECT_EQ(translate(kAudioTimeStampSampleTimeValid), 0);
    EXPECT_EQ(out.mFlags, kAudioTimeStampSampleTimeValid);
    EXPECT_NEAR(out.mSampleTime, 960.0, 1e-6);
    EXPECT_EQ(out.mHostTime, 0U) << "what is not wanted stays";

    in = {};
    in.mFlags = kAudioTimeStampSampleTimeValid;
    in.mSampleTime = 960.0;
    EXPECT_EQ(translate(kAudioTimeStampHostTimeValid | kAudioTimeStampRateScalarValid), 0);
    EXPECT_EQ(out.mFlags, kAudioTimeStampHostTimeValid | kAudioTimeStampRateScalarValid);
    EXPECT_EQ(out.mHostTime, begin + 20'000'000);
    EXPECT_EQ(out.mRateScalar, 1.0);
}

TEST_F(TranslateTime, WantsATimeToConvert) {
    start();
    device->step(480);
    EXPECT_EQ(translate(kAudioTimeStampSampleTimeValid), kAudioHardwareIllegalOperationError);
}

TEST_F(TranslateTime, RefusesWhatIsNoDevice) {
    in.mFlags = kAudioTimeStampHostTimeValid;
    EXPECT_EQ(AudioDeviceTranslateTime(0, &in, &out), kAudioHardwareBadObjectError);
    EXPECT_EQ(AudioDeviceTranslateTime(kAudioObjectSystemObject, &in, &out), kAudioHardwareBadObjectError);
    const auto stream =
        getList<AudioObjectID>(device->deviceID(), at(kAudioDevicePropertyStreams, kAudioDevicePropertyScopeOutput));
    EXPECT_EQ(AudioDeviceTranslateTime(stream->front(), &in, &out), kAudioHardwareBadObjectError);
}

} // namespace
