#include "BRAQAudio/BRAQAudioDevice.h"

#include "library/BRAQAudioDevice_Listener.h"
#include "tests/src/DeviceFixture.h"
#include "tests/src/HardwareHook.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>

#include <thread>

namespace {

using braq::tests::CapturedLog;
using braq::tests::HardwareCall;
using braq::tests::ListenerCalls;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr AudioObjectPropertyAddress rate{kAudioDevicePropertyNominalSampleRate, kAudioObjectPropertyScopeGlobal, 0};
constexpr AudioObjectPropertyAddress inputRate{kAudioDevicePropertyNominalSampleRate, kAudioDevicePropertyScopeInput,
                                               3};
constexpr AudioObjectPropertyAddress bufferSize{kAudioDevicePropertyBufferFrameSize, kAudioObjectPropertyScopeGlobal,
                                                0};

// Classes of an application; they have nothing in common.
struct Counter {
    void audioDeviceNominalSampleRateDidChange(const std::shared_ptr<BRAQAudioDevice>& device) {
        heardOf.push_back(device->deviceID());
        threads.push_back(std::this_thread::get_id());
    }
    std::vector<AudioDeviceID> heardOf;
    std::vector<std::thread::id> threads;
};
struct ByValue {
    int audioDeviceNominalSampleRateDidChange(std::shared_ptr<BRAQAudioDevice> device) {
        return calls += device != nullptr;
    }
    int calls = 0;
};
struct Deaf {
    int audioDeviceNominalSampleRateDidChange = 0; // a field is no operation
};

class DeviceDelegates : public DeviceTest {
  protected:
    /// Calls the listener as the platform would.
    OSStatus notify(const std::vector<AudioObjectPropertyAddress>& addresses) {
        return notify(device->deviceID(), addresses);
    }
    OSStatus notify(AudioObjectID object, const std::vector<AudioObjectPropertyAddress>& addresses) {
        return BRAQAudioDevicePropertyListenerProc(object, static_cast<UInt32>(addresses.size()), addresses.data(),
                                                   device.get());
    }

