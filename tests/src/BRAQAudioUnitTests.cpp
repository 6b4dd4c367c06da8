#include "BRAQAudio/BRAQAudioUnit.h"

#include "library/src/BRAQAudioUnit_Listener.h"
#include "tests/src/DeviceFixture.h"
#include "tests/src/UnitCalls.h"
#include "tests/src/UnitFixture.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>

namespace {

using braq::tests::refused;
using braq::tests::UnitCalls;
using testing::ElementsAre;
using testing::IsEmpty;
using unit_test::PostedNotifications;
using unit_test::settle;

/// A unit that plays silence on a device.
class SilentUnit : public BRAQAudioUnit {
  public:
    static std::shared_ptr<SilentUnit> on(AudioDeviceID device) {
        const auto unit = handOut(new SilentUnit(device));
        unit->audioUnitInitialize();
        return unit;
    }
    ~SilentUnit() override { AudioComponentInstanceDispose(audioUnit()); }

    void audioUnitInitialize() override {
        setAudioUnit(openDefaultComponentType(0, 0));
        setProperty(kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global, 0, &mDevice, sizeof(mDevice));
        installPropertyListener();
        BRAQAudioUnit::audioUnitInitialize();
    }

  private:
    explicit SilentUnit(AudioDeviceID device)
        : BRAQAudioUnit(BRAQAudioStreamBasicDescription::nativeStreamDescription()), mDevice(device) {}

