#include "tools/braq/terminal/Keyboard.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>

namespace {

/// Runs `body` in a process of its own that has a terminal. @return how it ended, as waitpid tells
int runOnATerminal(const std::function<void(int terminal)>& body, const std::string& typed) {
    int terminal = -1;
    const pid_t process = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (process == 0) {
        ::alarm(20);
        body(STDIN_FILENO);
        ::_exit(0);
    }
    char ready = 0;
    EXPECT_EQ(::read(terminal, &ready, 1), 1);
    EXPECT_EQ(::write(terminal, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
    int status = -1;
    EXPECT_EQ(::waitpid(process, &status, 0), process);
    ::close(terminal);
    return status;
}

void sayReady() { static_cast<void>(::write(STDOUT_FILENO, "!", 1)); }

bool isTyped(int descriptor) {
    pollfd watched = {descriptor, POLLIN, 0};
    return ::poll(&watched, 1, -1) == 1;
}

} // namespace

TEST(Tool_Keyboard, TellsWhatWasTyped) {
    const int status = runOnATerminal(
        [](int /*terminal*/) {
            const Keyboard keyboard(Keyboard::Suspending::impossible);
            sayReady();
            const bool isThere = isTyped(keyboard.descriptor()) && keyboard.read() == "q";
            ::_exit(isThere && keyboard.read() == "" ? 7 : 1);
        },
        "q");
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

// As an interruption does.
TEST(Tool_Keyboard, DoesNotWaitForWhatTheTerminalHasThrownAway) {
    const int status = runOnATerminal(
        [](int terminal) {
            const Keyboard keyboard(Keyboard::Suspending::impossible);
            sayReady();
            const bool isThere = isTyped(keyboard.descriptor());
            ::tcflush(terminal, TCIFLUSH);
            ::_exit(isThere && keyboard.read() == "" ? 7 : 1);
        },
        "q");
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST(Tool_Keyboard, MayBeThatOfTheTerminalWhileSomethingElseComesIn) {
    const int status = runOnATerminal(
        [](int /*terminal*/) {
            int ends[2] = {};
            if (::pipe(ends) != 0 || ::dup2(ends[0], STDIN_FILENO) != STDIN_FILENO) {
                ::_exit(2);
            }
            const Keyboard none(Keyboard::Suspending::possible);
            const Keyboard keyboard(Keyboard::Suspending::possible, Keyboard::Source::controllingTerminal);
            sayReady();
            const bool isThere = none.descriptor() < 0 && isTyped(keyboard.descriptor()) && keyboard.read() == "q";
            ::_exit(isThere ? 7 : 1);
        },
        "q");
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 7);
}
