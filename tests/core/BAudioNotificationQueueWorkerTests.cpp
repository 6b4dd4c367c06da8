#include "BRAQAudio/core/BAudioNotificationQueueWorker.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/RealtimeGuard.h"
#include "tests/support/WorkerHold.h"

#include <gmock/gmock.h>

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <memory>
#include <semaphore>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using braq::WorkerPoint;
using braq::tests::WorkerHold;
using testing::ElementsAre;

struct DestroyNotificationWorker {
    void operator()(BAudioNotificationQueueWorker* worker) const {
        BAudioNotificationQueueWorkerTeardown(worker);
        BAudioNotificationQueueWorkerDestroy(worker);
    }
};
struct DestroyNotification {
    void operator()(BQueueableAudioNotification* notification) const {
        BQueueableAudioNotificationDestroy(notification);
    }
};
using OwnedNotificationWorker = std::unique_ptr<BAudioNotificationQueueWorker, DestroyNotificationWorker>;
using OwnedNotification = std::unique_ptr<BQueueableAudioNotification, DestroyNotification>;

OwnedNotification notificationThat(BQueueableAudioNotificationBlock block) {
    return OwnedNotification(BQueueableAudioNotificationCreate(block));
}

class NotificationWorker : public testing::Test {
  protected:
    OwnedNotification recordingNotification(char name) {
        return notificationThat([this, name](BQueueableAudioNotification*) { run.push_back(name); });
    }
    void add(const OwnedNotification& notification) {
        BAudioNotificationQueueWorkerAddNotification(worker.get(), notification.get());
    }
    // A signal that finds the worker not waiting is lost, so its owner signals until it is done.
    void signalUntilDone(const OwnedNotification& notification) {
        while (BQueueableAudioNotificationInProgress(notification.get())) {
            BAudioNotificationQueueWorkerStop(worker.get());
            std::this_thread::yield();
        }
    }

    std::vector<char> run; // written by the worker, read when the notification is done
    std::binary_semaphore entered{0};
    std::binary_semaphore proceed{0};
    OwnedNotification blocker = notificationThat([this](BQueueableAudioNotification*) {
        run.push_back('-');
        entered.release();
        proceed.acquire();
    });
    OwnedNotification a = recordingNotification('A');
    OwnedNotification b = recordingNotification('B');
    OwnedNotification c = recordingNotification('C');
    OwnedNotificationWorker worker{
        BAudioNotificationQueueWorkerCreate()}; // last, so that it ends before the notifications
};

TEST_F(NotificationWorker, RunsNotificationsInTheOrderInWhichTheyWereAdded) {
    for (int i = 0; i < 100; ++i) {
        run.clear();
        // Holding the guard keeps the worker from taking the first before the second is there.
        BMutexLock(&worker->mWakeGuard->mMutex);
        add(a);
        add(b);
        EXPECT_TRUE(BQueueableAudioNotificationInProgress(a.get()));
        BMutexUnlock(&worker->mWakeGuard->mMutex);
        signalUntilDone(b);
        ASSERT_THAT(run, ElementsAre('A', 'B'));
    }
}

TEST_F(NotificationWorker, RunsThemWithTheGuardHeld) {
    bool owned = false;
    const auto looking = notificationThat(
        [&](BQueueableAudioNotification*) { owned = BMutexIsOwnedByCurrentThread(&worker->mWakeGuard->mMutex); });
    add(looking);
    signalUntilDone(looking);
    EXPECT_TRUE(owned);
}

TEST_F(NotificationWorker, NamesItsGuardAfterItsThread) {
    EXPECT_THAT(std::string(worker->mWakeGuard->mMutex.mName), testing::EndsWith("worker_thread"));
}

TEST_F(NotificationWorker, DoesNotTakeANotificationAgainThatIsStillInProgress) {
    add(blocker);
    while (!entered.try_acquire()) {
        BAudioNotificationQueueWorkerStop(worker.get());
        std::this_thread::yield();
    }
    add(blocker);
    add(blocker);
    EXPECT_TRUE(BAtomicStackIsEmpty(worker->mPendingStack));
    proceed.release();
    signalUntilDone(blocker);
    EXPECT_THAT(run, ElementsAre('-'));
}

TEST_F(NotificationWorker, TakesANotificationAgainOnceItIsDone) {
    for (int i = 0; i < 3; ++i) {
        add(a);
        signalUntilDone(a);
    }
    EXPECT_THAT(run, ElementsAre('A', 'A', 'A'));
}