    const AudioDeviceID mDevice;
};

class Delegate : public BRAQAudioUnitDelegate {
  public:
    void audioUnitDidStart(const std::shared_ptr<BRAQAudioUnit>& unit) override {
        told.push_back(unit->isRunning() ? "started, running" : "started, not running");
    }
    void audioUnitDidStop(const std::shared_ptr<BRAQAudioUnit>& unit) override {
        told.push_back(unit->isRunning() ? "stopped, running" : "stopped, not running");
    }
    std::vector<std::string> told; // read when all has settled
};

class IndifferentDelegate : public BRAQAudioUnitDelegate {};

class AudioUnitTest : public unit_test::UnitTest {
  protected:
    std::shared_ptr<SilentUnit> unit = SilentUnit::on(software->deviceID());
};

TEST_F(AudioUnitTest, TellsItsDelegateAndPostsEachChangeOnce) {
    const auto delegate = std::make_shared<Delegate>();
    unit->setDelegate(delegate);
    PostedNotifications posted(unit);
    EXPECT_FALSE(unit->isRunning());
    unit->start();
    unit->start();
    EXPECT_TRUE(unit->isRunning());
    settle();
    EXPECT_THAT(delegate->told, ElementsAre("started, running"));
    EXPECT_THAT(posted.take(), ElementsAre("AudioUnitDidStartNotification"));
    unit->stop();
    unit->stop();
    unit->start();
    settle();
    EXPECT_THAT(delegate->told, ElementsAre("started, running", "stopped, not running", "started, running"));
    EXPECT_THAT(posted.take(), ElementsAre("AudioUnitDidStopNotification", "AudioUnitDidStartNotification"));
}

TEST_F(AudioUnitTest, TellsTheDelegateBeforeItPosts) {
    std::vector<std::string> order;
    struct Noting : BRAQAudioUnitDelegate {
        explicit Noting(std::vector<std::string>& to) : order(to) {}
        void audioUnitDidStart(const std::shared_ptr<BRAQAudioUnit>& /*unit*/) override { order.emplace_back("told"); }
        std::vector<std::string>& order;
    };
    const auto delegate = std::make_shared<Noting>(order);
    unit->setDelegate(delegate);
    const auto token = NSNotificationCenter::defaultCenter().addObserver(
        kAudioUnitDidStartNotification, unit, [&](const NSNotification& notification) {
            EXPECT_EQ(notification.object<BRAQAudioUnit>(), unit);
            order.emplace_back("posted");
        });
    unit->start();
    settle();
    EXPECT_THAT(order, ElementsAre("told", "posted"));
}

TEST_F(AudioUnitTest, PostsForADelegateWithoutOperationsForNoneAndForOneThatIsGone) {
    PostedNotifications posted(unit);
    auto delegate = std::make_shared<Delegate>();
    unit->setDelegate(std::make_shared<IndifferentDelegate>());
    EXPECT_EQ(unit->delegate(), nullptr) << "it is not kept alive";
    const auto indifferent = std::make_shared<IndifferentDelegate>();
    unit->setDelegate(indifferent);
    unit->start();
    settle();
    unit->setDelegate(delegate);
    delegate.reset();
    unit->stop();
    settle();
    unit->setDelegate(nullptr);
    unit->start();
    settle();
    EXPECT_THAT(posted.take(), ElementsAre("AudioUnitDidStartNotification", "AudioUnitDidStopNotification",
                                           "AudioUnitDidStartNotification"));
}

TEST_F(AudioUnitTest, ListensToNothingButItsOwnRunning) {
    const auto delegate = std::make_shared<Delegate>();
    unit->setDelegate(delegate);
    PostedNotifications posted(unit);
    const auto other = SilentUnit::on(software->deviceID());
    AUPropertyListenerProc(unit.get(), unit->audioUnit(), kAudioUnitProperty_StreamFormat, kAudioUnitScope_Global, 0);
    AUPropertyListenerProc(unit.get(), other->audioUnit(), kAudioOutputUnitProperty_IsRunning, kAudioUnitScope_Global,
                           0);
    AUPropertyListenerProc(nullptr, unit->audioUnit(), kAudioOutputUnitProperty_IsRunning, kAudioUnitScope_Global, 0);
    EXPECT_THAT(delegate->told, IsEmpty());
    EXPECT_THAT(posted.take(), IsEmpty());
    AUPropertyListenerProc(unit.get(), unit->audioUnit(), kAudioOutputUnitProperty_IsRunning, kAudioUnitScope_Global,
                           0);
    EXPECT_THAT(delegate->told, ElementsAre("stopped, not running"));
    EXPECT_THAT(posted.take(), ElementsAre("AudioUnitDidStopNotification"));
}

TEST_F(AudioUnitTest, IsNotToldOnceItIsGone) {
    const void* const address = unit.get();
    const AudioUnit audioUnit = unit->audioUnit();
    unit.reset();
    AUPropertyListenerProc(const_cast<void*>(address), audioUnit, kAudioOutputUnitProperty_IsRunning,
                           kAudioUnitScope_Global, 0);
}

TEST_F(AudioUnitTest, AnotherThrowingListenerDoesNotStopTheNotificationThread) {
    struct Throwing : BRAQAudioUnitDelegate {
        void audioUnitDidStart(const std::shared_ptr<BRAQAudioUnit>& /*unit*/) override {
            throw std::runtime_error("no");
        }
    };
    const auto delegate = std::make_shared<Throwing>();
    const braq::tests::CapturedLog log;
    PostedNotifications posted(unit);
    unit->setDelegate(delegate);
    unit->start();
    unit->stop();
    settle();
    EXPECT_THAT(log.errors(), ElementsAre("(ERROR) UnitListeners : no"));
    EXPECT_THAT(posted.take(), ElementsAre("AudioUnitDidStopNotification"));
}

TEST_F(AudioUnitTest, RaisesWhatTheListenerCannotRead) {
    const UnitCalls calls(0, refused);
    expectRaised(
        [&] { AUPropertyListenerProc(unit.get(), unit->audioUnit(), kAudioOutputUnitProperty_IsRunning, 0, 0); },
        refused, "src/BRAQAudioUnit",
        "void AUPropertyListenerProc(void *, AudioUnit, AudioUnitPropertyID, AudioUnitScope, AudioUnitElement)",
        "AudioUnitGetProperty( [au audioUnit], inID, inScope, inElement, &isRunning, &size )");
}

TEST(AudioUnit, RaisesOnEveryOperationWithoutAUnitOfThePlatform) {
    const auto description = BRAQAudioStreamBasicDescription::nativeStreamDescription();
    const auto unit = BRAQAudioUnit::initWithStreamDescription(description);
    EXPECT_EQ(unit->audioUnit(), nullptr);
    EXPECT_EQ(unit->streamDescription(), description) << "held, not copied";
    const auto raises = [&](const std::function<void()>& operation, const std::string& method,
                            const std::string& origin) {
        expectRaised(operation, kAudio_ParamError, "src/BRAQAudioUnit", "-[BRAQAudioUnit " + method + "]", origin);
    };
    raises([&] { unit->start(); }, "start", "AudioOutputUnitStart( mAudioUnit )");
    raises([&] { unit->stop(); }, "stop", "AudioOutputUnitStop( mAudioUnit )");
    raises([&] { unit->installPropertyListener(); }, "installPropertyListener",
           "AudioUnitAddPropertyListener( mAudioUnit, kAudioOutputUnitProperty_IsRunning, AUPropertyListenerProc, "
           "(__bridge void *)( self ) )");
    raises([&] { unit->setProperty(1, 2, 3, nullptr, 0); }, "setProperty:scope:element:data:size:",
           "AudioUnitSetProperty( mAudioUnit, inID, inScope, inElement, inData, inSize )");
    raises([&] { (void)unit->isRunning(); }, "isRunning",
           "AudioUnitGetProperty( mAudioUnit, kAudioOutputUnitProperty_IsRunning, kAudioUnitScope_Global, 0, "
           "&isRunning, &size )");
    raises([&] { unit->audioUnitInitialize(); }, "audioUnitInitialize", "AudioUnitInitialize( mAudioUnit )");
    raises([&] { unit->audioUnitUninitialize(); }, "audioUnitUninitialize", "AudioUnitUninitialize( mAudioUnit )");
}

TEST(AudioUnit, PassesPropertiesOnAsTheyAre) {
    const auto unit = BRAQAudioUnit::initWithStreamDescription(nullptr);
    unit->setAudioUnit(BRAQAudioUnit::openDefaultComponentType(0, 0));
    UnitCalls calls;
    constexpr UInt32 limit = 256;
    unit->setProperty(kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 0, &limit, sizeof(limit));
    ASSERT_EQ(calls.calls().size(), 1U);
    EXPECT_EQ(calls.calls()[0].number, kAudioUnitProperty_MaximumFramesPerSlice);
    EXPECT_EQ(calls.calls()[0].as<UInt32>(), limit);
    EXPECT_EQ(AudioComponentInstanceDispose(unit->audioUnit()), 0);
}

TEST(AudioUnit, OpensTheDefaultOutputWhateverIsAskedFor) {
    const UnitCalls calls;
    const AudioUnit unit = BRAQAudioUnit::openDefaultComponentType(BRAQFourCharCode("aufc"), BRAQFourCharCode("vari"));
    EXPECT_NE(unit, nullptr);
    ASSERT_THAT(calls.functions(), ElementsAre("AudioComponentFindNext", "AudioComponentInstanceNew"));
    const auto sought = calls.calls()[0].as<AudioComponentDescription>();
    EXPECT_EQ(sought.componentType, BRAQFourCharCode("auou"));
    EXPECT_EQ(sought.componentSubType, BRAQFourCharCode("def "));
    EXPECT_EQ(sought.componentManufacturer, 0U);
    EXPECT_EQ(AudioComponentInstanceDispose(unit), 0);
}

TEST(AudioUnit, TellsAMissingComponentFromOneThatCannotBeMade) {
    {
        const braq::tests::CapturedLog log;
        const UnitCalls calls(0, refused);
        EXPECT_EQ(BRAQAudioUnit::openDefaultComponentType(0, 0), nullptr);
        EXPECT_THAT(log.errors(), IsEmpty());
    }
    const UnitCalls calls(1, refused);
    expectRaised([] { BRAQAudioUnit::openDefaultComponentType(0, 0); }, refused, "src/BRAQAudioUnit",
                 "+[BRAQAudioUnit openDefaultComponentType:subType:]",
                 "AudioComponentInstanceNew( HALOutputComponent, &au )");
}

TEST(AudioUnit, LeavesThePlatformsUnitAloneWhenItGoes) {
    auto unit = BRAQAudioUnit::initWithStreamDescription(nullptr);
    const AudioUnit audioUnit = BRAQAudioUnit::openDefaultComponentType(0, 0);
    unit->setAudioUnit(audioUnit);
    const UnitCalls calls;
    unit.reset();
    EXPECT_THAT(calls.functions(), IsEmpty());
    EXPECT_EQ(AudioComponentInstanceDispose(audioUnit), 0) << "it was still there";
}

} // namespace
