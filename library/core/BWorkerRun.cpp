#include "library/core/BWorkerRun.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"

#include <ctime>
#include <utility>

namespace braq {

namespace {

template <class Info>
integer_t basePriority(thread_act_t thread, UInt32 flavor) {
    Info info{};
    UInt32 count = sizeof(Info) / sizeof(integer_t);
    thread_info(thread, flavor, reinterpret_cast<integer_t*>(&info), &count);
    return info.base_priority;
}

integer_t basePriority(thread_act_t thread) {
    thread_basic_info basic{};
    UInt32 count = THREAD_BASIC_INFO_COUNT;
    thread_info(thread, THREAD_BASIC_INFO, reinterpret_cast<integer_t*>(&basic), &count);
    switch (basic.policy) {
    case POLICY_FIFO: return basePriority<policy_fifo_info>(thread, THREAD_SCHED_FIFO_INFO);
    case POLICY_RR: return basePriority<policy_rr_info>(thread, THREAD_SCHED_RR_INFO);
    case POLICY_TIMESHARE: return basePriority<policy_timeshare_info>(thread, THREAD_SCHED_TIMESHARE_INFO);
    default: return 0;
    }
}

} // namespace

std::atomic<WorkerPointHook> workerPointHook{nullptr};

bool startWorkerThread(BRAQThread* thread, const char* name, void (*main)(void*), void* worker) {
    constexpr integer_t highestBasePriority = 63;
    const integer_t creatorPriority = basePriority(BRAQThreadSelf());
    if (BRAQThreadStart(thread, name, main, worker) != 0) {
        return false;
    }
    // Better scheduling is desirable, not required. The log says what the thread got.
    const thread_extended_policy extended{.timeshare = 0};
    thread_policy_set(thread->mPort, THREAD_EXTENDED_POLICY, &extended.timeshare, THREAD_EXTENDED_POLICY_COUNT);
    const thread_precedence_policy precedence{.importance = highestBasePriority - creatorPriority};
    thread_policy_set(thread->mPort, THREAD_PRECEDENCE_POLICY, &precedence.importance, THREAD_PRECEDENCE_POLICY_COUNT);
    return true;
}

void* takePending(BAtomicStack* pending) noexcept {
    void* oldest = nullptr;
    for (void* record = BAtomicStackPopAll(pending); record != nullptr;) {
        void* const older = pending->mGetNext(record);
        pending->mSetNext(record, oldest);
        oldest = record;
        record = older;
    }
    return oldest;
}

void keepWorkerError(BWorkerErrors& errors, const char* file, WorkerLog log,
                     const std::exception_ptr& exception) noexcept {
    const bool follows = std::exchange(errors.mFailing, true);
    try {
        const auto error = NSXErrorFromException(exception);
        {
            const std::lock_guard lock(errors.mMutex);
            errors.mLast = error;
        }
        if (!follows || log == WorkerLog::everyFailure) {
            NSXLogError(file, error->localizedDescription());
        }
    } catch (...) {
        // Out of memory for a log line; the worker continues.
    }
}

bool lastWorkerError(BWorkerErrors& errors, std::shared_ptr<NSError>* error) {
    const std::lock_guard lock(errors.mMutex);
    if (errors.mLast == nullptr) {
        return false;
    }
    if (error != nullptr) {
        *error = errors.mLast;
    }
    return true;
}

void WorkerExit::announce() const {
    pthread_mutex_lock(&mutex);
    exited.store(true, std::memory_order_release);
    pthread_cond_signal(&condition);
    pthread_mutex_unlock(&mutex);
}

void WorkerExit::await() const {
    pthread_mutex_lock(&mutex);
    while (!exited.load(std::memory_order_acquire)) {
        pthread_cond_wait(&condition, &mutex);
    }
    pthread_mutex_unlock(&mutex);
}

void WorkerExit::waitAMillisecond() const {
    constexpr long nanosecondsPerSecond = 1'000'000'000;
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_nsec += nanosecondsPerSecond / 1000;
    deadline.tv_sec += deadline.tv_nsec / nanosecondsPerSecond;
    deadline.tv_nsec %= nanosecondsPerSecond;
    pthread_cond_clockwait(&condition, &mutex, CLOCK_MONOTONIC, &deadline);
}

} // namespace braq
