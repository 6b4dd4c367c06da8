#include "BRAQAudio/platform/foundation/BRAQMainQueue.h"

#include "tests/platform/foundation/MainQueueFixture.h"

#include <array>
#include <atomic>
#include <future>
#include <thread>
#include <vector>

namespace {

constexpr int submitterCount = 4;
constexpr int closureCount = 1000; // of each submitter

class Foundation_MainQueueThreads : public MainQueueTest {
  protected:
    /// Starts threads that submit closures, each with its own number; `atTheEnd` runs in the last closure of all.
    void startSubmitters(const std::function<void()>& atTheEnd) {
        for (std::size_t index = 0; index < submitterCount; ++index) {
            mSubmitters.emplace_back([this, index, atTheEnd] {
                for (int number = 0; number < closureCount; ++number) {
                    queue.submit([this, index, number, atTheEnd] { note(index, number, atTheEnd); });
                }
            });
        }
    }

    void finish() {
        for (std::thread& submitter : mSubmitters) {
            submitter.join();
        }
        EXPECT_EQ(mTotal, submitterCount * closureCount);
        EXPECT_EQ(mOutOfOrder, 0);
        EXPECT_FALSE(isReadable());
    }

    bool isDone() const { return mIsDone; }

  private:
    // The fields are unguarded on purpose: the queue promises that closures run one after the other.
    void note(std::size_t submitter, int number, const std::function<void()>& atTheEnd) {
        mOutOfOrder += mNext[submitter]++ != number ? 1 : 0;
        if (++mTotal == submitterCount * closureCount) {
            mIsDone = true;
            atTheEnd();
        }
    }

    std::vector<std::thread> mSubmitters;
    std::array<int, submitterCount> mNext{};
    int mTotal = 0;
    int mOutOfOrder = 0;
    std::atomic<bool> mIsDone = false;
};

} // namespace

TEST_F(Foundation_MainQueueThreads, RunLosesNothingAndKeepsEachThreadsOrder) {
    startSubmitters([this] { queue.stop(); });
    queue.run();
    finish();
}

TEST_F(Foundation_MainQueueThreads, APollLoopLosesNothingAndKeepsEachThreadsOrder) {
    startSubmitters([] {});
    while (!isDone()) {
        pollfd watched = {queue.fileDescriptor(), POLLIN, 0};
        ASSERT_EQ(::poll(&watched, 1, -1), 1);
        EXPECT_GT(queue.drain(), 0U);
    }
    finish();
}

TEST_F(Foundation_MainQueueThreads, TwoThreadsThatDrainAtOnceDoNotBreakTheOrder) {
    startSubmitters([] {});
    const auto drain = [this] {
        while (!isDone()) {
            queue.drain();
        }
    };
    std::thread other(drain);
    drain();
    other.join();
    finish();
}

TEST_F(Foundation_MainQueueThreads, TwoThreadsThatRunAtOnceAreBothEndedByTwoStops) {
    startSubmitters([this] {
        queue.stop();
        queue.stop();
    });
    std::thread other([this] { queue.run(); });
    queue.run(); // a run that ends leaves the other stop to the other run, also when that one has not begun yet
    other.join();
    finish();
}

TEST_F(Foundation_MainQueueThreads, StopFromAnotherThreadEndsARunThatWaits) {
    std::promise<void> isRunning;
    queue.submit([&] { isRunning.set_value(); });
    std::thread stopping([&] {
        isRunning.get_future().wait();
        queue.stop();
    });
    queue.run();
    stopping.join();
    EXPECT_FALSE(isReadable());
}

TEST_F(Foundation_MainQueueThreads, ADrainOnASecondThreadWaitsUntilTheFirstIsDone) {
    std::promise<void> isInside;
    std::promise<void> mayLeave;
    bool isOver = false; // unguarded on purpose: the second closure runs after the first
    bool wasOver = false;
    queue.submit([&] {
        isInside.set_value();
        mayLeave.get_future().wait();
        isOver = true;
    });
    std::thread first([this] { queue.drain(); });
    isInside.get_future().wait();
    queue.submit([&] { wasOver = isOver; });
    auto second = std::async(std::launch::async, [this] { return queue.drain(); });
    EXPECT_EQ(second.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    mayLeave.set_value();
    EXPECT_EQ(second.get(), 1U); // the first drain began before the second closure was submitted
    first.join();
    EXPECT_TRUE(wasOver);
}
