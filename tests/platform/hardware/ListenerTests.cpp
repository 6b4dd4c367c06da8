#include "tests/platform/hardware/HardwareHelpers.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <mutex>
#include <stdexcept>
#include <thread>

namespace {

using namespace braq::tests;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

/// Writes down what it hears.
class Ear {
  public:
    struct Call {
        AudioObjectID object;
        std::vector<UInt32> selectors;
        std::vector<UInt32> scopes;
        std::thread::id thread;
    };

    Ear(AudioObjectID object, AudioObjectPropertyAddress address) : mObject(object), mAddress(address) {
        EXPECT_EQ(AudioObjectAddPropertyListener(mObject, &mAddress, hear, this), 0);
    }
    ~Ear() { EXPECT_EQ(AudioObjectRemovePropertyListener(mObject, &mAddress, hear, this), 0); }
    Ear(const Ear&) = delete;
    Ear& operator=(const Ear&) = delete;

    /// What it has heard of everything that was reported before.
    std::vector<Call> heard() {
        waitForNotifications();
        const std::lock_guard lock(mMutex);
        return mCalls;
    }
    std::vector<UInt32> selectors() {
        std::vector<UInt32> all;
        for (const Call& call : heard()) {
            all.insert(all.end(), call.selectors.begin(), call.selectors.end());
        }
        return all;
    }

    std::function<void()> onCall = [] {};

  private:
    static OSStatus hear(AudioObjectID object, UInt32 count, const AudioObjectPropertyAddress* addresses, void* self) {
        auto* ear = static_cast<Ear*>(self);
        Call call{object, {}, {}, std::this_thread::get_id()};
        for (UInt32 i = 0; i < count; ++i) {
            call.selectors.push_back(addresses[i].mSelector);
            call.scopes.push_back(addresses[i].mScope);
        }
        {
            const std::lock_guard lock(ear->mMutex);
            ear->mCalls.push_back(std::move(call));
        }
        ear->onCall();
        return 0;
    }

