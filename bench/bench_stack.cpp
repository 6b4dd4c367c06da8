// The lock-free hand-over list beside the least that it could be, a list written for one record type with the same 16-byte
// compare-and-swap, and beside Boost's stack.

#include "BRAQAudio/core/BAtomicStack.h"
#include "bench/Contest.h"
#include "bench/RealtimeStretch.h"

#if BRAQ_BENCH_HAS_BOOST
#include <boost/lockfree/stack.hpp>
#endif

#include <atomic>
#include <thread>
#include <vector>

namespace {

using braq::bench::Contest;

struct alignas(128) Record {
    Record* next = nullptr;
    std::atomic<bool> inProgress{false}; ///< pushed and not yet taken
};

/// Turns a chain round. @return its last record, linked through to its first
Record* reverse(Record* newest) {
    Record* reversed = nullptr;
    while (newest != nullptr) {
        Record* const next = newest->next;
        newest->next = reversed;
        reversed = newest;
        newest = next;
    }
    return reversed;
}

/// Gives every record of a chain back. @return how many there were
std::size_t giveBack(Record* record) {
    std::size_t count = 0;
    while (record != nullptr) {
        Record* const next = record->next;
        record->inProgress.store(false, std::memory_order_release);
        record = next;
        ++count;
    }
    return count;
}

BAtomicStackGetNext getNext() {
    return [](void* record) -> void* { return static_cast<Record*>(record)->next; };
}
BAtomicStackSetNext setNext() {
    return [](void* record, void* next) { static_cast<Record*>(record)->next = static_cast<Record*>(next); };
}

// Every list below has `push`, `isEmpty` and `take`, which takes what is there, oldest first where the list can, gives it
// back and answers how many records that was.

class Ours {
  public:
    Ours() { BAtomicStackInitialize(&mStack, getNext(), setNext()); }
    ~Ours() { BAtomicStackDealloc(&mStack); }
    Ours(const Ours&) = delete;
    Ours& operator=(const Ours&) = delete;

    void push(Record* record) { BAtomicStackPush(&mStack, record); }
    bool isEmpty() const { return BAtomicStackIsEmpty(&mStack); }
    std::size_t take() { return giveBack(static_cast<Record*>(BAtomicStackPopAllReversed(&mStack))); }

  protected:
    alignas(128) BAtomicStack mStack{};
};

class OursReversedByCaller : public Ours {
  public:
    std::size_t take() { return giveBack(reverse(static_cast<Record*>(BAtomicStackPopAll(&mStack)))); }
};

class Bare {
  public:
    void push(Record* record) {
        Word expected = load();
        do {
            record->next = headOf(expected);
        } while (!compareAndSwap(expected, wordOf(tagOf(expected) + 1, record)));
    }
    bool isEmpty() const { return headOf(load()) == nullptr; }
    std::size_t take() {
        Word expected = load();
        do {
            if (headOf(expected) == nullptr) {
                return 0;
            }
        } while (!compareAndSwap(expected, wordOf(tagOf(expected) + 1, nullptr)));
        return giveBack(reverse(headOf(expected)));
    }

  private:
    __extension__ typedef unsigned __int128 Word __attribute__((may_alias, aligned(16)));

    static UInt64 tagOf(Word word) { return static_cast<UInt64>(word); }
    static Record* headOf(Word word) {
        return reinterpret_cast<Record*>(static_cast<std::uintptr_t>(static_cast<UInt64>(word >> 64)));
    }
    static Word wordOf(UInt64 tag, Record* head) {
        return Word{tag} | (Word{reinterpret_cast<std::uintptr_t>(head)} << 64);
    }
    Word load() const {
        const UInt64 tag = __atomic_load_n(&mTag, __ATOMIC_ACQUIRE);
        return wordOf(tag, __atomic_load_n(&mHead, __ATOMIC_ACQUIRE));
    }
    bool compareAndSwap(Word& expected, Word desired) {
        const Word found = __sync_val_compare_and_swap(reinterpret_cast<Word*>(&mTag), expected, desired);
        const bool swapped = found == expected;
        expected = found;
        return swapped;
    }

    alignas(128) UInt64 mTag = 0;
    Record* mHead = nullptr;
};

#if BRAQ_BENCH_HAS_BOOST
constexpr std::size_t boostCapacity = 1024;

class Boost {
  public:
    void push(Record* record) {
        while (!mStack.push(record)) {
        }
    }
    bool isEmpty() const { return mStack.empty(); }
    std::size_t take() {
        std::size_t count = 0;
        for (Record* record = nullptr; mStack.pop(record); ++count) {
            record->inProgress.store(false, std::memory_order_release);
        }
        return count;
    }

  private:
    boost::lockfree::stack<Record*, boost::lockfree::capacity<boostCapacity>> mStack;
};
#endif

constexpr std::size_t recordsPerSlice = 1024;

/// As many records as are under way at most. They go round and round, as the buffers of a ring do.
struct Work {
    explicit Work(std::size_t recordsPerBatch) : records(recordsPerBatch) {}

