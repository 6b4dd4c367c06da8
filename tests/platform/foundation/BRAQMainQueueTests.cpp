#include "BRAQAudio/platform/foundation/BRAQMainQueue.h"

#include "tests/platform/foundation/MainQueueFixture.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/resource.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using testing::ElementsAre;

namespace {
class Foundation_MainQueue : public MainQueueTest {};
} // namespace

TEST_F(Foundation_MainQueue, DrainRunsClosuresInTheOrderInWhichTheyWereSubmitted) {
    std::vector<int> ran;
    for (int index = 0; index < 5; ++index) {
        queue.submit([&ran, index] { ran.push_back(index); });
    }
    EXPECT_EQ(queue.drain(), 5U);
    EXPECT_THAT(ran, ElementsAre(0, 1, 2, 3, 4));
    EXPECT_EQ(queue.drain(), 0U);
}

TEST_F(Foundation_MainQueue, ClosuresRunOnTheDrainingThread) {
    std::thread::id ranOn;
    std::thread([&] { queue.submit([&] { ranOn = std::this_thread::get_id(); }); }).join();
    queue.drain();
    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST_F(Foundation_MainQueue, TheDescriptorIsReadableExactlyWhileSomethingWaits) {
    EXPECT_FALSE(isReadable());
    queue.submit([&] { EXPECT_TRUE(isReadable()); });
    queue.submit([&] { EXPECT_FALSE(isReadable()); });
    EXPECT_TRUE(isReadable());
    queue.drain();
    EXPECT_FALSE(isReadable());
}

TEST(Foundation_MainQueueDeathTest, TheDescriptorIsReadableAtOnceWhenItIsFirstAskedForAfterSomethingWasSubmitted) {
    // In a process of its own, whose queue has no descriptor yet.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto submitAndPoll = [] {
        BRAQMainQueue& queue = BRAQMainQueue::mainQueue();
        queue.submit([] {});
        pollfd watched = {queue.fileDescriptor(), POLLIN, 0};
        return ::poll(&watched, 1, 0);
    };
    EXPECT_EXIT(std::exit(submitAndPoll()), testing::ExitedWithCode(1), "");
}

TEST(Foundation_MainQueueDeathTest, WithoutADescriptorLeftTheQueueStillRunsAndTheNextCallTriesAgain) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto outcome = [] {
        BRAQMainQueue& queue = BRAQMainQueue::mainQueue();
        rlimit limit = {};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        const rlimit none = {0, limit.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
        bool hasRun = false;
        const bool hasFailed = queue.fileDescriptor() == -1 && errno == EMFILE;
        queue.submit([&] { hasRun = true; });
        queue.stop();
        queue.run();
        ::setrlimit(RLIMIT_NOFILE, &limit);
        return hasFailed && hasRun && queue.fileDescriptor() >= 0 ? 1 : 0;
    };
    EXPECT_EXIT(std::exit(outcome()), testing::ExitedWithCode(1), "");
}