    const AudioObjectID mObject;
    const AudioObjectPropertyAddress mAddress;
    std::mutex mMutex;
    std::vector<Call> mCalls; // under the mutex
};

constexpr AudioObjectPropertyAddress anything{kAudioObjectPropertySelectorWildcard, kAudioObjectPropertyScopeWildcard,
                                              kAudioObjectPropertyElementWildcard};

TEST(Listener, HearsOfAppearingAndVanishingDevicesOnceEach) {
    Ear ear(kAudioObjectSystemObject, at(kAudioHardwarePropertyDevices));
    const auto device = steppedDevice("device");
    EXPECT_THAT(ear.selectors(), ElementsAre(kAudioHardwarePropertyDevices));
    device->remove();
    device->remove();
    EXPECT_EQ(ear.heard().size(), 2U);
}

TEST(Listener, HearsOnOneThreadThatIsNotTheOneThatChanges) {
    Ear ear(kAudioObjectSystemObject, at(kAudioHardwarePropertyDevices));
    const auto one = steppedDevice("one");
    std::thread([] { steppedDevice("two"); }).join();
    const auto calls = ear.heard();
    ASSERT_EQ(calls.size(), 3U);
    for (const auto& call : calls) {
        EXPECT_EQ(call.thread, calls[0].thread);
        EXPECT_NE(call.thread, std::this_thread::get_id());
        EXPECT_EQ(call.object, kAudioObjectSystemObject);
    }
}

TEST(Listener, HearsOfDefaultDevicesOnlyWhenTheyChange) {
    const auto first = steppedDevice("first");
    const auto second = steppedDevice("second");
    Ear ear(kAudioObjectSystemObject, anything);
    first->makeDefaultPlaybackDevice();
    first->makeDefaultPlaybackDevice();
    EXPECT_THAT(ear.selectors(), ElementsAre(kAudioHardwarePropertyDefaultOutputDevice,
                                             kAudioHardwarePropertyDefaultSystemOutputDevice));
    second->makeDefaultRecordDevice();
    EXPECT_EQ(ear.selectors().back(), kAudioHardwarePropertyDefaultInputDevice);
}

TEST(Listener, HearsNothingOfWhatChangedBeforeItWasAdded) {
    // The notification thread is kept from reporting until the listener is there.
    std::promise<void> go;
    braq::Hardware::instance().notifications().run([&go] { go.get_future().wait(); });
    const auto device = steppedDevice("device");
    Ear ear(kAudioObjectSystemObject, at(kAudioHardwarePropertyDevices));
    go.set_value();
    EXPECT_THAT(ear.heard(), IsEmpty());
    device->remove();
    EXPECT_EQ(ear.heard().size(), 1U);
}

TEST(Listener, HearsOfARateInGlobalScopeWhereverItWasSet) {
    const auto device = steppedDevice("device");
    Ear ear(device->deviceID(), {kAudioObjectPropertySelectorWildcard, kAudioObjectPropertyScopeGlobal, 0});
    EXPECT_EQ(
        set(device->deviceID(), at(kAudioDevicePropertyNominalSampleRate, kAudioDevicePropertyScopeInput), 96000.0), 0);
    const auto calls = [&] {
        waitForNotifications(); // the change is carried out there, and then reported
        return ear.heard();
    }();
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_THAT(calls[0].selectors, ElementsAre(kAudioDevicePropertyNominalSampleRate));
    EXPECT_THAT(calls[0].scopes, ElementsAre(kAudioObjectPropertyScopeGlobal));
}

TEST(Listener, HearsNothingOfARateThatStaysOrIsRefused) {
    const auto device = steppedDevice("device");
    Ear ear(device->deviceID(), anything);
    set(device->deviceID(), at(kAudioDevicePropertyNominalSampleRate), 48000.0);
    set(device->deviceID(), at(kAudioDevicePropertyNominalSampleRate), 47999.0);
    waitForNotifications();
    EXPECT_THAT(ear.heard(), IsEmpty());
}

TEST(Listener, FindsTheNewValueWhenItHearsOfIt) {
    const auto device = steppedDevice("device");
    std::optional<Float64> rate;
    Ear ear(device->deviceID(), at(kAudioDevicePropertyNominalSampleRate));
    ear.onCall = [&] { rate = get<Float64>(device->deviceID(), at(kAudioDevicePropertyNominalSampleRate)); };
    device->changeSampleRate(88200.0);
    waitForNotifications();
    EXPECT_THAT(rate, Optional(88200.0));
}

TEST(Listener, HearsOnlyWhatItsAddressMatches) {
    const auto device = steppedDevice("device");
    const AudioDeviceID id = device->deviceID();
    Ear rates(id, at(kAudioDevicePropertyNominalSampleRate));
    Ear inputs(id, {kAudioObjectPropertySelectorWildcard, kAudioDevicePropertyScopeInput, 0});
    Ear latencies(
        id, {kAudioDevicePropertyLatency, kAudioObjectPropertyScopeWildcard, kAudioObjectPropertyElementWildcard});
    device->notifyProperties({at(kAudioDevicePropertyNominalSampleRate),
                              at(kAudioDevicePropertyLatency, kAudioDevicePropertyScopeInput),
                              at(kAudioDevicePropertyLatency, kAudioDevicePropertyScopeOutput, 3)});
    EXPECT_THAT(rates.selectors(), ElementsAre(kAudioDevicePropertyNominalSampleRate));
    EXPECT_THAT(inputs.selectors(), ElementsAre(kAudioDevicePropertyLatency));
    ASSERT_EQ(latencies.heard().size(), 1U) << "one notification is one call";
    EXPECT_THAT(latencies.heard()[0].scopes,
                ElementsAre(kAudioDevicePropertyScopeInput, kAudioDevicePropertyScopeOutput));
}

TEST(Listener, HearsNothingOfOtherObjects) {
    const auto device = steppedDevice("device");
    const auto other = steppedDevice("other");
    Ear ear(device->deviceID(), anything);
    other->changeSampleRate(96000.0);
    EXPECT_THAT(ear.heard(), IsEmpty());
}

TEST(Listener, AreCalledInTheOrderInWhichTheyWereAdded) {
    const auto device = steppedDevice("device");
    std::vector<int> order;
    Ear first(device->deviceID(), anything);
    Ear second(device->deviceID(), at(kAudioDevicePropertyNominalSampleRate));
    Ear third(device->deviceID(), anything);
    first.onCall = [&] { order.push_back(1); };
    second.onCall = [&] { order.push_back(2); };
    third.onCall = [&] { order.push_back(3); };
    device->changeSampleRate(96000.0);
    waitForNotifications();
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
}

OSStatus countCalls(AudioObjectID, UInt32, const AudioObjectPropertyAddress*, void* calls) {
    ++*static_cast<int*>(calls);
    return 0;
}

TEST(Listener, IsThereOnceHoweverOftenItIsAdded) {
    const auto device = steppedDevice("device");
    int calls = 0;
    const auto address = at(kAudioDevicePropertyNominalSampleRate);
    EXPECT_EQ(AudioObjectAddPropertyListener(device->deviceID(), &address, countCalls, &calls), 0);
    EXPECT_EQ(AudioObjectAddPropertyListener(device->deviceID(), &address, countCalls, &calls), 0);
    device->changeSampleRate(96000.0);
    waitForNotifications();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(AudioObjectRemovePropertyListener(device->deviceID(), &address, countCalls, &calls), 0);
    device->changeSampleRate(48000.0);
    waitForNotifications();
    EXPECT_EQ(calls, 1);
}

TEST(Listener, IsRefusedForAnUnknownObjectOrWithoutAProcedure) {
    int calls = 0;
    const auto address = anything;
    EXPECT_EQ(AudioObjectAddPropertyListener(0, &address, countCalls, &calls), kAudioHardwareBadObjectError);
    EXPECT_EQ(AudioObjectAddPropertyListener(0xFFFFFF, &address, countCalls, &calls), kAudioHardwareBadObjectError);
    EXPECT_EQ(AudioObjectAddPropertyListener(kAudioObjectSystemObject, &address, nullptr, &calls),
              kAudioHardwareIllegalOperationError);
    EXPECT_EQ(AudioObjectRemovePropertyListener(0xFFFFFF, &address, countCalls, &calls), kAudioHardwareBadObjectError);
}

TEST(Listener, CanBeRemovedFromAnObjectThatIsGone) {
    const auto device = steppedDevice("device");
    int calls = 0;
    const auto address = anything;
    EXPECT_EQ(AudioObjectAddPropertyListener(device->deviceID(), &address, countCalls, &calls), 0);
    device->remove();
    waitForNotifications();
    EXPECT_EQ(AudioObjectRemovePropertyListener(device->deviceID(), &address, countCalls, &calls), 0);
    EXPECT_EQ(AudioObjectRemovePropertyListener(device->deviceID(), &address, countCalls, &calls), 0);
    EXPECT_EQ(AudioObjectAddPropertyListener(device->deviceID(), &address, countCalls, &calls),
              kAudioHardwareBadObjectError);
}

TEST(Listener, HearsThatItsDeviceIsGoneWhileThatCanStillBeAsked) {
    const auto device = steppedDevice("device");
    Ear ear(device->deviceID(), at(kAudioDevicePropertyDeviceIsAlive));
    std::optional<UInt32> isAlive;
    OSStatus other = 0;
    ear.onCall = [&] {
        isAlive = get<UInt32>(device->deviceID(), at(kAudioDevicePropertyDeviceIsAlive));
        other = statusOf(device->deviceID(), at(kAudioDevicePropertyNominalSampleRate), 8);
    };
    device->remove();
    EXPECT_EQ(ear.heard().size(), 1U);
    EXPECT_THAT(isAlive, Optional(0U));
    EXPECT_EQ(other, kAudioHardwareBadDeviceError);
}

TEST(Listener, IsNotRunningAndNotCalledAgainWhenRemovalReturns) {
    const auto device = steppedDevice("device");
    for (int round = 0; round < 50; ++round) {
        auto ear = std::make_unique<Ear>(device->deviceID(), anything);
        std::atomic<int> calls{0};
        std::atomic<bool> isInside{false};
        std::promise<void> entered;
        ear->onCall = [&] {
            isInside = true;
            if (++calls == 1) {
                entered.set_value();
            }
            std::this_thread::sleep_for(std::chrono::microseconds(100)); // gives removal the chance to return early
            isInside = false;
        };
        device->notifyProperties({at(kAudioDevicePropertyNominalSampleRate)});
        device->notifyProperties({at(kAudioDevicePropertyNominalSampleRate)});
        entered.get_future().wait();
        ear.reset();
        EXPECT_FALSE(isInside);
        const int callsBefore = calls;
        waitForNotifications();
        EXPECT_EQ(calls, callsBefore);
    }
}

TEST(Listener, MayRemoveItself) {
    const auto device = steppedDevice("device");
    struct Self {
        AudioDeviceID device;
        int calls = 0;
        static OSStatus hear(AudioObjectID, UInt32, const AudioObjectPropertyAddress*, void* self) {
            auto* const me = static_cast<Self*>(self);
            ++me->calls;
            const auto address = anything;
            return AudioObjectRemovePropertyListener(me->device, &address, hear, self);
        }
    } self{device->deviceID()};
    const auto address = anything;
    EXPECT_EQ(AudioObjectAddPropertyListener(device->deviceID(), &address, Self::hear, &self), 0);
    device->changeSampleRate(96000.0);
    device->changeSampleRate(48000.0);
    waitForNotifications();
    EXPECT_EQ(self.calls, 1);
}

TEST(Listener, ThatThrowsIsLoggedAndTheOthersAreCalled) {
    const CapturedLog log;
    const auto device = steppedDevice("device");
    Ear first(device->deviceID(), anything);
    Ear second(device->deviceID(), anything);
    first.onCall = [] { throw std::runtime_error("no"); };
    device->changeSampleRate(96000.0);
    device->changeSampleRate(48000.0);
    EXPECT_EQ(second.heard().size(), 2U);
    EXPECT_THAT(log.errors(), ElementsAre("(ERROR) BRAQ notices : no", "(ERROR) BRAQ notices : no"));
}

} // namespace
