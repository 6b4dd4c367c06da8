#include "BRAQAudio/BRAQAudioHardware.h"
#include "BRAQAudio/platform/foundation/BRAQMainQueue.h"
#include "platform/hardware/Hardware.h"
#include "tests/support/PrivateSoundServer.h"

#include <gmock/gmock.h>

#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using braq::tests::eventually;
using braq::tests::PrivateSoundServer;
using testing::ElementsAre;
using testing::IsEmpty;

/// Hears of everything that there is to hear of.
struct Listener {
    void audioHardwareDeviceListDidChange() { hear("list"); }
    void audioHardwareDefaultInputDeviceDidChange() { hear("input"); }
    void audioHardwareDefaultOutputDeviceDidChange() { hear("output"); }
    void audioHardwareDefaultSystemOutputDeviceDidChange() { hear("system output"); }
    void audioDeviceNominalSampleRateDidChange(const std::shared_ptr<BRAQAudioDevice>& device) {
        hear("rate of " + device->deviceUID().value_or("?"));
    }
    void hear(const std::string& what) {
        heard.push_back(what);
        isOnTheMainThread = isOnTheMainThread && std::this_thread::get_id() == mainThread;
    }

    std::vector<std::string> heard;
    bool isOnTheMainThread = true;
    const std::thread::id mainThread = std::this_thread::get_id();
};

/// Listens to the default devices below the classes, which do not.
class DefaultsListener {
  public:
    DefaultsListener() {
        EXPECT_EQ(AudioObjectAddPropertyListener(kAudioObjectSystemObject, &defaultOutput, hear, this), 0);
    }
    ~DefaultsListener() {
        EXPECT_EQ(AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &defaultOutput, hear, this), 0);
    }
    DefaultsListener(const DefaultsListener&) = delete;
    DefaultsListener& operator=(const DefaultsListener&) = delete;

    int calls() {
        const std::lock_guard lock(mMutex);
        return mCalls;
    }

  private:
    static constexpr AudioObjectPropertyAddress defaultOutput{
        kAudioHardwarePropertyDefaultOutputDevice, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};

    static OSStatus hear(AudioObjectID /*object*/, UInt32 /*count*/, const AudioObjectPropertyAddress* /*addresses*/,
                         void* self) {
        auto* const listener = static_cast<DefaultsListener*>(self);
        const std::lock_guard lock(listener->mMutex);
        ++listener->mCalls;
        return 0;
    }

    std::mutex mMutex;
    int mCalls = 0; // under the mutex
};

class DevicesOnAServer : public testing::Test {
  protected:
    DevicesOnAServer() {
        server.configure("default.clock.allowed-rates", "[ 44100 48000 ]");
        server.keep({.name = "test.sink"});
        server.keep({.name = "test.other"});
        server.start();
        EXPECT_TRUE(eventually([] { return BRAQAudioHardware::allDeviceIDs().size() == 4; })) << "each has a monitor";
        makeDefault("test.sink");
        settle();
        hardware = BRAQAudioHardware::init();
        hardware->addDelegate(listener);
    }

    static bool isThere(const std::string& uid) { return BRAQAudioHardware::deviceIDForDeviceUID(uid) != 0; }

    void makeDefault(const std::string& uid) {
        server.setDefaultSink(uid);
        EXPECT_TRUE(eventually([&] { return BRAQAudioHardware::defaultOutputDevice()->deviceUID() == uid; }));
    }
    void create(const PrivateSoundServer::Node& node) {
        server.create(node);
        EXPECT_TRUE(eventually([&] { return isThere(node.name); }));
    }
    void destroy(const std::string& name) {
        server.destroy(name);
        EXPECT_TRUE(eventually([&] { return !isThere(name) && !isThere(name + ".monitor"); }));
    }

    /// What the delegates have heard of what was there to be seen before.
    std::vector<std::string> heard() {
        settle();
        return std::exchange(listener->heard, {});
    }

    PrivateSoundServer server;
    const std::shared_ptr<Listener> listener = std::make_shared<Listener>();
    std::shared_ptr<BRAQAudioHardware> hardware;

  private:
    static void settle() {
        std::promise<void> isDelivered;
        braq::Hardware::instance().notifications().run([&] { isDelivered.set_value(); });
        isDelivered.get_future().wait();
        BRAQMainQueue::mainQueue().drain();
    }
};

// A call too many that came late would be among those that are heard next.
TEST_F(DevicesOnAServer, AreHeardOfOnceEachWhenTheyComeAndGoOnTheMainThread) {
    create({.name = "test.mic", .mediaClass = "Audio/Source/Virtual"});
    EXPECT_THAT(heard(), ElementsAre("list"));
    create({.name = "test.new"});
    EXPECT_TRUE(eventually([] { return isThere("test.new.monitor"); }));
    EXPECT_THAT(heard(), ElementsAre("list", "list")) << "the sink and its monitor";
    destroy("test.mic");
    EXPECT_THAT(heard(), ElementsAre("list"));
    destroy("test.new");
    EXPECT_THAT(heard(), ElementsAre("list", "list"));
    create({.name = "test.mic", .mediaClass = "Audio/Source/Virtual"});
    EXPECT_THAT(heard(), ElementsAre("list"));
    EXPECT_TRUE(listener->isOnTheMainThread);
}

TEST_F(DevicesOnAServer, AreHeardOfAsNewDefaultsOnceBelowTheClassesAndNotInThem) {
    DefaultsListener defaults;
    makeDefault("test.other");
    EXPECT_THAT(heard(), IsEmpty());
    EXPECT_EQ(defaults.calls(), 1);
    makeDefault("test.sink");
    EXPECT_THAT(heard(), IsEmpty());
    EXPECT_EQ(defaults.calls(), 2);
}

TEST_F(DevicesOnAServer, TellOnceThatTheirRateHasChangedOnTheMainThread) {
    const auto sink = BRAQAudioDevice::initWithDeviceUID("test.sink");
    ASSERT_NE(sink, nullptr);
    sink->addDelegate(listener);
    for (const Float64 rate : {44100.0, 48000.0}) {
        sink->setPlaybackNominalSampleRate(rate);
        EXPECT_TRUE(eventually([&] { return sink->playbackNominalSampleRate() == rate; }));
        EXPECT_THAT(heard(), ElementsAre("rate of test.sink"));
    }
    EXPECT_TRUE(listener->isOnTheMainThread);
}

} // namespace
