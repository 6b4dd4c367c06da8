#pragma once

#include "BRAQAudio/platform/threads.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <semaphore>

#if defined(__has_feature)
#define BRAQ_TEST_HAS_FEATURE(name) __has_feature(name)
#else
#define BRAQ_TEST_HAS_FEATURE(name) 0
#endif

namespace threads_test {

inline bool contains(const std::string& line, const std::string& text) { return line.find(text) != std::string::npos; }

/// Sanitizers give threads larger stacks and keep records of those that ended.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || BRAQ_TEST_HAS_FEATURE(address_sanitizer) ||       \
    BRAQ_TEST_HAS_FEATURE(thread_sanitizer)
constexpr bool kIsSanitized = true;
#else
constexpr bool kIsSanitized = false;
#endif

/// Runs `body` on a thread of the library and waits for its end.
void runOnNewThread(const std::function<void()>& body, const char* name = "test");

/// A thread of the library that does nothing until this object dies, which waits until the kernel has let it go.
class ParkedThread {
  public:
    ParkedThread();
    ParkedThread(const ParkedThread&) = delete;
    ParkedThread& operator=(const ParkedThread&) = delete;
    ~ParkedThread();

    thread_act_t port() const { return mThread.mPort; }

  private:
    using Gate = std::shared_ptr<std::binary_semaphore>; // the thread has one of its own

    Gate mMayEnd = std::make_shared<std::binary_semaphore>(0);
    BRAQThread mThread{};
};

/// Waits until no thread `port` is left in this process.
void waitUntilGone(thread_act_t port);

/// Threads of this process, as the kernel counts them.
int threadCount();

/// Waits until no more than `count` are left.
void waitForThreadCount(int count);

/// Asks for the policy and the base priority of `port` as the library's workers do; -1 where there is no answer.
int policyOf(thread_act_t port);
int basePriorityOf(thread_act_t port);

/// What the kernel says.
int kernelPolicyOf(thread_act_t port);
int kernelPriorityOf(thread_act_t port);
int niceOf(thread_act_t port);

/// Gives a thread a policy, past the library.
bool setKernelPolicy(thread_act_t port, int policy, int priority);

/// Puts a thread on fixed priority and `importance`, in the order in which the library's workers do.
void makeWorker(thread_act_t port, int importance);

/// Ends a test from its `SetUp`: on this machine it cannot show what it is there to show.
void reportNotShown(const char* why);

/// Base of the tests that show nothing on a machine without real-time scheduling.
class WithPermission : public testing::Test {
  protected:
    void SetUp() override;
};

} // namespace threads_test
