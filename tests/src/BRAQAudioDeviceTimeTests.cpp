#include "BRAQAudio/BRAQAudioDevice.h"

#include "platform/hardware/DeviceIO.h"
#include "tests/platform/foundation/GermanLocale.h"
#include "tests/src/DeviceFixture.h"

#include <cmath>
#include <filesystem>
#include <fstream>

namespace {

constexpr Float64 nanosecondsASecond = 1e9;

AudioTimeStamp hostTime(UInt64 nanoseconds) {
    AudioTimeStamp time{};
    time.mHostTime = nanoseconds;
    time.mFlags = kAudioTimeStampHostTimeValid;
    return time;
}

AudioTimeStamp sampleTime(Float64 frames) {
    AudioTimeStamp time{};
    time.mSampleTime = frames;
    time.mFlags = kAudioTimeStampSampleTimeValid;
    return time;
}

std::string detail(const NSError& error, const char* key) { return std::get<std::string>(error.userInfo().at(key)); }

class DeviceTime : public DeviceTest {
  protected:
    void start() {
        const auto nothing = [](void*, const braq::IOSlice&) {};
        ASSERT_EQ(braq::addIOProcedure(software->deviceID(), braq::IODirections::both, nothing, nullptr, &mProcedure),
                  0);
        ASSERT_EQ(braq::startIOProcedure(software->deviceID(), mProcedure), 0);
        ASSERT_TRUE(software->step(480));
        startOfSecondCycle = software->hostTimeOfStep();
        ASSERT_TRUE(software->step(480));
    }
    void TearDown() override {
        if (mProcedure != 0) {
            braq::removeIOProcedure(software->deviceID(), mProcedure);
        }
        DeviceTest::TearDown();
    }

    const std::shared_ptr<BRAQSoftwareDevice> software = makeDevice("time");
    const std::shared_ptr<BRAQAudioDevice> device = BRAQAudioDevice::initWithDeviceID(software->deviceID());
    UInt64 startOfSecondCycle = 0;

