#include "tools/braq/terminal/Interruption.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <thread>

using std::chrono::milliseconds;

namespace {

/// A process that is interrupted once it says that it is ready.
class Interrupted {
  public:
    /// @param body what the process does, with something to say that it is ready; it ends with 0 when that returns
    explicit Interrupted(const std::function<void(const std::function<void()>& sayReady)>& body) {
        int ends[2] = {};
        EXPECT_EQ(::pipe(ends), 0);
        mProcess = ::fork();
        if (mProcess == 0) {
            body([&] { static_cast<void>(::write(ends[1], "!", 1)); });
            ::_exit(0);
        }
        ::close(ends[1]);
        mReady = ends[0];
    }
    ~Interrupted() { ::close(mReady); }
    Interrupted(const Interrupted&) = delete;
    Interrupted& operator=(const Interrupted&) = delete;

    void waitUntilReady() const {
        char byte = 0;
        ASSERT_EQ(::read(mReady, &byte, 1), 1);
    }
    void interrupt(int signal) const { ASSERT_EQ(::kill(mProcess, signal), 0); }
    bool hasEnded() const {
        siginfo_t information{};
        return ::waitid(P_PID, static_cast<id_t>(mProcess), &information, WEXITED | WNOHANG | WNOWAIT) == 0 &&
               information.si_pid != 0;
    }
    /// As waitpid tells.
    int waitForEnd() const {
        int status = -1;
        EXPECT_EQ(::waitpid(mProcess, &status, 0), mProcess);
        return status;
    }

  private:
    pid_t mProcess = -1;
    int mReady = -1;
};

void hang() {
    while (true) {
        ::pause();
    }
}

void waitFor(const Interruption& interruption) {
    pollfd watched = {interruption.descriptor(), POLLIN, 0};
    while (::poll(&watched, 1, -1) != 1) {
    }
}

} // namespace

TEST(Tool_Interruption, IsSeenByAProgramThatLooks) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const Interrupted process([](const auto& sayReady) {
            std::signal(SIGHUP, SIG_DFL); // whatever the test was started with
            const Interruption interruption;
            if (interruption.isRequested()) {
                ::_exit(1);
            }
            sayReady();
            waitFor(interruption);
            ::_exit(interruption.isRequested() && interruption.isRequested() ? 7 : 2);
        });
        process.waitUntilReady();
        process.interrupt(signal);
        const int status = process.waitForEnd();
        ASSERT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), 7);
    }
}

TEST(Tool_Interruption, IsNoClosedTerminalForAProgramThatIsToSurviveIt) {
    const Interrupted process([](const auto& sayReady) {
        std::signal(SIGHUP, SIG_IGN); // as nohup does
        const Interruption interruption;
        ::raise(SIGHUP);
        sayReady();
        waitFor(interruption);
        ::_exit(interruption.isRequested() ? 7 : 2);
    });
    process.waitUntilReady();
    process.interrupt(SIGHUP);
    std::this_thread::sleep_for(milliseconds(100)); // too short only makes the test miss a fault
    EXPECT_FALSE(process.hasEnded());
    process.interrupt(SIGTERM);
    const int status = process.waitForEnd();
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST(Tool_Interruption, EndsAProgramThatDoesNotLook) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const Interrupted process([](const auto& sayReady) {
            std::signal(SIGHUP, SIG_DFL);
            const Interruption interruption(milliseconds(100));
            sayReady();
            hang();
        });
        process.waitUntilReady();
        process.interrupt(signal);
        const int status = process.waitForEnd();
        ASSERT_TRUE(WIFSIGNALED(status));
        EXPECT_EQ(WTERMSIG(status), signal);
    }
}

TEST(Tool_Interruption, EndsAProgramThatDoesNotLookSoonerWhenItComesAgain) {
    const milliseconds patience{50000};
    const Interrupted process([patience](const auto& sayReady) {
        const Interruption interruption(patience / 100);
        sayReady();
        hang();
    });
    process.waitUntilReady();
    const auto begin = std::chrono::steady_clock::now();
    process.interrupt(SIGINT);
    while (!process.hasEnded() && std::chrono::steady_clock::now() - begin < patience) {
        std::this_thread::sleep_for(milliseconds(20));
        process.interrupt(SIGTERM);
    }
    const int status = process.waitForEnd();
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGTERM) << "the second one, not the first, whose time had not come";
}

TEST(Tool_Interruption, LeavesAProgramThatHasLookedTheTimeThatItNeeds) {
    const Interrupted process([](const auto& sayReady) {
        const Interruption interruption(milliseconds(50));
        sayReady();
        waitFor(interruption);
        static_cast<void>(interruption.isRequested());
        std::this_thread::sleep_for(milliseconds(300)); // what takes the program its time
    });
    process.waitUntilReady();
    process.interrupt(SIGTERM);
    const int status = process.waitForEnd();
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(Tool_Interruption, EndsAProgramThatHangsAfterItHasLookedWhenItComesAgain) {
    const Interrupted process([](const auto& sayReady) {
        const Interruption interruption(milliseconds(50));
        sayReady();
        waitFor(interruption);
        static_cast<void>(interruption.isRequested());
        sayReady();
        hang();
    });
    process.waitUntilReady();
    process.interrupt(SIGINT);
    process.waitUntilReady();
    // Until the time for it has come, another one changes nothing.
    for (int tries = 0; tries < 500 && !process.hasEnded(); ++tries) {
        process.interrupt(SIGINT);
        std::this_thread::sleep_for(milliseconds(20));
    }
    ASSERT_TRUE(process.hasEnded());
    const int status = process.waitForEnd();
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGINT);
}
