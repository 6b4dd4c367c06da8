#include "platform/hardware/drivers/software/SoftwareClockThread.h"

#include "BRAQAudio/platform/threads.h"
#include "platform/foundation/HostTime.h"

#include <semaphore.h>
#include <time.h>

#include <atomic>
#include <cerrno>
#include <utility>

namespace braq {
namespace {

constexpr UInt64 wholeSecond = 1'000'000'000; // in nanoseconds
// A machine that was suspended does not catch up on hours of cycles.
constexpr UInt64 longestDelayNanoseconds = wholeSecond / 2;

} // namespace

struct SoftwareClockThread::Run {
    explicit Run(std::shared_ptr<Client> of) : client(std::move(of)) {
        sem_init(&wake, 0, 0);
        sem_init(&isOver, 0, 0);
    }
    ~Run() {
        sem_destroy(&wake);
        sem_destroy(&isOver);
    }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    /// Sleeps until a time. @return false if the thread must end
    bool waitUntil(UInt64 hostTime) {
        const timespec until{static_cast<time_t>(hostTime / wholeSecond), static_cast<long>(hostTime % wholeSecond)};
        while (!mustEnd.load(std::memory_order_acquire)) {
            if (sem_clockwait(&wake, CLOCK_MONOTONIC, &until) != 0 && errno == ETIMEDOUT) {
                return true;
            }
        }
        return false;
    }

    const std::shared_ptr<Client> client;
    std::atomic<bool> mustEnd{false};
    sem_t wake{};   // posted with mustEnd
    sem_t isOver{}; // posted when the thread no longer touches the client
};

std::unique_ptr<SoftwareClockThread> SoftwareClockThread::start(std::shared_ptr<Client> client) {
    auto run = std::make_shared<Run>(std::move(client));
    auto argument = std::make_unique<std::shared_ptr<Run>>(run);
    BRAQThread thread;
    if (BRAQThreadStart(&thread, "BRAQ software", main, argument.get()) != 0) {
        return nullptr;
    }
    static_cast<void>(argument.release()); // owned by the thread
    return std::unique_ptr<SoftwareClockThread>(new SoftwareClockThread(std::move(run)));
}

SoftwareClockThread::SoftwareClockThread(std::shared_ptr<Run> run) : mRun(std::move(run)) {}

SoftwareClockThread::~SoftwareClockThread() {
    mRun->mustEnd.store(true, std::memory_order_release);
    sem_post(&mRun->wake);
    while (sem_wait(&mRun->isOver) != 0 && errno == EINTR) {
    }
}

void SoftwareClockThread::main(void* argument) {
    const std::unique_ptr<std::shared_ptr<Run>> given(static_cast<std::shared_ptr<Run>*>(argument));
    Run& run = **given;
    BRAQThreadMakeIO(BRAQThreadSelf());
    run.client->beginAt(monotonicTime()); // the time to get here must not delay a cycle
    while (run.waitUntil(run.client->nextCycleTime())) {
        const UInt64 now = monotonicTime();
        if (now > run.client->nextCycleTime() + longestDelayNanoseconds) {
            run.client->passOverUntil(now);
        }
        if (!run.client->runCycle()) {
            run.client->ended();
            break;
        }
    }
    sem_post(&run.isOver);
}

} // namespace braq