// The signal of an addition to a busy worker is lost: nobody waits for it.
TEST_F(NotificationWorker, RunsWhatWasAddedWhileItWasBusyWithoutAnotherSignal) {
    add(blocker);
    while (!entered.try_acquire()) {
        BAudioNotificationQueueWorkerStop(worker.get());
        std::this_thread::yield();
    }
    add(a);
    proceed.release();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (BQueueableAudioNotificationInProgress(a.get()) && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
    signalUntilDone(a); // so that the test ends if it fails
    EXPECT_LT(std::chrono::steady_clock::now(), deadline);
    EXPECT_THAT(run, ElementsAre('-', 'A'));
}

TEST_F(NotificationWorker, KeepsPendingWhatWasAddedWhileItWasNotWaiting) {
    WorkerHold hold(WorkerPoint::beforeWait);
    add(a);
    signalUntilDone(a); // sends the worker round to the point where it is held
    hold.waitUntilHeld();
    add(b);
    EXPECT_FALSE(BAtomicStackIsEmpty(worker->mPendingStack));
    hold.release();
    signalUntilDone(b);
    EXPECT_THAT(run, ElementsAre('A', 'B'));
}

TEST_F(NotificationWorker, HeldAfterClearingAFlagItRunsWhatWasBehindAlthoughTheNotificationWasAddedAgain) {
    WorkerHold hold(WorkerPoint::flagCleared, a.get());
    BMutexLock(&worker->mWakeGuard->mMutex);
    add(a);
    add(b);
    BMutexUnlock(&worker->mWakeGuard->mMutex);
    while (BQueueableAudioNotificationInProgress(a.get())) {
        BAudioNotificationQueueWorkerStop(worker.get());
        std::this_thread::yield();
    }
    hold.waitUntilHeld();
    add(a);
    hold.release();
    signalUntilDone(b);
    signalUntilDone(a);
    EXPECT_THAT(run, ElementsAre('A', 'B', 'A'));
}

// A notification in the test's own memory: once destroyed, its link leads to what must not be looked at.
TEST_F(NotificationWorker, DoesNotTouchANotificationWhoseFlagItHasCleared) {
    alignas(BQueueableAudioNotification) std::byte storage[sizeof(BQueueableAudioNotification)]{};
    auto* const destroyed = reinterpret_cast<BQueueableAudioNotification*>(storage);
    BQueueableAudioNotificationInitialize(destroyed, [this](BQueueableAudioNotification*) { run.push_back('D'); });
    WorkerHold hold(WorkerPoint::flagCleared, destroyed);
    BMutexLock(&worker->mWakeGuard->mMutex);
    BAudioNotificationQueueWorkerAddNotification(worker.get(), destroyed);
    add(b);
    BMutexUnlock(&worker->mWakeGuard->mMutex);
    while (BQueueableAudioNotificationInProgress(destroyed)) {
        BAudioNotificationQueueWorkerStop(worker.get());
        std::this_thread::yield();
    }
    hold.waitUntilHeld();
    BQueueableAudioNotificationDealloc(destroyed);
    BQueueableAudioNotificationSetNext(destroyed, c.get());
    hold.release();
    signalUntilDone(b);
    EXPECT_THAT(run, ElementsAre('D', 'B'));
}

TEST_F(NotificationWorker, IgnoresNone) {
    BAudioNotificationQueueWorkerAddNotification(worker.get(), nullptr);
    EXPECT_TRUE(BAtomicStackIsEmpty(worker->mPendingStack));
    add(a);
    signalUntilDone(a);
    EXPECT_THAT(run, ElementsAre('A'));
}

TEST_F(NotificationWorker, SurvivesABlockThatThrows) {
    const braq::tests::CapturedLog log;
    const auto thrower = notificationThat([](BQueueableAudioNotification*) { throw std::runtime_error("no"); });
    for (int i = 0; i < 2; ++i) {
        add(thrower);
        signalUntilDone(thrower);
    }
    add(a);
    signalUntilDone(a);
    EXPECT_THAT(run, ElementsAre('A'));
    EXPECT_THAT(log.errors(), ElementsAre("(ERROR) BAudioNotificationQueueWorker : no",
                                          "(ERROR) BAudioNotificationQueueWorker : no"));
    std::shared_ptr<NSError> error;
    ASSERT_TRUE(BAudioNotificationQueueWorkerLastError(worker.get(), &error));
    EXPECT_EQ(error->localizedDescription(), "no");
}

TEST_F(NotificationWorker, TakesNotificationsFromARealtimeThread) {
    braq::tests::runRealtime([this] { add(a); });
    signalUntilDone(a);
    EXPECT_THAT(run, ElementsAre('A'));
}

TEST_F(NotificationWorker, TeardownReturnsAfterTheThreadHasSaidItExits) {
    BAudioNotificationQueueWorkerStart(worker.get());
    BAudioNotificationQueueWorkerTeardown(worker.get());
    EXPECT_TRUE(worker->mExited);
    BAudioNotificationQueueWorkerTeardown(worker.get()); // a second one returns
    EXPECT_TRUE(worker->mExited);
}

TEST_F(NotificationWorker, ASecondTeardownDoesNotWaitForTheFirst) {
    add(blocker);
    while (!entered.try_acquire()) {
        BAudioNotificationQueueWorkerStop(worker.get());
        std::this_thread::yield();
    }
    std::thread first([this] { BAudioNotificationQueueWorkerTeardown(worker.get()); });
    while (!worker->mStopRequested) {
        std::this_thread::yield();
    }
    BAudioNotificationQueueWorkerTeardown(worker.get());
    EXPECT_FALSE(worker->mExited) << "the thread is still at a notification";
    proceed.release();
    first.join();
    EXPECT_TRUE(worker->mExited);
}

TEST_F(NotificationWorker, TeardownLeavesWhatIsPendingInProgress) {
    add(blocker);
    while (!entered.try_acquire()) {
        BAudioNotificationQueueWorkerStop(worker.get());
        std::this_thread::yield();
    }
    add(a);
    std::thread teardown([this] { BAudioNotificationQueueWorkerTeardown(worker.get()); });
    while (!worker->mStopRequested) {
        std::this_thread::yield();
    }
    proceed.release();
    teardown.join();
    EXPECT_TRUE(BQueueableAudioNotificationInProgress(a.get()));
    EXPECT_THAT(run, ElementsAre('-'));
}

TEST(NotificationWorkers, TeardownEndsAWorkerThatMissedItsSignalOnTheWayToItsWait) {
    WorkerHold hold(WorkerPoint::beforeWait);
    auto* const worker = BAudioNotificationQueueWorkerCreate();
    hold.waitUntilHeld(); // stop was looked at; the wait is not begun
    std::atomic<bool> ended = false;

    // Waiting on the guard in the worker's place shows that a signal of the teardown came while the worker was held.
    BMutexLock(&worker->mWakeGuard->mMutex);
    std::thread teardown([&] {
        BAudioNotificationQueueWorkerTeardown(worker);
        ended = true;
    });
    while (!worker->mStopRequested) {
        BGuardWait(worker->mWakeGuard);
    }
    BMutexUnlock(&worker->mWakeGuard->mMutex);
    EXPECT_FALSE(ended);

    hold.release();
    teardown.join();
    EXPECT_TRUE(worker->mExited);
    BAudioNotificationQueueWorkerDestroy(worker);
}

TEST(NotificationWorkers, AreNotifiedByAnAddition) {
    WorkerHold hold(WorkerPoint::beforeWait);
    const auto nothing = notificationThat([](BQueueableAudioNotification*) {});
    const OwnedNotificationWorker worker(BAudioNotificationQueueWorkerCreate());
    hold.waitUntilHeld();

    // Waiting in the worker's place, for a while. Adding again what is in progress notifies again.
    BGuard& guard = *worker->mWakeGuard;
    pthread_mutex_lock(&guard.mMutex.mMutex);
    std::atomic<bool> isOver = false;
    std::thread adder([&] {
        while (!isOver) {
            BAudioNotificationQueueWorkerAddNotification(worker.get(), nothing.get());
            std::this_thread::yield();
        }
    });
    timespec deadline{};
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += 30;
    EXPECT_EQ(pthread_cond_timedwait(&guard.mCondition, &guard.mMutex.mMutex, &deadline), 0);
    isOver = true;
    pthread_mutex_unlock(&guard.mMutex.mMutex);
    adder.join();
    hold.release();
}

TEST(NotificationWorkers, CanBeMadeAndEndedManyTimes) {
    for (int i = 0; i < 200; ++i) {
        const OwnedNotificationWorker worker(BAudioNotificationQueueWorkerCreate());
    }
}

} // namespace
