#include "BRAQAudio/BRAQAudioHardware.h"

#include "library/src/BRAQAudioHardware_Listener.h"
#include "tests/src/DeviceFixture.h"
#include "tests/src/HardwareHook.h"

#include <gmock/gmock.h>

#include <thread>

namespace {

using braq::tests::HardwareCall;
using braq::tests::ListenerCalls;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr AudioObjectPropertyAddress address(UInt32 selector) { return {selector, kAudioObjectPropertyScopeGlobal, 0}; }
constexpr auto list = address(kAudioHardwarePropertyDevices);
constexpr auto input = address(kAudioHardwarePropertyDefaultInputDevice);
constexpr auto output = address(kAudioHardwarePropertyDefaultOutputDevice);
constexpr auto systemOutput = address(kAudioHardwarePropertyDefaultSystemOutputDevice);
constexpr auto other = address(kAudioHardwarePropertyDeviceForUID);

// Classes of an application; they have nothing in common.
struct Everything {
    void audioHardwareDeviceListDidChange() { heard.emplace_back("list"); }
    void audioHardwareDefaultInputDeviceDidChange() { heard.emplace_back("input"); }
    void audioHardwareDefaultOutputDeviceDidChange() { heard.emplace_back("output"); }
    void audioHardwareDefaultSystemOutputDeviceDidChange() { heard.emplace_back("system output"); }
    std::vector<std::string> heard;
};
struct ListOnly {
    void audioHardwareDeviceListDidChange() {
        ++calls;
        thread = std::this_thread::get_id();
    }
    int calls = 0;
    std::thread::id thread;
};
struct WithoutOperations {};

class HardwareDelegates : public DeviceTest {
  protected:
    /// Calls the listener as the platform would.
    OSStatus notify(const std::vector<AudioObjectPropertyAddress>& addresses,
                    AudioObjectID object = kAudioObjectSystemObject) {
        return AudioHardwarePropertyListener(object, static_cast<UInt32>(addresses.size()), addresses.data(),
                                             hardware.get());
    }