TEST_F(Foundation_MainQueue, TheDescriptorIsAlwaysTheSameDoesNotBlockAndIsNotInherited) {
    const int descriptor = queue.fileDescriptor();
    EXPECT_EQ(queue.fileDescriptor(), descriptor);
    EXPECT_NE(::fcntl(descriptor, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_NE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(Foundation_MainQueue, WhatIsSubmittedWhileDrainingWaitsForALaterDrain) {
    std::string ran;
    queue.submit([&] {
        ran += 'a';
        queue.submit([&] { ran += 'c'; });
    });
    queue.submit([&] { ran += 'b'; });
    EXPECT_EQ(queue.drain(), 2U);
    EXPECT_EQ(ran, "ab");
    EXPECT_TRUE(isReadable());
    EXPECT_EQ(queue.drain(), 1U);
    EXPECT_EQ(ran, "abc");
    EXPECT_FALSE(isReadable());
}

TEST_F(Foundation_MainQueue, WhatThrowsIsLoggedAndTheQueueGoesOn) {
    const braq::tests::CapturedLog log;
    bool hasRun = false;
    queue.submit([] { throw std::runtime_error("broken"); });
    queue.submit([] { throw 1; });
    queue.submit([&] { hasRun = true; });
    EXPECT_EQ(queue.drain(), 3U);
    EXPECT_TRUE(hasRun);
    EXPECT_THAT(log.lines(), ElementsAre("(ERROR) BRAQMainQueue : broken",
                                         "(ERROR) BRAQMainQueue : something that is no std::exception was thrown"));
}

TEST_F(Foundation_MainQueue, AnEmptyClosureIsLoggedLikeOneThatThrows) {
    const braq::tests::CapturedLog log;
    queue.submit({});
    EXPECT_EQ(queue.drain(), 1U);
    EXPECT_THAT(log.lines(), ElementsAre("(ERROR) BRAQMainQueue : bad_function_call"));
}

TEST_F(Foundation_MainQueue, AClosureIsDestroyedBeforeTheNextOneRunsAndMaySubmitThen) {
    struct Submitting {
        explicit Submitting(std::string& text) : ran(text) {}
        ~Submitting() {
            ran += 'd';
            BRAQMainQueue::mainQueue().submit([&text = ran] { text += 'c'; });
        }
        std::string& ran;
    };
    std::string ran;
    queue.submit([&ran, held = std::make_shared<Submitting>(ran)] { ran += 'a'; });
    queue.submit([&ran] { ran += 'b'; });
    queue.drain();
    EXPECT_EQ(ran, "adb");
    queue.drain();
    EXPECT_EQ(ran, "adbc");
}

TEST_F(Foundation_MainQueue, ADrainInsideAClosureTakesOverWhatIsLeftInOrder) {
    std::string ran;
    std::size_t inner = 0;
    queue.submit([&] {
        ran += '(';
        queue.submit([&] { ran += 'c'; });
        inner = queue.drain();
        ran += ')';
        queue.submit([&] { ran += 'd'; });
    });
    queue.submit([&] { ran += 'b'; });
    EXPECT_EQ(queue.drain(), 1U);
    EXPECT_EQ(inner, 2U);
    EXPECT_EQ(ran, "(bc)");
    EXPECT_TRUE(isReadable());
    EXPECT_EQ(queue.drain(), 1U);
    EXPECT_EQ(ran, "(bc)d");
}

TEST_F(Foundation_MainQueue, RunExecutesWhatWasSubmittedBeforeItAndEndsAtStop) {
    std::string ran;
    queue.submit([&] { ran += 'a'; });
    queue.submit([&] { ran += 'b'; });
    queue.stop();
    queue.submit([&] { ran += 'c'; });
    queue.run();
    EXPECT_EQ(ran, "ab"); // what came after the stop waits
    EXPECT_TRUE(isReadable());
    EXPECT_EQ(queue.drain(), 1U);
    EXPECT_EQ(ran, "abc");
}

TEST_F(Foundation_MainQueue, StopFromAClosureEndsRunAfterWhatWasSubmittedBefore) {
    std::string ran;
    queue.submit([&] {
        queue.submit([&] { ran += 'b'; });
        queue.stop();
        queue.submit([&] { ran += 'c'; });
        ran += 'a';
    });
    queue.run();
    EXPECT_EQ(ran, "ab");
    queue.drain();
    EXPECT_EQ(ran, "abc");
}

TEST_F(Foundation_MainQueue, RunCanBeBegunAgain) {
    int runs = 0;
    for (int round = 0; round < 3; ++round) {
        queue.submit([&] {
            ++runs;
            queue.stop();
        });
        queue.run();
    }
    EXPECT_EQ(runs, 3);
    EXPECT_FALSE(isReadable());
}

TEST_F(Foundation_MainQueue, AClosureThatThrowsDoesNotEndRun) {
    const braq::tests::CapturedLog log;
    bool hasRun = false;
    queue.submit([] { throw std::runtime_error("broken"); });
    queue.submit([&] {
        hasRun = true;
        queue.stop();
    });
    queue.run();
    EXPECT_TRUE(hasRun);
    EXPECT_THAT(log.lines(), ElementsAre("(ERROR) BRAQMainQueue : broken"));
}

TEST_F(Foundation_MainQueue, StopEndsTheInnermostRunOnlyAndTwoStopsEndTwo) {
    std::string ran;
    queue.submit([&] {
        ran += '(';
        queue.run();
        ran += ')';
    });
    queue.submit([&] { ran += 'a'; });
    queue.stop();
    queue.stop();
    queue.submit([&] { ran += 'b'; });
    queue.run();
    EXPECT_EQ(ran, "(a)");
    queue.drain();
    EXPECT_EQ(ran, "(a)b");
}

TEST_F(Foundation_MainQueue, RunsNestedToAnyDepthEndOneByOne) {
    constexpr int depth = 10;
    std::string ran;
    for (int index = 0; index < depth; ++index) {
        queue.submit([&] {
            ran += '(';
            queue.run();
            ran += ')';
        });
    }
    for (int index = 0; index <= depth; ++index) {
        queue.stop();
    }
    queue.run();
    std::string nested(depth, '(');
    EXPECT_EQ(ran, nested.append(depth, ')'));
}

TEST_F(Foundation_MainQueue, AStopReachedByADrainInsideARunEndsThatRun) {
    std::string ran;
    queue.submit([&] {
        queue.stop();
        queue.submit([&] { ran += 'b'; });
        queue.drain(); // reaches the stop, and finishes what was waiting
        ran += 'a';
    });
    queue.submit([&] { ran += 'x'; });
    queue.run();
    EXPECT_EQ(ran, "xba");
}

TEST_F(Foundation_MainQueue, AStopThatADrainReachesWithoutARunIsDropped) {
    queue.stop();
    EXPECT_TRUE(isReadable());
    EXPECT_EQ(queue.drain(), 0U);
    EXPECT_FALSE(isReadable());
    bool hasRun = false;
    queue.submit([&] {
        hasRun = true;
        queue.stop();
    });
    queue.run();
    EXPECT_TRUE(hasRun);
}
