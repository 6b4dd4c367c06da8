#pragma once

#include <dbus/dbus.h>
#include <sys/resource.h>
#include <sys/types.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

namespace threads_test {

/// A message bus of the test's own, that ends with this object and with the process.
class PrivateBus {
  public:
    PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;
    ~PrivateBus();

    const std::string& address() const { return mAddress; }

  private:
    pid_t mDaemon = -1;
    std::string mAddress;
};

/// Stands for rtkit, or for the desktop portal: records what it is asked and, where its own permission suffices, does
/// it. It keeps the permission that its creator had, whatever the creator drops later.
class FakeRealtimeKit {
  public:
    enum class Behaviour { grants, refuses, answersNothing };
    enum class Role { rtkit, portal };

    struct Call {
        std::string method;
        std::uint64_t process;
        std::uint64_t thread;
        std::int64_t priority;
        rlimit runLimit; ///< RLIMIT_RTTIME of the process when it asked
    };

    static constexpr std::int32_t kMinNiceLevel = -7;
    static constexpr std::int32_t kMaxRealtimePriority = 20;
    static constexpr std::int64_t kRTTimeUSecMax = 200'000;

    FakeRealtimeKit(const std::string& address, Behaviour behaviour, Role role = Role::rtkit);
    FakeRealtimeKit(const FakeRealtimeKit&) = delete;
    FakeRealtimeKit& operator=(const FakeRealtimeKit&) = delete;
    ~FakeRealtimeKit();

    /// Waits until anything was asked of it, properties included.
    void waitUntilAsked();

    /// The calls to raise a thread, in their order.
    std::vector<Call> calls();

  private:
    void serve(const std::string& address);
    DBusMessage* answer(DBusMessage* request);
    DBusMessage* answerProperty(DBusMessage* request);
    DBusMessage* answerRaise(DBusMessage* request);

    const Behaviour mBehaviour;
    const Role mRole;
    std::binary_semaphore mIsReady{0};
    std::atomic<bool> mMustEnd{false};
    std::mutex mMutex;
    std::condition_variable mWasAsked;
    bool mIsAsked = false;    // guarded by mMutex
    std::vector<Call> mCalls; // guarded by mMutex
    std::thread mThread;
};

} // namespace threads_test
