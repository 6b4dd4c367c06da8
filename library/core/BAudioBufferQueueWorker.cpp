#include "BRAQAudio/core/BAudioBufferQueueWorker.h"

#include "library/core/BRecord.h"
#include "library/core/BWorkerRun.h"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>

namespace {

constexpr const char* file = "BAudioBufferQueueWorker";

BAtomicStack* createPendingStack() {
    return BAtomicStackCreate(
        [](void* record) -> void* { return BQueueableAudioBufferNext(static_cast<BQueueableAudioBuffer*>(record)); },
        [](void* record, void* next) {
            BQueueableAudioBufferSetNext(static_cast<BQueueableAudioBuffer*>(record),
                                         static_cast<BQueueableAudioBuffer*>(next));
        });
}

braq::WorkerExit exitOf(BAudioBufferQueueWorker* worker) {
    return {worker->mExitMutex, worker->mExitCondition, worker->mExited};
}

bool stopRequested(const BAudioBufferQueueWorker* worker) {
    return worker->mStopRequested.load(std::memory_order_acquire);
}

void waitForWake(BAudioBufferQueueWorker* worker) {
    while (sem_wait(&worker->mWakeSemaphore) != 0 && errno == EINTR) {
    }
}

// Clears the flag of a processed buffer. The link is read after that, deliberately: the real-time side may queue the
// buffer again in between, and its link then belongs to the stack. So the link is read before that, too; it is the one
// that leads to the rest of the chain.
// @return the next buffer of the chain, or null
BQueueableAudioBuffer* handBack(BQueueableAudioBuffer* buffer) {
    BQueueableAudioBuffer* const nextOfChain = BQueueableAudioBufferNext(buffer);
    BQueueableAudioBufferSetInProgress(buffer, false);
    braq::passWorkerPoint(braq::WorkerPoint::flagCleared, buffer);
    BQueueableAudioBuffer* const next = BQueueableAudioBufferNext(buffer);
    const bool wasQueuedAgain = next != nextOfChain;
    return wasQueuedAgain ? nextOfChain : next;
}

void processChain(BAudioBufferQueueWorker* worker, BQueueableAudioBuffer* oldest) {
    for (BQueueableAudioBuffer* buffer = oldest; buffer != nullptr; buffer = handBack(buffer)) {
        braq::runBlock(buffer->mProcessingBlock, buffer, worker->mErrors, file, braq::WorkerLog::firstOfARun);
    }
}

// Wakes threads that wait for the worker to be idle.
void countPasses(BAudioBufferQueueWorker* worker, UInt32 halves) {
    worker->mPasses.fetch_add(halves, std::memory_order_release);
    worker->mPasses.notify_all();
}

// The count turns odd before anything is taken off the stack, so that a thread that finds the stack empty also sees the
// pass.
void runPass(BAudioBufferQueueWorker* worker) {
    worker->mPasses.fetch_add(1, std::memory_order_release);
    while (!stopRequested(worker) && !BAtomicStackIsEmpty(worker->mPendingStack)) {
        processChain(worker, static_cast<BQueueableAudioBuffer*>(braq::takePending(worker->mPendingStack)));
    }
    countPasses(worker, 1);
}

void workerMain(void* argument) {
    auto* worker = static_cast<BAudioBufferQueueWorker*>(argument);
    while (!stopRequested(worker)) {
        waitForWake(worker);
        runPass(worker);
    }
    countPasses(worker, 2); // the worker being waited for is stopped
    exitOf(worker).announce();
}

} // namespace

BAudioBufferQueueWorker* BAudioBufferQueueWorkerCreate(void) {
    return braq::createRecord<BAudioBufferQueueWorker>(BAudioBufferQueueWorkerInitialize);
}

bool BAudioBufferQueueWorkerInitialize(BAudioBufferQueueWorker* worker) {
    worker->mPendingStack = createPendingStack();
    if (worker->mPendingStack == nullptr) {
        return false;
    }
    sem_init(&worker->mWakeSemaphore, 0, 0);
    new (&worker->mStopRequested) std::atomic<bool>(false);
    new (&worker->mExited) std::atomic<bool>(false);
    pthread_mutex_init(&worker->mExitMutex, nullptr);
    pthread_cond_init(&worker->mExitCondition, nullptr);
    new (&worker->mPasses) std::atomic<UInt32>(0);
    new (&worker->mErrors) BWorkerErrors();
    if (!braq::startWorkerThread(&worker->mThread, "BRAQ buffers", workerMain, worker)) {
        BAudioBufferQueueWorkerDealloc(worker);
        return false;
    }
    return true;
}

void BAudioBufferQueueWorkerDealloc(BAudioBufferQueueWorker* worker) {
    std::destroy_at(&worker->mErrors);
    BAtomicStackDestroy(worker->mPendingStack);
    sem_destroy(&worker->mWakeSemaphore);
}

void BAudioBufferQueueWorkerDestroy(BAudioBufferQueueWorker* worker) {
    BAudioBufferQueueWorkerDealloc(worker);
    std::free(worker);
}

void BAudioBufferQueueWorkerStart(BAudioBufferQueueWorker* /*worker*/) {}

void BAudioBufferQueueWorkerStop(BAudioBufferQueueWorker* worker) { sem_post(&worker->mWakeSemaphore); }

void BAudioBufferQueueWorkerAddBuffer(BAudioBufferQueueWorker* worker, BQueueableAudioBuffer* buffer) noexcept {
    BQueueableAudioBufferSetInProgress(buffer, true);
    BAtomicStackPush(worker->mPendingStack, buffer);
    sem_post(&worker->mWakeSemaphore);
}

void BAudioBufferQueueWorkerTeardown(BAudioBufferQueueWorker* worker) {
    if (worker->mStopRequested.exchange(true)) {
        return;
    }
    sem_post(&worker->mWakeSemaphore);
    exitOf(worker).await();
}

void BAudioBufferQueueWorkerWaitUntilIdle(BAudioBufferQueueWorker* worker) {
    while (!stopRequested(worker)) {
        const UInt32 before = worker->mPasses.load(std::memory_order_acquire);
        const bool pending = !BAtomicStackIsEmpty(worker->mPendingStack);
        const UInt32 after = worker->mPasses.load(std::memory_order_acquire);
        const bool inPass = after % 2 != 0;
        if (!pending && !inPass) {
            return;
        }
        // Returns at once if a pass began or ended between the two checks, which are then inconsistent.
        worker->mPasses.wait(before, std::memory_order_acquire);
    }
}

bool BAudioBufferQueueWorkerLastError(BAudioBufferQueueWorker* worker, std::shared_ptr<NSError>* error) {
    return braq::lastWorkerError(worker->mErrors, error);
}