    const std::shared_ptr<BRAQSoftwareDevice> software = makeDevice("delegates");
    std::shared_ptr<BRAQAudioDevice> device = BRAQAudioDevice::initWithDeviceID(software->deviceID());
    const std::shared_ptr<Counter> counter = std::make_shared<Counter>();
};

TEST_F(DeviceDelegates, TheFirstBringsTheListenerAndTheLastTakesItAlong) {
    ListenerCalls calls;
    const auto other = std::make_shared<Deaf>();
    device->addDelegate(counter);
    EXPECT_TRUE(device->hasPropertyListener());
    auto made = calls.take();
    ASSERT_EQ(made.size(), 1U);
    EXPECT_EQ(made[0].call, HardwareCall::addListener);
    EXPECT_EQ(made[0].object, device->deviceID());
    EXPECT_EQ(made[0].address.mSelector, kAudioObjectPropertySelectorWildcard);
    EXPECT_EQ(made[0].address.mScope, kAudioObjectPropertyScopeGlobal);
    EXPECT_EQ(made[0].address.mElement, 0U);
    EXPECT_EQ(made[0].listener, BRAQAudioDevicePropertyListenerProc);
    EXPECT_EQ(made[0].clientData, device.get());

    device->addDelegate(other);
    device->removeDelegate(counter);
    EXPECT_TRUE(calls.take().empty());
    EXPECT_TRUE(device->hasPropertyListener());
    device->removeDelegate(other);
    EXPECT_FALSE(device->hasPropertyListener());
    made = calls.take();
    ASSERT_EQ(made.size(), 1U);
    EXPECT_EQ(made[0].call, HardwareCall::removeListener);
    EXPECT_EQ(made[0].clientData, device.get());
    EXPECT_EQ(made[0].address.mSelector, kAudioObjectPropertySelectorWildcard);
}

TEST_F(DeviceDelegates, OneAddedTwiceIsHeldTwiceAndRemovedAtOnce) {
    device->addDelegate(counter);
    device->addDelegate(counter);
    EXPECT_EQ(device->delegates().size(), 2U);
    notify({rate});
    queue.drain();
    EXPECT_EQ(counter->heardOf.size(), 2U);
    device->removeDelegate(counter);
    EXPECT_THAT(device->delegates(), IsEmpty());
    EXPECT_FALSE(device->hasPropertyListener());
}

TEST_F(DeviceDelegates, RemovingAStrangerChangesNothing) {
    device->removeDelegate(counter);
    device->addDelegate(counter);
    device->removeDelegate(std::make_shared<Counter>());
    EXPECT_EQ(device->delegates().size(), 1U);
    EXPECT_TRUE(device->hasPropertyListener());
    device->removeDelegate(counter);
    device->removeDelegate(counter);
    EXPECT_FALSE(device->hasPropertyListener());
}

TEST_F(DeviceDelegates, AreHeldStrongly) {
    auto object = std::make_shared<Counter>();
    const std::weak_ptr<Counter> watched = object;
    device->addDelegate(std::exchange(object, nullptr));
    EXPECT_FALSE(watched.expired());
    EXPECT_EQ(device->delegates()[0].object(), watched.lock());
    device.reset();
    EXPECT_TRUE(watched.expired());
}

TEST_F(DeviceDelegates, ANullOneIsRefused) {
    try {
        device->addDelegate(std::shared_ptr<Counter>());
        ADD_FAILURE() << "did not raise";
    } catch (const NSException& raised) {
        EXPECT_EQ(raised.name(), NSInvalidArgumentException);
    }
    EXPECT_THAT(device->delegates(), IsEmpty());
    EXPECT_FALSE(device->hasPropertyListener());
}

TEST_F(DeviceDelegates, SettingThemNeitherInstallsNorRemovesTheListener) {
    const auto other = std::make_shared<Counter>();
    device->setDelegates({counter, other, counter});
    EXPECT_FALSE(device->hasPropertyListener());
    notify({rate});
    queue.drain();
    EXPECT_EQ(counter->heardOf.size(), 2U) << "they are called all the same";
    EXPECT_EQ(other->heardOf.size(), 1U);
    device->addDelegate(other);
    EXPECT_TRUE(device->hasPropertyListener());
    device->setDelegates({});
    EXPECT_TRUE(device->hasPropertyListener());
    device->removeDelegate(counter);
    EXPECT_FALSE(device->hasPropertyListener()) << "any removal that leaves none";
}

TEST_F(DeviceDelegates, HearOfEachRateAmongTheAddressesOnce) {
    device->addDelegate(counter);
    EXPECT_EQ(notify({rate, bufferSize, inputRate}), 0);
    EXPECT_THAT(counter->heardOf, IsEmpty()) << "later, on the main thread";
    EXPECT_EQ(queue.drain(), 2U);
    EXPECT_THAT(counter->heardOf, ElementsAre(device->deviceID(), device->deviceID()));
}

TEST_F(DeviceDelegates, HearNothingOfOtherProperties) {
    device->addDelegate(counter);
    EXPECT_EQ(notify({bufferSize}), 0);
    EXPECT_EQ(notify({}), 0);
    EXPECT_EQ(BRAQAudioDevicePropertyListenerProc(device->deviceID(), 0, nullptr, device.get()), 0);
    EXPECT_EQ(queue.drain(), 0U);
}

TEST_F(DeviceDelegates, HearNothingOfOtherObjects) {
    device->addDelegate(counter);
    EXPECT_EQ(notify(device->deviceID() + 1, {rate}), 0);
    EXPECT_EQ(notify(kAudioObjectSystemObject, {rate}), 0);
    EXPECT_EQ(queue.drain(), 0U);
}

TEST_F(DeviceDelegates, AreCalledInTheirOrderIfTheyHaveTheOperation) {
    const auto byValue = std::make_shared<ByValue>();
    device->addDelegate(std::make_shared<Deaf>());
    device->addDelegate(byValue);
    device->addDelegate(counter);
    EXPECT_FALSE(device->delegates()[0].audioDeviceNominalSampleRateDidChange);
    notify({rate});
    EXPECT_EQ(queue.drain(), 1U);
    EXPECT_EQ(byValue->calls, 1);
    EXPECT_EQ(counter->heardOf.size(), 1U);
}

TEST_F(DeviceDelegates, AQueuedCallKeepsTheDeviceAlive) {
    const std::weak_ptr<BRAQAudioDevice> watched = device;
    device->addDelegate(counter);
    notify({rate});
    device.reset();
    EXPECT_FALSE(watched.expired());
    queue.drain();
    EXPECT_EQ(counter->heardOf.size(), 1U);
    EXPECT_TRUE(watched.expired());
}

TEST_F(DeviceDelegates, ACallForADeviceThatIsGoneFindsNothing) {
    const AudioDeviceID id = device->deviceID();
    void* const address = device.get();
    device->addDelegate(counter);
    device.reset();
    EXPECT_EQ(BRAQAudioDevicePropertyListenerProc(id, 1, &rate, address), 0);
    EXPECT_EQ(BRAQAudioDevicePropertyListenerProc(id, 1, &rate, nullptr), 0);
    EXPECT_EQ(queue.drain(), 0U);
    EXPECT_THAT(counter->heardOf, IsEmpty());
}

// Takes itself off, and puts another one in, while it is called.
struct Changing {
    void audioDeviceNominalSampleRateDidChange(const std::shared_ptr<BRAQAudioDevice>& device) {
        ++calls;
        device->setDelegates({next});
    }
    std::shared_ptr<Counter> next;
    int calls = 0;
};

TEST_F(DeviceDelegates, ThoseThatWereThereWhenAPassBeganAreCalledInIt) {
    const auto changing = std::make_shared<Changing>();
    changing->next = counter;
    const auto last = std::make_shared<Counter>();
    device->setDelegates({changing, last});
    notify({rate});
    queue.drain();
    EXPECT_EQ(changing->calls, 1);
    EXPECT_EQ(last->heardOf.size(), 1U);
    EXPECT_THAT(counter->heardOf, IsEmpty());
    notify({rate});
    queue.drain();
    EXPECT_EQ(changing->calls, 1);
    EXPECT_EQ(counter->heardOf.size(), 1U);
}

struct Throwing {
    void audioDeviceNominalSampleRateDidChange(const std::shared_ptr<BRAQAudioDevice>& /*device*/) {
        throw std::runtime_error("no");
    }
};

TEST_F(DeviceDelegates, OneThatThrowsEndsThatPassOnly) {
    const CapturedLog log;
    device->setDelegates({std::make_shared<Throwing>(), counter});
    notify({rate, rate});
    EXPECT_EQ(queue.drain(), 2U);
    EXPECT_THAT(counter->heardOf, IsEmpty());
    EXPECT_THAT(log.errors(), ElementsAre("(ERROR) BRAQMainQueue : no", "(ERROR) BRAQMainQueue : no"));
}

TEST_F(DeviceDelegates, ACopyHasNone) {
    device->addDelegate(counter);
    const auto copy = device->copy();
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, device);
    EXPECT_TRUE(copy->isEqual(*device));
    EXPECT_EQ(copy->deviceID(), device->deviceID());
    EXPECT_THAT(copy->delegates(), IsEmpty());
    EXPECT_FALSE(copy->hasPropertyListener());
    EXPECT_EQ(device->delegates().size(), 1U);
}

} // namespace
