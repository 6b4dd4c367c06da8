#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <vector>

// Tests that take permissions from a process, or need one in which nothing was logged yet, run in a process of their
// own: the test program starts itself anew and runs `body` there.
#define EXPECT_PASSES_IN_A_NEW_PROCESS(body)                                                                           \
    testing::GTEST_FLAG(death_test_style) = "threadsafe";                                                              \
    EXPECT_EXIT(                                                                                                       \
        {                                                                                                              \
            body();                                                                                                    \
            std::exit(0);                                                                                              \
        },                                                                                                             \
        testing::ExitedWithCode(0), "")

// What `body` expects; the new process says what did not hold and ends.
#define REQUIRE(condition)                                                                                             \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition);                        \
            std::_Exit(1);                                                                                             \
        }                                                                                                              \
    } while (false)

namespace threads_test {

/// What a process may do without the privilege to schedule as it likes, as in the limits of those names.
struct Limits {
    unsigned realtimePriority = 0; ///< RLIMIT_RTPRIO
    unsigned nice = 0;             ///< RLIMIT_NICE: 20 minus the lowest nice value
};

/// Takes CAP_SYS_NICE from the calling thread and the threads that it starts later, and sets the limits of the process.
void dropPermission(Limits limits = {});

/// Whether `dropPermission` can set these limits: those above the present ones need a privilege.
bool canBeGiven(Limits limits);

/// From now on no thread can be started.
void refuseNewThreads();

/// From now on the system refuses barriers on all threads.
void refuseBarriers();

/// The system bus of the library is at `address` from now on, and the session bus is not there.
void useSystemBus(const std::string& address);

/// The session bus of the library is at `address` from now on.
void useSessionBus(const std::string& address);

/// An address at which there is nothing.
constexpr const char* kNoBus = "unix:path=/nonexistent/bus";

/// Keeps the lines of the log while it lives.
class LogRecorder {
  public:
    LogRecorder();
    LogRecorder(const LogRecorder&) = delete;
    LogRecorder& operator=(const LogRecorder&) = delete;
    ~LogRecorder();

    /// Waits for a line that contains `text`, a minute at most; empty when there was none.
    std::string waitFor(const std::string& text);

    std::vector<std::string> lines();

  private:
    std::mutex mMutex;
    std::condition_variable mHasChanged;
    std::vector<std::string> mLines; // guarded by mMutex
};

} // namespace threads_test
