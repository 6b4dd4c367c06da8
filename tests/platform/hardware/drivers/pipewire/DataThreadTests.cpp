#include "platform/hardware/drivers/pipewire/DataThread.h"

#include "platform/hardware/drivers/pipewire/Headers.h"
#include "platform/hardware/drivers/pipewire/Loop.h"
#include "tests/platform/hardware/drivers/pipewire/ThreadFacts.h"
#include "tests/support/PrivateSoundServer.h"
#include "tests/support/RealtimePermission.h"

#include <gtest/gtest.h>
#include <pipewire/thread.h>
#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <semaphore>
#include <thread>
#include <vector>

using namespace braq;
using namespace braq::tests;

namespace {

/// As the thread is that runs a context's cycles.
ThreadFacts factsOfDataThread(pw_context* context) {
    ThreadFacts facts;
    // Until that thread has come to its loop, PipeWire has the caller do what it is asked to.
    EXPECT_TRUE(eventually([&] {
        pw_data_loop_invoke(
            pw_context_get_data_loop(context),
            [](spa_loop* /*loop*/, bool /*async*/, uint32_t /*sequence*/, const void* /*data*/, size_t /*size*/,
               void* result) {
                *static_cast<ThreadFacts*>(result) = factsOfThisThread();
                return 0;
            },
            0, nullptr, 0, true, &facts);
        return facts.thread != gettid();
    }));
    return facts;
}

/// A context whose loop nobody runs, and its data thread. Lives as long as the process, as the driver's do.
class Context {
  public:
    static Context& make() { return *new Context; }

    pipewire::DataThread& dataThread() { return mThread; }

    ThreadFacts facts() { return factsOfDataThread(mContext); }

  private:
    Context() {
        pw_init(nullptr, nullptr);
        mContext = pw_context_new(pw_loop_new(nullptr), nullptr, 0);
        EXPECT_TRUE(mThread.replaceThatOf(mContext));
    }

    pw_context* mContext;
    pipewire::DataThread mThread;
};

/// Puts a thread that begins late in the place of the one that runs a context's cycles, and sees when its end is waited for.
class LateThread {
  public:
    explicit LateThread(pw_context* context) {
        static const spa_thread_utils_methods methods = {
            .version = SPA_VERSION_THREAD_UTILS_METHODS,
            .create = create,
            .join = join,
            .get_rt_range = nullptr,
            .acquire_rt = nullptr,
            .drop_rt = nullptr,
        };
        mMaker.iface = {SPA_TYPE_INTERFACE_ThreadUtils, SPA_VERSION_THREAD_UTILS, {&methods, this}};
        factsOfDataThread(context);
        pw_data_loop* const loop = pw_context_get_data_loop(context);
        pw_data_loop_stop(loop);
        pw_data_loop_set_thread_utils(loop, &mMaker);
        pw_data_loop_start(loop);
    }

    int waitedFor() const { return mWaitedFor; }
    int waitedForTooEarly() const { return mWaitedForTooEarly; }

  private:
    static spa_thread* create(void* self, const spa_dict* /*properties*/, void* (*body)(void*), void* argument) {
        auto& late = *static_cast<LateThread*>(self);
        late.mThread = std::thread([&late, body, argument] {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            late.mHasBegun = true;
            body(argument);
        });
        return static_cast<spa_thread*>(self);
    }

    static int join(void* self, spa_thread* /*thread*/, void** /*result*/) {
        auto& late = *static_cast<LateThread*>(self);
        ++late.mWaitedFor;
        late.mWaitedForTooEarly += late.mHasBegun ? 0 : 1;
        late.mThread.join();
        return 0;
    }

    spa_thread_utils mMaker{};
    std::thread mThread;
    std::atomic<bool> mHasBegun = false;
    int mWaitedFor = 0;
    int mWaitedForTooEarly = 0;
};

/// Of the thread of a loop that is started now.
ThreadFacts factsOfNewLoop() {
    // Never destroyed, as that of the driver, and kept where a leak detector finds them.
    static auto& loops = *new std::vector<pipewire::Loop*>;
    pipewire::Loop& loop = *loops.emplace_back(new pipewire::Loop);
    ThreadFacts facts{};
    std::binary_semaphore isDone{0};
    const auto look = [&] {
        facts = factsOfThisThread();
        isDone.release();
    };
    std::unique_ptr<pipewire::LoopEvent> event;
    {
        const pipewire::Loop::Lock lock(loop);
        event = std::make_unique<pipewire::LoopEvent>(loop, look);
        event->signal();
    }
    isDone.acquire();
    const pipewire::Loop::Lock lock(loop);
    event.reset();
    return facts;
}

/// Runs `body` on a thread of SCHED_FIFO at 20.
void runInRealtime(const std::function<void()>& body) {
    std::thread([&] {
        const sched_param parameters{.sched_priority = 20};
        ASSERT_EQ(sched_setscheduler(0, SCHED_FIFO, &parameters), 0);
        body();
    }).join();
}

class PipeWire_ThreadsMadeInRealtime : public testing::Test {
  protected:
    void SetUp() override {
        if (!mayUseRealtimeScheduling()) {
            GTEST_SKIP() << "not shown: this process may not use real-time scheduling";
        }
    }
};

} // namespace

