#include "BRAQAudio/platform/foundation/NSLog.h"

#include "platform/foundation/QuietLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <thread>

using testing::ElementsAre;

namespace {

/// Standard error as datagrams while it lives: each write arrives by itself.
class CapturedStandardError {
  public:
    CapturedStandardError() : mPrevious(::dup(STDERR_FILENO)) {
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, mEnds.data()), 0);
        ::dup2(mEnds[1], STDERR_FILENO);
    }
    ~CapturedStandardError() {
        ::dup2(mPrevious, STDERR_FILENO);
        ::close(mPrevious);
        ::close(mEnds[0]);
        ::close(mEnds[1]);
    }
    CapturedStandardError(const CapturedStandardError&) = delete;
    CapturedStandardError& operator=(const CapturedStandardError&) = delete;

    /// The next write, or "nothing".
    std::string next() {
        std::string text(1 << 16, '\0');
        const ssize_t bytes = ::recv(mEnds[0], text.data(), text.size(), MSG_DONTWAIT);
        return bytes < 0 ? "nothing" : text.substr(0, static_cast<std::size_t>(bytes));
    }

  private:
    const int mPrevious;
    std::array<int, 2> mEnds;
};

} // namespace

TEST(Foundation_NSLog, TheDefaultWritesOneLineToStandardErrorInOneWrite) {
    CapturedStandardError error;
    NSLog("(ERROR) file : 100 %s %n\nreason\r");
    EXPECT_EQ(error.next(), "(ERROR) file : 100 %s %n reason \n");
    EXPECT_EQ(error.next(), "nothing");
}

TEST(Foundation_NSLog, TheDefaultWritesLongLinesWhole) {
    CapturedStandardError error;
    NSLog(std::string(20000, 'x'));
    EXPECT_EQ(error.next(), std::string(20000, 'x') + '\n');
}

TEST(Foundation_NSLog, TheDefaultWritesToSyslogToo) {
    CapturedStandardError error;
    ::openlog("program", LOG_PERROR, LOG_USER); // what goes to syslog is shown on standard error as well
    NSLog("a line with 100 %s");
    EXPECT_EQ(error.next(), "a line with 100 %s\n");
    EXPECT_EQ(error.next(), "program: a line with 100 %s\n");
    ::openlog(nullptr, 0, LOG_USER);
    ::closelog();
}

TEST(Foundation_NSLog, WhatIsLoggedQuietlyGoesToSyslogOnly) {
    CapturedStandardError error;
    ::openlog("program", LOG_PERROR, LOG_USER);
    braq::logQuietly("a line with\n100 %s");
    EXPECT_EQ(error.next(), "program: a line with 100 %s\n");
    EXPECT_EQ(error.next(), "nothing");
    ::openlog(nullptr, 0, LOG_USER);
    ::closelog();
}

TEST(Foundation_NSLog, ASinkGetsWhatIsLoggedQuietly) {
    std::vector<std::string> lines;
    const NSLogSink before = NSLogSetSink([&](const std::string& line) { lines.push_back(line); });
    braq::logQuietly("to the\nsink");
    NSLogSetSink(before);
    EXPECT_THAT(lines, ElementsAre("to the sink"));
}

TEST(Foundation_NSLog, AClosedStandardErrorIsNoProblem) {
    const int previous = ::dup(STDERR_FILENO);
    ::close(STDERR_FILENO);
    NSLog("nobody sees this");
    EXPECT_EQ(::write(STDERR_FILENO, "", 1), -1); // it was closed all the time
    ::dup2(previous, STDERR_FILENO);
    ::close(previous);
}

TEST(Foundation_NSLog, ASinkGetsTheLinesInsteadAndAnEmptyOneRestoresTheDefault) {
    CapturedStandardError error;
    std::vector<std::string> lines;
    EXPECT_FALSE(NSLogSetSink([&](const std::string& line) { lines.push_back(line); }));
    NSLog("to the\nsink");
    EXPECT_TRUE(NSLogSetSink({}));
    NSLog("to the default");
    EXPECT_THAT(lines, ElementsAre("to the sink"));
    EXPECT_EQ(error.next(), "to the default\n");
}

TEST(Foundation_NSLog, SetSinkHandsBackTheOneThatWasInForce) {
    std::vector<std::string> lines;
    NSLogSetSink([&](const std::string& line) { lines.push_back(line); });
    const NSLogSink previous = NSLogSetSink({});
    ASSERT_TRUE(previous);
    previous("called by hand");
    EXPECT_THAT(lines, ElementsAre("called by hand"));
}

TEST(Foundation_NSLog, ASinkThatThrowsDoesNotEndTheCallerAndTheLineIsNotLost) {
    CapturedStandardError error;
    NSLogSetSink([](const std::string&) { throw std::runtime_error("full"); });
    EXPECT_NO_THROW(NSLog("first"));
    EXPECT_NO_THROW(NSLog("second"));
    NSLogSetSink({});
    EXPECT_EQ(error.next(), "first\n");
    EXPECT_EQ(error.next(), "second\n");
}

TEST(Foundation_NSLog, ASinkThatLogsIsNotCalledForItsOwnLines) {
    CapturedStandardError error;
    std::vector<std::string> lines;
    NSLogSetSink([&](const std::string& line) {
        lines.push_back(line);
        NSLog("inside");
    });
    NSLog("outside");
    NSLogSetSink({});
    EXPECT_THAT(lines, ElementsAre("outside"));
    EXPECT_EQ(error.next(), "inside\n");
}

TEST(Foundation_NSLog, ASinkMayReplaceItself) {
    CapturedStandardError error;
    std::vector<std::string> lines;
    const std::string mine = "a text that is too long to be kept inside the string object: ";
    NSLogSetSink([&lines, mine](const std::string& line) {
        NSLogSetSink({});
        lines.push_back(mine + line);
    });
    NSLog("one");
    NSLog("two");
    EXPECT_THAT(lines, ElementsAre(mine + "one"));
    EXPECT_EQ(error.next(), "two\n");
}

TEST(Foundation_NSLog, LeavesErrnoAsItWas) {
    CapturedStandardError error;
    errno = EDOM;
    NSLog("line");
    EXPECT_EQ(errno, EDOM);
}

TEST(Foundation_NSLog, ThreadsLogOneCallOfTheSinkAtATime) {
    constexpr int threadCount = 4;
    constexpr int lineCount = 500;
    int calls = 0; // unguarded on purpose: the log promises one call at a time
    const NSLogSink previous = NSLogSetSink([&](const std::string&) { ++calls; });
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (int index = 0; index < threadCount; ++index) {
        threads.emplace_back([] {
            for (int line = 0; line < lineCount; ++line) {
                NSLog("line");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    NSLogSetSink(previous);
    EXPECT_EQ(calls, threadCount * lineCount);
}

TEST(Foundation_NSLog, AReplacedSinkIsNotCalledAnyMore) {
    std::atomic<bool> isDone = false;
    const NSLogSink previous = NSLogSetSink([](const std::string&) {});
    std::thread logging([&] {
        while (!isDone) {
            NSLog("line");
        }
    });
    for (int round = 0; round < 200; ++round) {
        auto lines = std::make_unique<int>(0);
        NSLogSetSink([&counted = *lines](const std::string&) { ++counted; });
        NSLogSetSink([](const std::string&) {});
        lines.reset(); // a late call would write to freed memory
    }
    isDone = true;
    logging.join();
    NSLogSetSink(previous);
}
