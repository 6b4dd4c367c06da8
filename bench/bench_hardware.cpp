// What a device cycle costs beyond the procedures in it, what mixing costs, and how late cycles begin.

#include "BRAQAudio/platform/BRAQSoftwareDevice.h"
#include "BRAQAudio/platform/threads.h"
#include "bench/Contest.h"
#include "platform/foundation/HostTime.h"
#include "platform/hardware/DeviceIO.h"
#include "platform/hardware/drivers/Drivers.h"
#include "platform/hardware/drivers/software/SoftwareDriver.h"
#include "tests/support/BusyThreads.h"

#include <benchmark/benchmark.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

using braq::IODirections;
using braq::IOProcedureID;
using braq::IOSlice;
using braq::bench::Contest;

constexpr UInt32 channels = 2;

/// Keeps the machine's own sound out of what is measured.
const bool softwareOnly = [] {
    braq::replaceDrivers([] {
        std::vector<std::unique_ptr<braq::Driver>> drivers;
        drivers.push_back(braq::makeSoftwareDriver());
        return drivers;
    });
    return true;
}();

std::shared_ptr<BRAQSoftwareDevice> makeDevice(BRAQSoftwareClock clock, UInt32 frames) {
    static int made = 0;
    BRAQSoftwareDeviceOptions options;
    options.uid = "bench " + std::to_string(++made);
    options.clock = clock;
    options.sampleRate = 96000.0;
    options.bufferFrames = frames;
    return BRAQSoftwareDevice::deviceWithOptions(options);
}

void doNothing(void* /*context*/, const IOSlice& /*slice*/) {}

/// Procedures on a device that run until this is destroyed.
class Procedures {
  public:
    Procedures(AudioDeviceID device, std::size_t count, braq::IOProcedure procedure = doNothing,
               void* context = nullptr)
        : mDevice(device) {
        for (std::size_t i = 0; i < count; ++i) {
            mIDs.push_back(0);
            braq::addIOProcedure(mDevice, IODirections::playback, procedure, context, &mIDs.back());
            braq::startIOProcedure(mDevice, mIDs.back());
        }
    }
    ~Procedures() {
        for (const IOProcedureID id : mIDs) {
            braq::removeIOProcedure(mDevice, id);
        }
    }
    Procedures(const Procedures&) = delete;
    Procedures& operator=(const Procedures&) = delete;

  private:
    const AudioDeviceID mDevice;
    std::vector<IOProcedureID> mIDs;
};

/// What is in every cycle: silence to record and silence to play into.
class Silence {
  public:
    explicit Silence(UInt32 frames) : mSamples(std::size_t{2} * channels, std::vector<Float32>(frames)) {}
    void fill() {
        for (auto& channel : mSamples) {
            std::fill(channel.begin(), channel.end(), 0.0F);
            benchmark::DoNotOptimize(channel.data());
        }
    }

  private:
    std::vector<std::vector<Float32>> mSamples;
};

void cycle(benchmark::State& state) {
    constexpr int cyclesPerSlice = 200;
    const auto frames = static_cast<UInt32>(state.range(0));
    const auto device = makeDevice(BRAQSoftwareClock::stepped, frames);
    const Procedures procedures(device->deviceID(), 1);
    Silence silence(frames);
    Contest contest;
    contest.add("ours", [&] {
        for (int i = 0; i < cyclesPerSlice; ++i) {
            device->step(frames);
        }
    });
    contest.add("silence", [&] {
        for (int i = 0; i < cyclesPerSlice; ++i) {
            silence.fill();
        }
    });
    contest.run(state, cyclesPerSlice);
}

/// Adds one more player's samples, in the plainest way.
void addPlayer(std::vector<Float32>& player, std::vector<Float32>& sum) {
    std::fill(player.begin(), player.end(), 0.0F);
    benchmark::DoNotOptimize(player.data());
    for (std::size_t i = 0; i < sum.size(); ++i) {
        sum[i] += player[i];
    }
    benchmark::DoNotOptimize(sum.data());
}

void mix(benchmark::State& state) {
    constexpr int cyclesPerSlice = 50;
    constexpr std::size_t morePlayers = 8;
    constexpr UInt32 frames = 512;
    const auto one = makeDevice(BRAQSoftwareClock::stepped, frames);
    const auto many = makeDevice(BRAQSoftwareClock::stepped, frames);
    const Procedures alone(one->deviceID(), 1);
    const Procedures together(many->deviceID(), 1 + morePlayers);
    std::vector<Float32> player(std::size_t{channels} * frames);
    std::vector<Float32> sum(std::size_t{channels} * frames);
    const auto step = [](BRAQSoftwareDevice& device) {
        for (int i = 0; i < cyclesPerSlice; ++i) {
            device.step(frames);
        }
    };
    Contest contest;
    contest.add(
        "ours", [&] { step(*many); }, [&] { step(*one); });
    contest.add("add loop", [&] {
        for (std::size_t i = 0; i < cyclesPerSlice * morePlayers; ++i) {
            addPlayer(player, sum);
        }
    });
    contest.run(state, static_cast<double>(cyclesPerSlice * morePlayers) * frames);
}

/// How late each of a number of cycles begins, in nanoseconds.
class Lateness {
  public:
    explicit Lateness(std::size_t cycles) : mCycles(cycles) { mNanoseconds.reserve(cycles); }

    /// @realtime
    void note(UInt64 due) noexcept {
        if (mNanoseconds.size() < mCycles) {
            mNanoseconds.push_back(static_cast<double>(braq::monotonicTime() - due));
            if (mNanoseconds.size() == mCycles) {
                mDone.set_value();
            }
        }
    }
    void wait() { mDone.get_future().wait(); }
    const std::vector<double>& nanoseconds() const { return mNanoseconds; }