TEST(PipeWire_DataThread, IsAThreadOfTheLibrary) {
    const ThreadFacts facts = Context::make().facts();
    EXPECT_NE(facts.thread, gettid());
    EXPECT_EQ(facts.name, "BRAQ pw I/O");
    EXPECT_TRUE(hasStackOfTheLibrary(facts)) << facts.stackBytes;
    EXPECT_EQ(facts.policy, SCHED_OTHER);
}

// Told earlier, it may miss that, and the wait never ends.
TEST(PipeWire_DataThread, TellsTheOneThatItReplacesToEndOnlyWhenThatHasBegun) {
    pw_init(nullptr, nullptr);
    pw_context* const context = pw_context_new(pw_loop_new(nullptr), nullptr, 0);
    const LateThread late(context);
    auto& thread = *new pipewire::DataThread; // as the driver's, for as long as the process lives
    EXPECT_TRUE(thread.replaceThatOf(context));
    EXPECT_EQ(late.waitedFor(), 1);
    EXPECT_EQ(late.waitedForTooEarly(), 0);
    EXPECT_EQ(factsOfDataThread(context).name, "BRAQ pw I/O");
}

TEST(PipeWire_DataThread, LeavesOtherUsersOfPipeWireTheThreadsThatTheyHad) {
    pw_init(nullptr, nullptr);
    const spa_thread_utils* const before = pw_thread_utils_get();
    Context::make().facts();
    EXPECT_EQ(pw_thread_utils_get(), before);

    const ThreadFacts facts = factsOfDataThread(pw_context_new(pw_loop_new(nullptr), nullptr, 0));
    EXPECT_NE(facts.name, "BRAQ pw I/O");
    EXPECT_GT(facts.stackBytes, 4 * BRAQThreadStackBytes);
}

// A user's configuration may ask for several, among which PipeWire would choose for each stream.
TEST(PipeWire_DataThread, IsThatOfTheLoopWhoseNameAStreamIsGiven) {
#if PW_CHECK_VERSION(1, 1, 0)
    pw_init(nullptr, nullptr);
    pw_properties* const three = pw_properties_new("context.num-data-loops", "3", nullptr);
    pw_context* const context = pw_context_new(pw_loop_new(nullptr), three, 0);
    auto& thread = *new pipewire::DataThread; // as the driver's, for as long as the process lives
    ASSERT_TRUE(thread.replaceThatOf(context));
    const spa_dict_item items[] = {{PW_KEY_NODE_LOOP_NAME, pipewire::DataThread::nameOfLoopOf(context)}};
    const spa_dict wanted = SPA_DICT_INIT_ARRAY(items);
    pw_loop* const expected = pw_data_loop_get_loop(pipewire::DataThread::loopOf(context));
    for (int stream = 0; stream < 4; ++stream) {
        EXPECT_EQ(pw_context_acquire_loop(context, &wanted), expected);
    }
#else
    GTEST_SKIP() << "not shown: this version of PipeWire has one data loop a context";
#endif
}

TEST(PipeWire_LoopThread, CarriesANameAndIsTimeShared) {
    const ThreadFacts facts = factsOfNewLoop();
    EXPECT_NE(facts.thread, gettid());
    EXPECT_EQ(facts.name, "BRAQ pipewire");
    EXPECT_EQ(facts.policy, SCHED_OTHER);
}

TEST_F(PipeWire_ThreadsMadeInRealtime, InheritNoRealtimePolicy) {
    runInRealtime([] {
        EXPECT_EQ(factsOfNewLoop().policy, SCHED_OTHER);
        EXPECT_EQ(Context::make().facts().policy, SCHED_OTHER);
    });
}

TEST_F(PipeWire_ThreadsMadeInRealtime, AreGivenThePriorityOfAnIOThread) {
    runInRealtime([] {
        Context& context = Context::make();
        context.dataThread().makeIO();
        const ThreadFacts facts = context.facts();
        EXPECT_EQ(facts.policy, SCHED_FIFO);
        EXPECT_EQ(facts.priority, BRAQThreadIOPriority);
    });
}