    std::vector<Record> records;
    bool lost = false; ///< a batch did not come out as it went in
};

template <class List>
void pushAndTake(List& list, Work& work) {
    for (std::size_t pushed = 0; pushed < recordsPerSlice; pushed += work.records.size()) {
        for (Record& record : work.records) {
            record.inProgress.store(true, std::memory_order_relaxed);
            list.push(&record);
        }
        work.lost = work.lost || list.take() != work.records.size();
    }
}

/// What taking in order of arrival does besides, once a batch.
void makeTemporaryStack() {
    BAtomicStack* const stack = BAtomicStackCreate(getNext(), setNext());
    benchmark::DoNotOptimize(stack);
    BAtomicStackDestroy(stack);
}

void runContest(benchmark::State& state, Contest& contest, const Work& work) {
    contest.run(state, recordsPerSlice);
    if (work.lost) {
        state.SkipWithError("a batch did not come out as it went in");
    }
}

/// Above every thread that merely computes: where that is permitted, a busy machine does not take one of two spinning
/// threads away from the other.
constexpr int spinningPriority = 1;

/// What a loop that waits for another thread does each time round.
inline void letOtherThreadWork() {
#if defined(__x86_64__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    __asm__ volatile("yield");
#endif
}

/// Repeats `holds` until it does. After a while it lets others run: without that priority the other thread may wait for
/// this one's processor.
template <class Condition>
void spinUntil(Condition holds) {
    for (UInt32 looks = 1; !holds(); ++looks) {
        letOtherThreadWork();
        if (looks % 4096 == 0) {
            sched_yield();
        }
    }
}

/// A second thread that spins until it is given something to run, so that no wake-up is timed.
class SecondThread {
  public:
    ~SecondThread() {
        mStop.store(true);
        mThread.join();
    }
    SecondThread() = default;
    SecondThread(const SecondThread&) = delete;
    SecondThread& operator=(const SecondThread&) = delete;

    void begin(const std::function<void()>& job) { mJob.store(&job); }
    void awaitEnd() const {
        spinUntil([this] { return mJob.load() == nullptr; });
    }

  private:
    void run() {
        const braq::bench::RealtimeStretch realtime(spinningPriority);
        for (;;) {
            spinUntil([this] { return mJob.load() != nullptr || mStop.load(); });
            if (mStop.load()) {
                return;
            }
            (*mJob.load())();
            mJob.store(nullptr);
        }
    }

    std::atomic<bool> mStop{false};
    std::atomic<const std::function<void()>*> mJob{nullptr};
    std::thread mThread{[this] { run(); }};
};

/// The other thread pushes each record as soon as it has been given back; this one takes what is there.
template <class List>
void takeFromOther(List& list, Work& work, SecondThread& producer) {
    const std::function<void()> pushAll = [&] {
        for (std::size_t pushed = 0; pushed < recordsPerSlice; ++pushed) {
            Record& record = work.records[pushed % work.records.size()];
            spinUntil([&] { return !record.inProgress.load(std::memory_order_acquire); });
            record.inProgress.store(true, std::memory_order_relaxed);
            list.push(&record);
        }
    };
    producer.begin(pushAll);
    for (std::size_t taken = 0; taken < recordsPerSlice;) {
        spinUntil([&] { return !list.isEmpty(); });
        taken += list.take();
    }
    producer.awaitEnd();
}

void oneThread(benchmark::State& state) {
    Work work(static_cast<std::size_t>(state.range(0)));
    Contest contest;
    Ours ours;
    contest.add("ours", [&] { pushAndTake(ours, work); });
    contest.add(
        "ours less temporary stack", [&] { pushAndTake(ours, work); },
        [&] {
            for (std::size_t batches = recordsPerSlice / work.records.size(); batches != 0; --batches) {
                makeTemporaryStack();
            }
        });
    OursReversedByCaller reversedByCaller;
    contest.add("ours reversed by caller", [&] { pushAndTake(reversedByCaller, work); });
    Bare bare;
    contest.add("bare list", [&] { pushAndTake(bare, work); });
#if BRAQ_BENCH_HAS_BOOST
    Boost boost;
    contest.add("Boost stack", [&] { pushAndTake(boost, work); });
#endif
    runContest(state, contest, work);
}

void twoThreads(benchmark::State& state) {
    Work work(static_cast<std::size_t>(state.range(0)));
    const braq::bench::RealtimeStretch realtime(spinningPriority);
    SecondThread producer;
    Contest contest;
    Ours ours;
    contest.add("ours", [&] { takeFromOther(ours, work, producer); });
    OursReversedByCaller reversedByCaller;
    contest.add("ours reversed by caller", [&] { takeFromOther(reversedByCaller, work, producer); });
    Bare bare;
    contest.add("bare list", [&] { takeFromOther(bare, work, producer); });
#if BRAQ_BENCH_HAS_BOOST
    Boost boost;
    contest.add("Boost stack", [&] { takeFromOther(boost, work, producer); });
#endif
    runContest(state, contest, work);
}

void temporaryStack(benchmark::State& state) {
    Contest contest;
    contest.add("ours", [] {
        for (std::size_t i = 0; i < recordsPerSlice; ++i) {
            makeTemporaryStack();
        }
    });
    contest.run(state, recordsPerSlice);
}

BENCHMARK(oneThread)->Arg(1)->Arg(16)->Iterations(20)->UseManualTime();
BENCHMARK(twoThreads)->Arg(1)->Arg(16)->Iterations(20)->UseManualTime();
BENCHMARK(temporaryStack)->Iterations(20)->UseManualTime();

} // namespace
