// How long after a buffer is handed to the worker its processing block is entered, and how long handing it over takes,
// beside a bare futex and beside GLib's queue. The three are woken in turn.

#include "BRAQAudio/core/BAudioBufferQueueWorker.h"
#include "bench/Quantile.h"
#include "bench/RealtimeStretch.h"
#include "bench/Sleeper.h"
#include "tests/support/BusyThreads.h"

#include <benchmark/benchmark.h>

#if BRAQ_BENCH_HAS_GLIB
#include <glib.h>
#endif

#include <linux/futex.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

namespace {

using braq::bench::Clock;
using braq::bench::Sleeper;
using braq::bench::SleeperWithThread;
using braq::tests::BusyThreads;
using braq::tests::pin;
using braq::tests::processorCount;

class Worker final : public Sleeper {
  public:
    Worker()
        : mWorker(BAudioBufferQueueWorkerCreate()),
          mBuffer(BQueueableAudioBufferCreate([this](BQueueableAudioBuffer*) { noteAwake(); }, 1, 1)) {}
    ~Worker() override {
        BAudioBufferQueueWorkerTeardown(mWorker);
        BAudioBufferQueueWorkerDestroy(mWorker);
        BQueueableAudioBufferDestroy(mBuffer);
    }
    void wake() override { BAudioBufferQueueWorkerAddBuffer(mWorker, mBuffer); }
    thread_act_t thread() const override { return mWorker->mThread.mPort; }

  private:
    BAudioBufferQueueWorker* mWorker;
    BQueueableAudioBuffer* mBuffer;
};

class Futex final : public SleeperWithThread {
  public:
    Futex() { begin(); }
    ~Futex() override { end(); }
    void wake() override {
        mWord.store(1, std::memory_order_release);
        call(FUTEX_WAKE_PRIVATE, 1);
    }

  protected:
    void sleep() override {
        while (mWord.exchange(0, std::memory_order_acquire) == 0) {
            call(FUTEX_WAIT_PRIVATE, 0);
        }
    }

  private:
    void call(int operation, int value) { syscall(SYS_futex, &mWord, operation, value, nullptr, nullptr, 0); }

    std::atomic<UInt32> mWord{0};
};

#if BRAQ_BENCH_HAS_GLIB
class GLibQueue final : public SleeperWithThread {
  public:
    GLibQueue() : mQueue(g_async_queue_new()) { begin(); }
    ~GLibQueue() override {
        end();
        g_async_queue_unref(mQueue);
    }
    void wake() override { g_async_queue_push(mQueue, this); }

  protected:
    void sleep() override { g_async_queue_pop(mQueue); }

  private:
    GAsyncQueue* mQueue;
};
#endif

bool isRealtime(thread_act_t thread) { return (sched_getscheduler(thread) & ~SCHED_RESET_ON_FORK) == SCHED_FIFO; }

void makeTimeshared(thread_act_t thread) {
    const sched_param parameters{};
    sched_setscheduler(thread, SCHED_OTHER | SCHED_RESET_ON_FORK, &parameters);
    // Without permission for a real-time policy a worker got a lower nice value instead.
    setpriority(PRIO_PROCESS, static_cast<id_t>(thread), getpriority(PRIO_PROCESS, 0));
}

/// Gives `thread` the policy and priority that `model` has.
void scheduleAs(thread_act_t thread, thread_act_t model) {
    sched_param parameters{};
    sched_getparam(model, &parameters);
    sched_setscheduler(thread, sched_getscheduler(model), &parameters);
}

struct Contender {
    std::string name;
    std::unique_ptr<Sleeper> sleeper;
    std::vector<double> latencies{}; // nanoseconds
    std::vector<double> costs{};     // nanoseconds
};

double nanoseconds(Clock::duration duration) { return std::chrono::duration<double, std::nano>(duration).count(); }

void takeSample(Contender& contender) {
    // An I/O thread wakes workers after it has slept; the pause also lets the sleeper fall asleep again.
    constexpr std::chrono::microseconds pause{100};
    Sleeper& sleeper = *contender.sleeper;
    sleeper.forget();
    const Clock::time_point before = Clock::now();
    sleeper.wake();
    const Clock::time_point after = Clock::now();
    do {
        std::this_thread::sleep_for(pause);
    } while (!sleeper.isAwake());
    contender.latencies.push_back(nanoseconds(sleeper.awake() - before));
    contender.costs.push_back(nanoseconds(after - before));
}

void report(benchmark::State& state, Contender& contender) {
    auto& counters = state.counters;
    const std::string& name = contender.name;
    counters[name + ", median"] = braq::bench::quantile(contender.latencies, 0.5);
    counters[name + ", 99 %"] = braq::bench::quantile(contender.latencies, 0.99);
    counters[name + ", 99.9 %"] = braq::bench::quantile(contender.latencies, 0.999);
    counters[name + ", longest"] = braq::bench::quantile(contender.latencies, 1);
    counters[name + ", waking thread's cost"] = braq::bench::quantile(contender.costs, 0.5);
}

enum class Scheduling { realtime, timeshared };
enum class Processors { idle, busy };

// Left to itself the system puts a time-shared thread on the waking thread's processor or on another and leaves it there,
// which decides more than anything else: each is measured on its own. A real-time waking thread keeps its processor.
enum class Placement { free, other, same };

struct Circumstances {
    Scheduling scheduling;
    Processors processors;
    Placement placement;
};

std::vector<Contender> makeContenders() {
    std::vector<Contender> contenders;
    contenders.push_back({"ours", std::make_unique<Worker>()});
    contenders.push_back({"futex", std::make_unique<Futex>()});
#if BRAQ_BENCH_HAS_GLIB
    contenders.push_back({"GLib queue", std::make_unique<GLibQueue>()});
#endif
    return contenders;
}

/// The waking thread's part of the circumstances, until destroyed.
class WakingThread {
  public:
    explicit WakingThread(const Circumstances& circumstances) {
        sched_getaffinity(0, sizeof(mAffinity), &mAffinity);
        if (circumstances.placement != Placement::free) {
            pin(0, 0);
        }
        if (circumstances.scheduling == Scheduling::realtime) {
            mRealtime.emplace(BRAQThreadIOPriority);
        }
    }
    ~WakingThread() { sched_setaffinity(0, sizeof(mAffinity), &mAffinity); }
    WakingThread(const WakingThread&) = delete;
    WakingThread& operator=(const WakingThread&) = delete;

