#include "tests/platform/units/RunningHelpers.h"
#include "tests/support/RealtimeGuard.h"

#include <gmock/gmock.h>

namespace {

using namespace braq::tests;
using testing::ElementsAre;
using testing::Optional;

std::optional<UInt64> lostFrames(AudioUnit unit) { return getUnit<UInt64>(unit, kBRAQOutputUnitProperty_LostFrames); }

/// What a listener for lost frames has read.
class LossLog {
  public:
    explicit LossLog(AudioUnit unit) : mUnit(unit) {
        EXPECT_EQ(AudioUnitAddPropertyListener(unit, kBRAQOutputUnitProperty_LostFrames, listen, this), 0);
    }
    ~LossLog() { AudioUnitRemovePropertyListenerWithUserData(mUnit, kBRAQOutputUnitProperty_LostFrames, listen, this); }
    LossLog(const LossLog&) = delete;
    LossLog& operator=(const LossLog&) = delete;
    const std::vector<UInt64>& values() {
        waitForNotifications();
        waitForNotifications(); // what the device reports leads to a notification of its own
        return mValues;
    }

  private:
    static void listen(void* self, AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope,
                       AudioUnitElement element) {
        EXPECT_EQ(property, kBRAQOutputUnitProperty_LostFrames);
        EXPECT_EQ(scope, global);
        EXPECT_EQ(element, 0U);
        static_cast<LossLog*>(self)->mValues.push_back(lostFrames(unit).value_or(99));
    }
    const AudioUnit mUnit;
    std::vector<UInt64> mValues; // notification thread
};

TEST(Units_LostFrames, AreCountedAndNotifiedWhilePlayingAndMoveTheTimeStamps) {
    const auto device = steppedDevice("device");
    std::vector<Float64> times;
    times.reserve(10);
    Player player(device->deviceID(), planar(48000.0, 2), [&](const AudioTimeStamp& time, UInt32, AudioBufferList*) {
        times.push_back(time.mSampleTime);
        return 0;
    });
    ASSERT_EQ(player.start(), 0);
    LossLog log(player.unit);
    device->step(64);
    EXPECT_THAT(lostFrames(player.unit), Optional(0U));
    device->loseFrames(1000);
    runRealtime([&] { device->step(64); });
    device->step(64);
    EXPECT_THAT(lostFrames(player.unit), Optional(1000U));
    EXPECT_THAT(log.values(), ElementsAre(1000U));
    device->loseFrames(24);
    device->step(64);
    EXPECT_THAT(log.values(), ElementsAre(1000U, 1024U));
    EXPECT_THAT(times, ElementsAre(0.0, 1064.0, 1128.0, 1216.0));
}

TEST(Units_LostFrames, AreCountedAtTheRateOfTheUnit) {
    const auto device = steppedDevice("device");
    Player player(device->deviceID(), planar(24000.0, 2), playNothing);
    ASSERT_EQ(player.start(), 0);
    device->step(64);
    device->loseFrames(1000);
    device->step(64);
    EXPECT_THAT(lostFrames(player.unit), Optional(500U));
}

TEST(Units_LostFrames, AreCountedWhileRecordingAndMoveTheTimeStamps) {
    const auto device = steppedDevice("device");
    std::vector<Float64> times;
    Recorder recorder(device->deviceID(), planar(48000.0, 2),
                      [&](const AudioTimeStamp& time, UInt32, AudioBufferList*) {
                          times.push_back(time.mSampleTime);
                          return 0;
                      });
    ASSERT_EQ(recorder.start(), 0);
    device->step(64);
    device->loseFrames(300);
    device->step(64);
    EXPECT_THAT(lostFrames(recorder.unit), Optional(300U));
    EXPECT_THAT(times, ElementsAre(0.0, 364.0));
}

TEST(Units_LostFrames, BeforeAStartAreNotCountedAndAnInitialisationBeginsAnew) {
    const auto device = steppedDevice("device");
    Player other(device->deviceID(), planar(48000.0, 2), playNothing);
    ASSERT_EQ(other.start(), 0);
    Player player(device->deviceID(), planar(48000.0, 2), playNothing);
    ASSERT_EQ(AudioUnitInitialize(player.unit), 0);
    device->step(64);
    device->loseFrames(100);
    device->step(64);
    EXPECT_THAT(lostFrames(player.unit), Optional(0U));
    ASSERT_EQ(AudioOutputUnitStart(player.unit), 0);
    device->loseFrames(10);
    device->step(64);
    EXPECT_THAT(lostFrames(player.unit), Optional(10U));
    EXPECT_THAT(lostFrames(other.unit), Optional(110U));
    AudioUnitUninitialize(player.unit);
    AudioUnitInitialize(player.unit);
    EXPECT_THAT(lostFrames(player.unit), Optional(0U));
}

TEST(Units_LostFrames, CannotBeSet) {
    const auto device = steppedDevice("device");
    Player player(device->deviceID(), planar(48000.0, 2), playNothing);
    EXPECT_EQ(setUnit(player.unit, kBRAQOutputUnitProperty_LostFrames, global, 0, UInt64{0}),
              kAudioUnitErr_PropertyNotWritable);
    EXPECT_EQ(setUnit(player.unit, kBRAQOutputUnitProperty_LostFrames, input, 0, UInt64{0}),
              kAudioUnitErr_InvalidScope);
    UInt32 size = 4;
    UInt64 value = 0;
    EXPECT_EQ(AudioUnitGetProperty(player.unit, kBRAQOutputUnitProperty_LostFrames, global, 0, &value, &size),
              kAudioUnitErr_InvalidPropertyValue);
}

} // namespace
