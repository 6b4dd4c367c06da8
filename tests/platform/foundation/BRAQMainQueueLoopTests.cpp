#include "BRAQAudio/platform/foundation/BRAQMainQueue.h"

#include "tests/platform/foundation/MainQueueFixture.h"

#include <glib-unix.h>

#include <functional>
#include <string>
#include <thread>

namespace {

class Foundation_MainQueueInALoop : public MainQueueTest {};

/// A loop of GLib that carries the main queue.
class GLibLoop {
  public:
    GLibLoop() {
        attach(::g_unix_fd_source_new(BRAQMainQueue::mainQueue().fileDescriptor(), G_IO_IN),
               G_SOURCE_FUNC(&drainMainQueue));
    }
    ~GLibLoop() {
        ::g_main_loop_unref(mLoop);
        ::g_main_context_unref(mContext); // destroys what is attached
    }
    GLibLoop(const GLibLoop&) = delete;
    GLibLoop& operator=(const GLibLoop&) = delete;

    void quitAfterMilliseconds(guint milliseconds) {
        attach(::g_timeout_source_new(milliseconds), G_SOURCE_FUNC(&quitLoop));
    }
    void run() { ::g_main_loop_run(mLoop); }
    void quit() { ::g_main_loop_quit(mLoop); }

  private:
    static gboolean drainMainQueue(gint /*descriptor*/, GIOCondition /*condition*/, gpointer /*self*/) {
        BRAQMainQueue::mainQueue().drain();
        return G_SOURCE_CONTINUE;
    }

    static gboolean quitLoop(gpointer self) {
        static_cast<GLibLoop*>(self)->quit();
        return G_SOURCE_REMOVE;
    }

    void attach(GSource* source, GSourceFunc function) {
        ::g_source_set_callback(source, function, this, nullptr);
        ::g_source_attach(source, mContext);
        ::g_source_unref(source);
    }

    GMainContext* const mContext = ::g_main_context_new();
    GMainLoop* const mLoop = ::g_main_loop_new(mContext, FALSE);
};

/// Submits `count` closures one after the other, the next from inside the one before.
void submitChain(BRAQMainQueue& queue, int count, int& ran, const std::function<void()>& atTheEnd) {
    queue.submit([&queue, count, &ran, atTheEnd] {
        ++ran;
        count > 1 ? submitChain(queue, count - 1, ran, atTheEnd) : atTheEnd();
    });
}

} // namespace

TEST_F(Foundation_MainQueueInALoop, PollCarriesItInThreeLines) {
    int ran = 0;
    bool isDone = false;
    std::thread submitting([&] { submitChain(queue, 100, ran, [&] { isDone = true; }); });
    while (!isDone) {
        pollfd watched = {queue.fileDescriptor(), POLLIN, 0};
        ASSERT_EQ(::poll(&watched, 1, -1), 1);
        EXPECT_EQ(queue.drain(), 1U); // never woken for nothing, never starved by what resubmits itself
    }
    submitting.join();
    EXPECT_EQ(ran, 100);
}

TEST_F(Foundation_MainQueueInALoop, WorkSubmittedBeforeTheLoopBeginsIsNotLost) {
    int ran = 0;
    std::thread([&] { submitChain(queue, 1, ran, [] {}); }).join();
    pollfd watched = {queue.fileDescriptor(), POLLIN, 0};
    ASSERT_EQ(::poll(&watched, 1, -1), 1);
    queue.drain();
    EXPECT_EQ(ran, 1);
}

TEST_F(Foundation_MainQueueInALoop, GLibCarriesIt) {
    GLibLoop loop;
    std::string ran;
    queue.submit([&] { ran += "before "; });
    std::thread submitting([&] {
        queue.submit([&] {
            ran += "from a thread ";
            queue.submit([&] {
                ran += "from inside";
                loop.quit();
            });
        });
    });
    loop.run();
    submitting.join();
    EXPECT_EQ(ran, "before from a thread from inside");
}

TEST_F(Foundation_MainQueueInALoop, GLibServesItsOtherSourcesWhileAClosureResubmitsItself) {
    GLibLoop loop;
    int ran = 0;
    bool isDone = false;
    std::function<void()> again = [&] {
        ++ran;
        if (!isDone) {
            queue.submit(again);
        }
    };
    queue.submit(again);
    loop.quitAfterMilliseconds(1);
    loop.run(); // ends only if the timer gets its turn
    isDone = true;
    EXPECT_EQ(queue.drain(), 1U); // the last one, which resubmits itself no more
    EXPECT_GT(ran, 1);
}
