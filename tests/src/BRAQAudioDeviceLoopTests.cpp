#include "BRAQAudio/BRAQAudioHardware.h"

#include "tests/src/DeviceFixture.h"

#include <gmock/gmock.h>

#include <glib-unix.h>

#include <thread>

namespace {

using testing::ElementsAre;

// Hears of both kinds of changes, and ends the loop that carries them with the last one.
struct Listener {
    void audioHardwareDeviceListDidChange() { hear("list"); }
    void audioDeviceNominalSampleRateDidChange(const std::shared_ptr<BRAQAudioDevice>& /*device*/) {
        hear("rate");
        end();
    }
    void hear(const char* what) {
        heard.emplace_back(what);
        isOnTheMainThread = isOnTheMainThread && std::this_thread::get_id() == mainThread;
    }

    std::function<void()> end;
    std::vector<std::string> heard;
    bool isOnTheMainThread = true;
    const std::thread::id mainThread = std::this_thread::get_id();
};

class DevicesInALoop : public DeviceTest {
  protected:
    void SetUp() override {
        DeviceTest::SetUp();
        hardware->addDelegate(listener);
        device->addDelegate(listener);
    }
    void TearDown() override {
        changing.join();
        EXPECT_THAT(listener->heard, ElementsAre("list", "rate"));
        EXPECT_TRUE(listener->isOnTheMainThread);
        DeviceTest::TearDown();
    }

    /// Another device comes, and then the rate changes, on a thread of its own.
    void changeElsewhere() {
        changing = std::thread([this] {
            appearing = makeDevice("appearing");
            software->changeSampleRate(96000.0);
        });
    }

    const std::shared_ptr<BRAQSoftwareDevice> software = makeDevice("loop");
    const std::shared_ptr<BRAQAudioDevice> device = BRAQAudioDevice::initWithDeviceID(software->deviceID());
    const std::shared_ptr<BRAQAudioHardware> hardware = BRAQAudioHardware::init();
    const std::shared_ptr<Listener> listener = std::make_shared<Listener>();
    std::shared_ptr<BRAQSoftwareDevice> appearing;
    std::thread changing;
};

TEST_F(DevicesInALoop, PollCarriesTheirChanges) {
    bool isDone = false;
    listener->end = [&] { isDone = true; };
    changeElsewhere();
    while (!isDone) {
        pollfd watched = {queue.fileDescriptor(), POLLIN, 0};
        ASSERT_EQ(::poll(&watched, 1, 60000), 1);
        queue.drain();
    }
}

TEST_F(DevicesInALoop, RunCarriesTheirChanges) {
    listener->end = [this] { queue.stop(); };
    changeElsewhere();
    queue.run();
}

TEST_F(DevicesInALoop, GLibCarriesTheirChanges) {
    GMainLoop* const loop = ::g_main_loop_new(nullptr, FALSE);
    listener->end = [loop] { ::g_main_loop_quit(loop); };
    const auto drain = [](gint /*descriptor*/, GIOCondition /*condition*/, gpointer /*data*/) -> gboolean {
        BRAQMainQueue::mainQueue().drain();
        return G_SOURCE_CONTINUE;
    };
    const guint source = ::g_unix_fd_add(queue.fileDescriptor(), G_IO_IN, drain, nullptr);
    changeElsewhere();
    ::g_main_loop_run(loop);
    ::g_source_remove(source);
    ::g_main_loop_unref(loop);
}

} // namespace