  private:
    braq::IOProcedureID mProcedure = 0;
};

TEST_F(DeviceTime, HostTimeIsConvertedToSampleTimeOnARunningDevice) {
    start();
    std::shared_ptr<NSError> untouched;
    const auto time = device->translateTimeHostToSample(hostTime(startOfSecondCycle), &untouched);
    EXPECT_EQ(time.mFlags, kAudioTimeStampSampleTimeValid);
    EXPECT_NEAR(time.mSampleTime, 480.0, 1e-3);
    EXPECT_EQ(time.mHostTime, 0U) << "what was not asked for stays zero";
    const auto later = device->translateTimeHostToSample(hostTime(startOfSecondCycle + 10'000'000), nullptr);
    EXPECT_NEAR(later.mSampleTime, 960.0, 1e-3);
    EXPECT_EQ(untouched, nullptr);
}

TEST_F(DeviceTime, SampleTimeIsConvertedToHostTimeAndRateScalar) {
    start();
    std::shared_ptr<NSError> untouched;
    const auto time = device->translateTimeSampleToHost(sampleTime(480.0), &untouched);
    EXPECT_EQ(time.mFlags, 6U);
    EXPECT_NEAR(static_cast<Float64>(time.mHostTime), static_cast<Float64>(startOfSecondCycle), 2.0);
    EXPECT_NEAR(time.mRateScalar, 1.0, 1e-6);
    EXPECT_EQ(time.mSampleTime, 0.0);
    EXPECT_EQ(untouched, nullptr);
}

TEST_F(DeviceTime, ThereAndBackIsTheSame) {
    start();
    for (const Float64 frames : {0.0, 480.0, 12345.0}) {
        const auto host = device->translateTimeSampleToHost(sampleTime(frames), nullptr);
        const auto back = device->translateTimeHostToSample(host, nullptr);
        EXPECT_NEAR(back.mSampleTime, frames, 48000.0 / nanosecondsASecond) << "a nanosecond";
    }
}

TEST_F(DeviceTime, ADeviceThatIsNotRunningHasNone) {
    std::shared_ptr<NSError> error;
    EXPECT_EQ(device->translateTimeHostToSample(hostTime(1), &error).mFlags, 0U);
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(BRAQAudioDeviceErrorDomain, "BRAQAudioDeviceErrorDomain");
    EXPECT_EQ(error->domain(), BRAQAudioDeviceErrorDomain);
    EXPECT_EQ(error->code(), -1);
    EXPECT_EQ(error->userInfo().size(), 2U);
    EXPECT_EQ(error->localizedDescription(), "Failed to translate device's host to sample timestamp");
    EXPECT_EQ(detail(*error, NSLocalizedFailureReasonErrorKey), "Device not running");

    EXPECT_EQ(device->translateTimeSampleToHost(sampleTime(1), &error).mFlags, 0U);
    EXPECT_EQ(error->code(), -1);
    EXPECT_EQ(error->localizedDescription(), "Failed to translate device's sample to host timestamp");
    EXPECT_EQ(detail(*error, NSLocalizedFailureReasonErrorKey), "Device not running");
}

TEST_F(DeviceTime, AFailureNobodyAsksForIsInTheFlagsOnly) {
    EXPECT_EQ(device->translateTimeHostToSample(hostTime(1), nullptr).mFlags, 0U);
    EXPECT_EQ(device->translateTimeSampleToHost(sampleTime(1), nullptr).mFlags, 0U);
}

TEST_F(DeviceTime, AnyOtherFailureSaysItsCode) {
    start();
    std::shared_ptr<NSError> error;
    EXPECT_EQ(device->translateTimeHostToSample(AudioTimeStamp{}, &error).mFlags, 0U) << "a time without a time";
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(detail(*error, NSLocalizedFailureReasonErrorKey),
              "An unknown error occurred with code 1852797029. Please contact support.");
    error.reset();
    const auto none = BRAQAudioDevice::initWithDeviceID(0);
    EXPECT_EQ(none->translateTimeSampleToHost(sampleTime(1), &error).mFlags, 0U);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(detail(*error, NSLocalizedFailureReasonErrorKey),
              "An unknown error occurred with code 560947818. Please contact support.");
}

// The program's own table, which an application brings along.
class ProgramsTable {
  public:
    ProgramsTable() : mFolder(std::filesystem::path(NSBundle::mainBundle()->localeDirectory()) / "de" / "LC_MESSAGES") {
        std::filesystem::create_directories(mFolder);
        std::ofstream(mFolder / "Localizable.po")
            << "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n"
            << "msgid \"Failed to translate device's host to sample timestamp\"\nmsgstr \"Keine Zeit\"\n"
            << "msgid \"Device not running\"\nmsgstr \"Gerät läuft nicht\"\n"
            << "msgid \"An unknown error occurred with code %@. Please contact support.\"\nmsgstr \"%@: Fehler\"\n";
        const std::string path = (mFolder / "Localizable").string();
        EXPECT_EQ(std::system(("msgfmt -o '" + path + ".mo' '" + path + ".po'").c_str()), 0);
    }
    ~ProgramsTable() {
        std::filesystem::remove_all(std::filesystem::path(NSBundle::mainBundle()->localeDirectory()).parent_path());
    }
    ProgramsTable(const ProgramsTable&) = delete;
    ProgramsTable& operator=(const ProgramsTable&) = delete;

  private:
    const std::filesystem::path mFolder;
};

TEST_F(DeviceTime, FailuresComeInTheWordsOfTheApplication) {
    const ProgramsTable table;
    const GermanLocale german;
    ASSERT_TRUE(german.isInForce());
    std::shared_ptr<NSError> error;
    device->translateTimeHostToSample(hostTime(1), &error);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->localizedDescription(), "Keine Zeit");
    EXPECT_EQ(detail(*error, NSLocalizedFailureReasonErrorKey), "Gerät läuft nicht");
    start();
    device->translateTimeSampleToHost(AudioTimeStamp{}, &error);
    EXPECT_EQ(error->localizedDescription(), "Failed to translate device's sample to host timestamp") << "no entry";
    EXPECT_EQ(detail(*error, NSLocalizedFailureReasonErrorKey), "1852797029: Fehler");
}

} // namespace
