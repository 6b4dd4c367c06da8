#include "BRAQAudio/BRAQAudioDevice.h"

#include "tests/src/DeviceFixture.h"
#include "tests/src/HardwareHook.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>

#include <thread>

namespace {

using braq::tests::CapturedLog;
using braq::tests::HardwareCall;
using braq::tests::HardwareHook;
using braq::tests::ListenerCalls;
using testing::ElementsAre;
using testing::IsEmpty;

struct RateListener {
    void audioDeviceNominalSampleRateDidChange(const std::shared_ptr<BRAQAudioDevice>& device) {
        rates.push_back(device->playbackNominalSampleRate());
        threads.push_back(std::this_thread::get_id());
    }
    std::vector<Float64> rates;
    std::vector<std::thread::id> threads;
};

class DeviceListener : public DeviceTest {
  protected:
    const std::shared_ptr<BRAQSoftwareDevice> software = makeDevice("listener");
    std::shared_ptr<BRAQAudioDevice> device = BRAQAudioDevice::initWithDeviceID(software->deviceID());
    const std::shared_ptr<RateListener> counter = std::make_shared<RateListener>();
};

TEST_F(DeviceListener, TellsOfARateThatWasSetOnTheMainThread) {
    device->addDelegate(counter);
    device->setPlaybackNominalSampleRate(44100.0);
    drainUntil([&] { return !counter->rates.empty(); });
    EXPECT_THAT(counter->rates, ElementsAre(44100.0));
    EXPECT_THAT(counter->threads, ElementsAre(std::this_thread::get_id()));
    device->setRecordingNominalSampleRate(96000.0);
    drainUntil([&] { return counter->rates.size() == 2; });
    EXPECT_EQ(device->recordingNominalSampleRate(), 96000.0);
    EXPECT_EQ(device->playbackNominalSampleRate(), 96000.0) << "a device has one rate";
}

TEST_F(DeviceListener, TellsOfARateThatNobodySet) {
    device->addDelegate(counter);
    software->changeSampleRate(88200.0);
    drainUntil([&] { return !counter->rates.empty(); });
    EXPECT_THAT(counter->rates, ElementsAre(88200.0));
}

TEST_F(DeviceListener, ARateThatTheDeviceDoesNotOfferIsSilentlyIgnored) {
    const CapturedLog log;
    device->addDelegate(counter);
    for (const Float64 rate : {12345.0, 0.0, -48000.0, std::numeric_limits<Float64>::quiet_NaN()}) {
        device->setNominalSampleRate(rate, 0);
        device->setNominalSampleRate(rate, 1);
    }
    device->setPlaybackNominalSampleRate(44100.0);
    drainUntil([&] { return !counter->rates.empty(); });
    EXPECT_THAT(counter->rates, ElementsAre(44100.0)) << "the one that is offered, and no other";
    EXPECT_THAT(log.errors(), IsEmpty());
}

TEST_F(DeviceListener, IsGoneWithTheLastDelegate) {
    device->addDelegate(counter);
    device->removeDelegate(counter);
    device->setDelegates({counter});
    software->changeSampleRate(88200.0);
    settle();
    EXPECT_THAT(counter->rates, IsEmpty());
}

TEST_F(DeviceListener, IsGoneWithTheDevice) {
    ListenerCalls calls;
    device->addDelegate(counter);
    device.reset();
    const auto made = calls.take();
    ASSERT_EQ(made.size(), 2U);
    EXPECT_EQ(made[1].call, HardwareCall::removeListener);
    EXPECT_EQ(made[1].clientData, made[0].clientData);
    software->changeSampleRate(88200.0);
    settle();
    EXPECT_THAT(counter->rates, IsEmpty());
}

TEST_F(DeviceListener, EachObjectForADeviceHasItsOwn) {
    const auto copy = device->copy();
    const auto other = std::make_shared<RateListener>();
    device->addDelegate(counter);
    copy->addDelegate(other);
    software->changeSampleRate(88200.0);
    settle();
    EXPECT_EQ(counter->rates.size(), 1U);
    EXPECT_EQ(other->rates.size(), 1U);
    device.reset();
    software->changeSampleRate(44100.0);
    settle();
    EXPECT_EQ(counter->rates.size(), 1U);
    EXPECT_EQ(other->rates.size(), 2U);
}

TEST_F(DeviceListener, ThatCannotBeInstalledRaisesAndTheDelegateStays) {
    const std::string origin = "AudioObjectAddPropertyListener( _deviceID, &aopa, BRAQAudioDevicePropertyListenerProc, "
                               "(__bridge void *)self )";
    const std::string method = "-[BRAQAudioDevice setupPropertyListenerForDevice]";
    {
        const HardwareHook fails(HardwareCall::addListener, device->deviceID(), kAudioObjectPropertySelectorWildcard,
                                 -9);
        expectRaised([&] { device->addDelegate(counter); }, -9, "BRAQAudioDevice", method, origin, 86);
        EXPECT_EQ(device->delegates().size(), 1U);
        EXPECT_FALSE(device->hasPropertyListener());
        expectRaised([&] { device->setupPropertyListenerForDevice(); }, -9, "BRAQAudioDevice", method, origin, 86);
    }
    device->addDelegate(counter);
    EXPECT_EQ(device->delegates().size(), 2U);
    EXPECT_TRUE(device->hasPropertyListener());
    const auto none = BRAQAudioDevice::initWithDeviceID(0);
    expectRaised([&] { none->addDelegate(counter); }, kAudioHardwareBadObjectError, "BRAQAudioDevice", method, origin,
                 86);
}

TEST_F(DeviceListener, ThatCannotBeRemovedRaisesAndTheDelegateIsGone) {
    const std::string origin = "AudioObjectRemovePropertyListener( _deviceID, &aopa, "
                               "BRAQAudioDevicePropertyListenerProc, (__bridge void *)self )";
    const std::string method = "-[BRAQAudioDevice teardownPropertyListenerForDevice]";
    device->addDelegate(counter);
    {
        const HardwareHook fails(HardwareCall::removeListener, device->deviceID(), kAudioObjectPropertySelectorWildcard,
                                 -9);
        expectRaised([&] { device->removeDelegate(counter); }, -9, "BRAQAudioDevice", method, origin, 94);
        expectRaised([&] { device->teardownPropertyListenerForDevice(); }, -9, "BRAQAudioDevice", method, origin, 94);
    }
    EXPECT_THAT(device->delegates(), IsEmpty());
    EXPECT_TRUE(device->hasPropertyListener());
    device->removeDelegate(counter);
    EXPECT_FALSE(device->hasPropertyListener()) << "tried again";
}

TEST_F(DeviceListener, ThatCannotBeRemovedFromADyingDeviceIsLogged) {
    const CapturedLog log;
    device->addDelegate(counter);
    const HardwareHook fails(HardwareCall::removeListener, device->deviceID(), kAudioObjectPropertySelectorWildcard,
                             -9);
    device.reset();
    ASSERT_EQ(log.errors().size(), 1U);
    EXPECT_TRUE(log.errors()[0].starts_with("(ERROR) BRAQAudioDevice : ")) << log.errors()[0];
    EXPECT_THAT(log.errors()[0], testing::HasSubstr("unknown error -9"));
    software->changeSampleRate(88200.0); // the listener is still there, and finds nothing
    settle();
    EXPECT_THAT(counter->rates, IsEmpty());
}

TEST_F(DeviceListener, OfADeviceThatIsPulledOutIsRemovedWithoutAWord) {
    const CapturedLog log;
    device->addDelegate(counter);
    software->remove();
    device->removeDelegate(counter);
    EXPECT_FALSE(device->hasPropertyListener());
    device->setHasPropertyListener(true);
    device.reset();
    EXPECT_THAT(log.errors(), IsEmpty());
}

TEST_F(DeviceListener, TheFlagCanBeSetByHand) {
    ListenerCalls calls;
    device->setHasPropertyListener(true);
    device->addDelegate(counter);
    EXPECT_THAT(calls.take(), IsEmpty()) << "taken for installed";
    device->setHasPropertyListener(false);
    device->removeDelegate(counter);
    EXPECT_THAT(calls.take(), IsEmpty()) << "taken for removed";
}

TEST_F(DeviceListener, MayBeTakenAwayWhileItRuns) {
    for (int round = 0; round < 200; ++round) {
        device->addDelegate(counter);
        software->notifyProperties({{kAudioDevicePropertyNominalSampleRate, kAudioObjectPropertyScopeGlobal, 0}});
        round % 2 == 0 ? device->removeDelegate(counter) : device.reset();
        if (device == nullptr) {
            device = BRAQAudioDevice::initWithDeviceID(software->deviceID());
        }
        queue.drain();
    }
    settle();
    EXPECT_LE(counter->rates.size(), 200U);
    EXPECT_FALSE(device->hasPropertyListener());
}

} // namespace