  private:
    const std::size_t mCycles;
    std::vector<double> mNanoseconds;
    std::promise<void> mDone;
};

void runDevice(UInt32 frames, Lateness& lateness) {
    const auto device = makeDevice(BRAQSoftwareClock::monotonic, frames);
    const auto note = [](void* to, const IOSlice& slice) { static_cast<Lateness*>(to)->note(slice.time.mHostTime); };
    const Procedures procedures(device->deviceID(), 1, note, &lateness);
    lateness.wait();
}

/// A thread that does nothing but sleep from one cycle to the next.
void runBareThread(UInt32 frames, Lateness& lateness) {
    constexpr UInt64 second = 1'000'000'000;
    struct Run {
        UInt64 period;
        Lateness& lateness;
        std::promise<void> isOver{};
    } run{frames * second / 96000, lateness};
    BRAQThread thread;
    const auto main = [](void* argument) {
        Run& my = *static_cast<Run*>(argument);
        BRAQThreadMakeIO(BRAQThreadSelf());
        UInt64 due = braq::monotonicTime();
        while (my.lateness.nanoseconds().size() < my.lateness.nanoseconds().capacity()) {
            const timespec until{static_cast<time_t>(due / second), static_cast<long>(due % second)};
            clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
            my.lateness.note(due);
            due += my.period;
        }
        my.isOver.set_value();
    };
    if (BRAQThreadStart(&thread, "bench cycles", main, &run) == 0) {
        run.isOver.get_future().wait();
    }
}

/// Two threads that add, start and remove procedures of a device as fast as they can, until destroyed.
class ComingAndGoing {
  public:
    explicit ComingAndGoing(AudioDeviceID device) {
        for (int i = 0; i < 2; ++i) {
            mThreads.emplace_back([this, device] {
                while (!mStop.load(std::memory_order_relaxed)) {
                    const Procedures procedure(device, 1);
                    mTimes.fetch_add(1, std::memory_order_relaxed);
                }
            });
        }
    }
    ~ComingAndGoing() {
        mStop = true;
        for (std::thread& thread : mThreads) {
            thread.join();
        }
    }
    ComingAndGoing(const ComingAndGoing&) = delete;
    ComingAndGoing& operator=(const ComingAndGoing&) = delete;

    double times() const { return static_cast<double>(mTimes.load()); }

  private:
    std::atomic<bool> mStop{false};
    std::atomic<UInt64> mTimes{0};
    std::vector<std::thread> mThreads;
};

void report(benchmark::State& state, const std::string& name, std::vector<double> nanoseconds) {
    state.counters[name + ", median"] = braq::bench::quantile(nanoseconds, 0.5);
    state.counters[name + ", 99 %"] = braq::bench::quantile(nanoseconds, 0.99);
    state.counters[name + ", longest"] = braq::bench::quantile(nanoseconds, 1);
}

enum class Load { none, busyProcessors };

void jitter(benchmark::State& state, Load load) {
    const auto frames = static_cast<UInt32>(state.range(0));
    const std::size_t cycles = 40'000 / frames;
    std::optional<braq::tests::BusyThreads> busy;
    if (load == Load::busyProcessors) {
        busy.emplace();
    }
    std::vector<double> ours;
    std::vector<double> bare;
    for ([[maybe_unused]] auto iteration : state) {
        Lateness device(cycles);
        runDevice(frames, device);
        ours.insert(ours.end(), device.nanoseconds().begin(), device.nanoseconds().end());
        Lateness thread(cycles);
        runBareThread(frames, thread);
        bare.insert(bare.end(), thread.nanoseconds().begin(), thread.nanoseconds().end());
        state.SetIterationTime(1e-9);
    }
    report(state, "ours", ours);
    report(state, "bare thread", bare);
}

void comingAndGoing(benchmark::State& state) {
    constexpr UInt32 frames = 64;
    constexpr std::size_t cycles = 1000;
    std::vector<double> hammered;
    double times = 0;
    for ([[maybe_unused]] auto iteration : state) {
        const auto device = makeDevice(BRAQSoftwareClock::monotonic, frames);
        Lateness lateness(cycles);
        const auto note = [](void* to, const IOSlice& slice) {
            static_cast<Lateness*>(to)->note(slice.time.mHostTime);
        };
        const Procedures always(device->deviceID(), 1, note, &lateness);
        const ComingAndGoing others(device->deviceID());
        lateness.wait();
        times += others.times();
        hammered.insert(hammered.end(), lateness.nanoseconds().begin(), lateness.nanoseconds().end());
        state.SetIterationTime(1e-9);
    }
    constexpr double cycleNanoseconds = frames * 1e9 / 96000.0;
    state.counters["late by a cycle"] =
        static_cast<double>(std::ranges::count_if(hammered, [](double late) { return late > cycleNanoseconds; }));
    state.counters["came and went"] = times;
    report(state, "ours", std::move(hammered));
}

constexpr int rounds = 200;

BENCHMARK(cycle)->Arg(64)->Arg(512)->Iterations(rounds)->UseManualTime();
BENCHMARK(mix)->Iterations(rounds)->UseManualTime();
BENCHMARK_CAPTURE(jitter, idle, Load::none)->Arg(64)->Arg(256)->Arg(1024)->Iterations(1)->UseManualTime();
BENCHMARK_CAPTURE(jitter, busy, Load::busyProcessors)->Arg(64)->Arg(256)->Arg(1024)->Iterations(1)->UseManualTime();
BENCHMARK(comingAndGoing)->Iterations(1)->UseManualTime();

} // namespace
