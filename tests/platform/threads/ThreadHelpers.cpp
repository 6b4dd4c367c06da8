#include "tests/platform/threads/ThreadHelpers.h"

#include "tests/support/RealtimePermission.h"

#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <thread>

namespace threads_test {
namespace {

void start(BRAQThread* thread, const char* name, void (*body)(void*), void* argument) {
    if (BRAQThreadStart(thread, name, body, argument) != 0) {
        throw std::runtime_error("no thread");
    }
}

} // namespace

void runOnNewThread(const std::function<void()>& body, const char* name) {
    struct Run {
        explicit Run(const std::function<void()>& runs) : body(runs) {}
        const std::function<void()> body;
        std::binary_semaphore isDone{0};
    };
    const auto run = std::make_shared<Run>(body);
    BRAQThread thread{};
    start(
        &thread, name,
        [](void* argument) {
            const std::unique_ptr<std::shared_ptr<Run>> own(static_cast<std::shared_ptr<Run>*>(argument));
            (*own)->body();
            (*own)->isDone.release();
        },
        new std::shared_ptr<Run>(run));
    run->isDone.acquire();
    waitUntilGone(thread.mPort);
}

ParkedThread::ParkedThread() {
    start(
        &mThread, "parked",
        [](void* argument) {
            const std::unique_ptr<Gate> own(static_cast<Gate*>(argument));
            (*own)->acquire();
        },
        new Gate(mMayEnd));
}

ParkedThread::~ParkedThread() {
    mMayEnd->release();
    waitUntilGone(port());
}

void waitUntilGone(thread_act_t port) {
    while (tgkill(getpid(), port, 0) == 0) {
        std::this_thread::yield();
    }
}

int threadCount() {
    // The thread sanitizer starts a thread of its own with the first one that a program starts, and keeps it.
    static const bool firstThreadWasStarted = (std::thread([] {}).join(), true);
    static_cast<void>(firstThreadWasStarted);
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<int>(std::distance(begin(tasks), end(tasks)));
}

void waitForThreadCount(int count) {
    while (threadCount() > count) {
        std::this_thread::yield();
    }
}

int policyOf(thread_act_t port) {
    thread_basic_info info{};
    UInt32 count = THREAD_BASIC_INFO_COUNT;
    return thread_info(port, THREAD_BASIC_INFO, &info.policy, &count) == KERN_SUCCESS ? info.policy : -1;
}

int basePriorityOf(thread_act_t port) {
    integer_t info[THREAD_BASIC_INFO_COUNT] = {};
    UInt32 count = THREAD_BASIC_INFO_COUNT;
    for (const UInt32 flavor : {THREAD_SCHED_TIMESHARE_INFO, THREAD_SCHED_RR_INFO, THREAD_SCHED_FIFO_INFO}) {
        if (thread_info(port, flavor, info, &count) == KERN_SUCCESS) {
            return info[0];
        }
    }
    return -1;
}

int kernelPolicyOf(thread_act_t port) { return sched_getscheduler(port); }

int kernelPriorityOf(thread_act_t port) {
    sched_param parameters{};
    return sched_getparam(port, &parameters) == 0 ? parameters.sched_priority : -1;
}

int niceOf(thread_act_t port) { return getpriority(PRIO_PROCESS, static_cast<id_t>(port)); }

bool setKernelPolicy(thread_act_t port, int policy, int priority) {
    sched_param parameters{};
    parameters.sched_priority = priority;
    return sched_setscheduler(port, policy, &parameters) == 0;
}

void makeWorker(thread_act_t port, int importance) {
    const thread_extended_policy extended{.timeshare = 0};
    EXPECT_EQ(thread_policy_set(port, THREAD_EXTENDED_POLICY, &extended.timeshare, THREAD_EXTENDED_POLICY_COUNT),
              KERN_SUCCESS);
    const thread_precedence_policy precedence{.importance = importance};
    EXPECT_EQ(thread_policy_set(port, THREAD_PRECEDENCE_POLICY, &precedence.importance, THREAD_PRECEDENCE_POLICY_COUNT),
              KERN_SUCCESS);
}

void reportNotShown(const char* why) { GTEST_SKIP() << "not shown: " << why; }

void WithPermission::SetUp() {
    if (!braq::tests::mayUseRealtimeScheduling()) {
        reportNotShown("this process may not use real-time scheduling");
    }
}

} // namespace threads_test