    std::shared_ptr<BRAQAudioHardware> hardware = BRAQAudioHardware::init();
    const std::shared_ptr<Everything> everything = std::make_shared<Everything>();
};

TEST_F(HardwareDelegates, OnlyTheListOfDevicesIsListenedTo) {
    ListenerCalls calls;
    const auto made = BRAQAudioHardware::init();
    const auto installed = calls.take();
    ASSERT_EQ(installed.size(), 1U);
    EXPECT_EQ(installed[0].call, HardwareCall::addListener);
    EXPECT_EQ(installed[0].object, kAudioObjectSystemObject);
    EXPECT_EQ(installed[0].address.mSelector, kAudioHardwarePropertyDevices);
    EXPECT_EQ(installed[0].address.mScope, kAudioObjectPropertyScopeGlobal);
    EXPECT_EQ(installed[0].address.mElement, 0U);
    EXPECT_EQ(installed[0].listener, AudioHardwarePropertyListener);
    EXPECT_EQ(installed[0].clientData, made.get());
    EXPECT_THAT(made->delegates(), IsEmpty());
    made->addDelegate(everything);
    made->removeDelegate(everything);
    EXPECT_THAT(calls.take(), IsEmpty()) << "with delegates or without";
}

TEST_F(HardwareDelegates, HearOfDevicesThatComeAndGoOnTheMainThread) {
    const auto listOnly = std::make_shared<ListOnly>();
    hardware->addDelegate(listOnly);
    const auto software = makeDevice("comes");
    settle();
    EXPECT_EQ(listOnly->calls, 1);
    EXPECT_EQ(listOnly->thread, std::this_thread::get_id());
    software->remove();
    settle();
    EXPECT_EQ(listOnly->calls, 2);
}

TEST_F(HardwareDelegates, HearNothingOfANewDefaultAlone) {
    const auto software = makeDevice("default");
    settle();
    hardware->addDelegate(everything);
    software->makeDefaultPlaybackDevice();
    software->makeDefaultRecordDevice();
    settle();
    EXPECT_EQ(BRAQAudioHardware::defaultOutputDeviceID(), software->deviceID());
    EXPECT_THAT(everything->heard, IsEmpty());
}

TEST_F(HardwareDelegates, EachSelectorHasItsOperation) {
    hardware->addDelegate(everything);
    EXPECT_EQ(notify({systemOutput, output, input, list}), 0);
    EXPECT_THAT(everything->heard, IsEmpty()) << "later, on the main thread";
    EXPECT_EQ(queue.drain(), 4U);
    EXPECT_THAT(everything->heard, ElementsAre("system output", "output", "input", "list"));
}

TEST_F(HardwareDelegates, ASelectorThatIsRepeatedRepeatsThePass) {
    hardware->addDelegate(everything);
    notify({list, other, list});
    EXPECT_EQ(queue.drain(), 2U);
    EXPECT_THAT(everything->heard, ElementsAre("list", "list"));
}

TEST_F(HardwareDelegates, HearNothingOfOtherSelectors) {
    hardware->addDelegate(everything);
    EXPECT_EQ(notify({other, address(kAudioDevicePropertyNominalSampleRate)}), 0);
    EXPECT_EQ(notify({}), 0);
    EXPECT_EQ(AudioHardwarePropertyListener(kAudioObjectSystemObject, 0, nullptr, hardware.get()), 0);
    EXPECT_EQ(queue.drain(), 0U);
}

TEST_F(HardwareDelegates, TheObjectOfACallIsNotLookedAt) {
    hardware->addDelegate(everything);
    EXPECT_EQ(notify({list}, 4711), 0);
    queue.drain();
    EXPECT_THAT(everything->heard, ElementsAre("list"));
}

TEST_F(HardwareDelegates, AreCalledForTheOperationsThatTheyHaveOnly) {
    const auto listOnly = std::make_shared<ListOnly>();
    hardware->setDelegates({std::make_shared<WithoutOperations>(), listOnly, everything});
    notify({list, input, output, systemOutput});
    queue.drain();
    EXPECT_EQ(listOnly->calls, 1);
    EXPECT_EQ(everything->heard.size(), 4U);
    const auto& entries = hardware->delegates();
    EXPECT_FALSE(entries[0].audioHardwareDeviceListDidChange);
    EXPECT_TRUE(entries[1].audioHardwareDeviceListDidChange);
    EXPECT_FALSE(entries[1].audioHardwareDefaultInputDeviceDidChange);
    EXPECT_FALSE(entries[1].audioHardwareDefaultOutputDeviceDidChange);
    EXPECT_FALSE(entries[1].audioHardwareDefaultSystemOutputDeviceDidChange);
}

TEST_F(HardwareDelegates, OneAddedTwiceIsHeldTwiceAndRemovedAtOnce) {
    const auto listOnly = std::make_shared<ListOnly>();
    hardware->addDelegate(everything);
    hardware->addDelegate(listOnly);
    hardware->addDelegate(everything);
    notify({list});
    queue.drain();
    EXPECT_EQ(everything->heard.size(), 2U);
    EXPECT_EQ(listOnly->calls, 1);
    hardware->removeDelegate(everything);
    ASSERT_EQ(hardware->delegates().size(), 1U);
    EXPECT_EQ(hardware->delegates()[0].object(), listOnly);
    hardware->removeDelegate(everything);
    EXPECT_EQ(hardware->delegates().size(), 1U);
}

TEST_F(HardwareDelegates, ANullOneIsRefused) {
    try {
        hardware->addDelegate(std::shared_ptr<ListOnly>());
        ADD_FAILURE() << "did not raise";
    } catch (const NSException& raised) {
        EXPECT_EQ(raised.name(), NSInvalidArgumentException);
    }
    EXPECT_THAT(hardware->delegates(), IsEmpty());
}

// Takes all delegates off while it is called.
struct Clearing {
    void audioHardwareDeviceListDidChange() const { owner.lock()->setDelegates({}); }
    std::weak_ptr<BRAQAudioHardware> owner;
};

TEST_F(HardwareDelegates, ThoseThatWereThereWhenAPassBeganAreCalledInIt) {
    const auto clearing = std::make_shared<Clearing>();
    clearing->owner = hardware;
    hardware->setDelegates({clearing, everything});
    notify({list, list});
    queue.drain();
    EXPECT_THAT(everything->heard, ElementsAre("list"));
}

TEST_F(HardwareDelegates, AQueuedCallKeepsTheHardwareAliveAndALateOneFindsNothing) {
    const std::weak_ptr<BRAQAudioHardware> watched = hardware;
    void* const at = hardware.get();
    hardware->addDelegate(everything);
    notify({list});
    hardware.reset();
    EXPECT_FALSE(watched.expired());
    queue.drain();
    EXPECT_THAT(everything->heard, ElementsAre("list"));
    EXPECT_TRUE(watched.expired());
    EXPECT_EQ(AudioHardwarePropertyListener(kAudioObjectSystemObject, 1, &list, at), 0);
    const auto software = makeDevice("late"); // the listener is still installed
    settle();
    EXPECT_THAT(everything->heard, ElementsAre("list"));
}

TEST_F(HardwareDelegates, TheSharedInstanceIsOneForAllThreadsAndListens) {
    std::shared_ptr<BRAQAudioHardware> found[4];
    std::vector<std::thread> threads;
    for (auto& one : found) {
        threads.emplace_back([&one] { one = BRAQAudioHardware::sharedInstance(); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (const auto& one : found) {
        EXPECT_EQ(one, BRAQAudioHardware::sharedInstance());
    }
    ASSERT_NE(found[0], nullptr);
    EXPECT_NE(found[0], hardware);
    found[0]->addDelegate(everything);
    const auto software = makeDevice("comes");
    settle();
    found[0]->removeDelegate(everything);
    EXPECT_THAT(everything->heard, ElementsAre("list"));
}

} // namespace