  private:
    cpu_set_t mAffinity{};
    std::optional<braq::bench::RealtimeStretch> mRealtime;
};

void takeSamples(benchmark::State& state, std::vector<Contender>& contenders) {
    // Every order in turn, so that nobody always comes after the same other one.
    std::vector<std::size_t> order(contenders.size());
    std::iota(order.begin(), order.end(), 0);
    for ([[maybe_unused]] auto iteration : state) {
        for (const std::size_t i : order) {
            takeSample(contenders[i]);
        }
        state.SetIterationTime(contenders.front().latencies.back() * 1e-9);
        std::next_permutation(order.begin(), order.end());
    }
}

void wake(benchmark::State& state, Circumstances circumstances) {
    if (circumstances.placement == Placement::other && processorCount() < 2) {
        state.SkipWithError("not shown: there is one processor only");
        return;
    }
    std::vector<Contender> contenders = makeContenders();
    const thread_act_t worker = contenders.front().sleeper->thread();
    if (circumstances.scheduling == Scheduling::timeshared) {
        makeTimeshared(worker);
    } else if (!isRealtime(worker)) {
        state.SkipWithError("not shown: real-time scheduling is not permitted");
        return;
    }
    for (const Contender& contender : contenders) {
        const thread_act_t thread = contender.sleeper->thread();
        scheduleAs(thread, worker);
        if (circumstances.placement != Placement::free) {
            pin(thread, circumstances.placement == Placement::same ? 0 : 1);
        }
    }
    std::optional<BusyThreads> busy;
    if (circumstances.processors == Processors::busy) {
        busy.emplace();
    }
    const WakingThread wakingThread(circumstances);
    takeSamples(state, contenders);
    for (Contender& contender : contenders) {
        report(state, contender);
    }
}

constexpr int rounds = 2000;
void inTurn(benchmark::internal::Benchmark* benchmark) { benchmark->Iterations(rounds)->UseManualTime(); }

constexpr Circumstances realtimeIdle{Scheduling::realtime, Processors::idle, Placement::free};
constexpr Circumstances realtimeBusy{Scheduling::realtime, Processors::busy, Placement::free};
constexpr Circumstances otherIdle{Scheduling::timeshared, Processors::idle, Placement::other};
constexpr Circumstances otherBusy{Scheduling::timeshared, Processors::busy, Placement::other};
constexpr Circumstances sameIdle{Scheduling::timeshared, Processors::idle, Placement::same};
constexpr Circumstances sameBusy{Scheduling::timeshared, Processors::busy, Placement::same};

BENCHMARK_CAPTURE(wake, realtime_idle, realtimeIdle)->Apply(inTurn);
BENCHMARK_CAPTURE(wake, realtime_busy, realtimeBusy)->Apply(inTurn);
BENCHMARK_CAPTURE(wake, timeshared_other_idle, otherIdle)->Apply(inTurn);
BENCHMARK_CAPTURE(wake, timeshared_other_busy, otherBusy)->Apply(inTurn);
BENCHMARK_CAPTURE(wake, timeshared_same_idle, sameIdle)->Apply(inTurn);
BENCHMARK_CAPTURE(wake, timeshared_same_busy, sameBusy)->Apply(inTurn);

} // namespace
