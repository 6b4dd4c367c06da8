// How soon a player is heard, and what it takes while it plays, on a sound server of the benchmark's own.

#include "BRAQAudio/BRAQExtendedAudioFilePlayer.h"
#include "BRAQAudio/BRAQInputAudioUnit.h"
#include "tests/support/PrivateSoundServer.h"

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using braq::tests::ChildProcess;
using braq::tests::eventually;
using Clock = std::chrono::steady_clock;

constexpr UInt32 rate = 48000;
constexpr const char* sinkName = "bench.sink";

/// Ten minutes at a quarter of full scale from the first frame on, in a WAVE file of 16 bits.
void writeFile(const std::string& path) {
    constexpr UInt32 seconds = 600;
    constexpr UInt32 frameBytes = 4;
    constexpr UInt32 dataBytes = seconds * rate * frameBytes;
    std::ofstream file(path, std::ios::binary);
    const auto number = [&](auto value) { file.write(reinterpret_cast<const char*>(&value), sizeof(value)); };
    file << "RIFF";
    number(UInt32{36} + dataBytes);
    file << "WAVEfmt ";
    number(UInt32{16});
    number(UInt16{1});
    number(UInt16{2});
    number(rate);
    number(rate * frameBytes);
    number(UInt16{frameBytes});
    number(UInt16{16});
    file << "data";
    number(dataBytes);
    const std::vector<SInt16> second(std::size_t{rate} * 2, 8192);
    for (UInt32 i = 0; i < seconds; ++i) {
        file.write(reinterpret_cast<const char*>(second.data()), frameBytes * rate);
    }
    if (!file) {
        throw std::runtime_error("there is no room for the file to play");
    }
}

/// A server with one sink, whose monitor is listened to.
class Studio {
  public:
    Studio() {
        // What programs ask for does not change how often they are woken.
        for (const char* key : {"default.clock.quantum", "default.clock.min-quantum", "default.clock.max-quantum"}) {
            mServer.configure(key, "256");
        }
        mServer.keep({.name = sinkName});
        mServer.start();
        writeFile(file());
        std::shared_ptr<BRAQAudioDevice> monitor;
        const bool isThere = eventually([&] {
            device = BRAQAudioDevice::initWithDeviceUID(sinkName);
            monitor = BRAQAudioDevice::initWithDeviceUID(std::string(sinkName) + ".monitor");
            return device != nullptr && monitor != nullptr;
        });
        if (!isThere) {
            throw std::runtime_error("the sound server has no sink");
        }
        mEar = BRAQInputAudioUnit::initWithDevice(monitor, std::nullopt);
        mEar->setInputProcessingBlock([this](auto*, auto*, UInt32, UInt32 frames, AudioBufferList* list) {
            const auto* const samples = static_cast<const Float32*>(list->mBuffers[0].mData);
            constexpr Float32 audible = 0.01F;
            const bool isSilent = std::fabs(samples[0]) < audible && std::fabs(samples[frames - 1]) < audible;
            mHeardSilence.store(isSilent, std::memory_order_relaxed);
            if (!isSilent && mFirstHeard.load(std::memory_order_relaxed) == 0) {
                mFirstHeard.store(Clock::now().time_since_epoch().count(), std::memory_order_release);
            }
        });
        mEar->start();
    }

    std::string file() const { return mServer.folder() / "file.wav"; }

    std::unique_ptr<ChildProcess> run(const std::vector<std::string>& command) { return mServer.spawn(command); }

    /// Milliseconds from before `start` until the sink's monitor is not silent.
    double untilHeard(const std::function<void()>& start) {
        if (!eventually([&] { return mHeardSilence.load(); })) {
            throw std::runtime_error("somebody plays on");
        }
        mFirstHeard = 0;
        const auto before = Clock::now();
        start();
        if (!eventually([&] { return mFirstHeard.load() != 0; })) {
            throw std::runtime_error("nothing is heard");
        }
        const Clock::time_point heard{Clock::duration(mFirstHeard.load())};
        return std::chrono::duration<double, std::milli>(heard - before).count();
    }

    std::shared_ptr<BRAQAudioDevice> device;

  private:
    braq::tests::PrivateSoundServer mServer;
    std::shared_ptr<BRAQInputAudioUnit> mEar;
    std::atomic<Clock::rep> mFirstHeard{0};
    std::atomic<bool> mHeardSilence{false};
};

Studio& studio() {
    static Studio one;
    return one;
}

struct Program {
    const char* name;
    std::vector<std::string> command;
};

std::vector<Program> programs() {
    const std::string file = studio().file();
    std::vector<Program> all{{"ours", {BRAQ_BENCH_OUR_PLAYER, file, sinkName}},
                             {"pw-cat", {"pw-cat", "--playback", "--target", sinkName, file}}};
#if BRAQ_BENCH_HAS_SNDFILE
    all.push_back({"bare stream", {BRAQ_BENCH_BARE_PLAYER, file, sinkName}});
#endif
    return all;
}

void untilHeard(benchmark::State& state) {
    studio();
    const auto player = BRAQExtendedAudioFilePlayer::initWithFilename(studio().file(), studio().device);
    for (auto _ : state) {
        state.counters["in a program that runs"] = studio().untilHeard([&] { player->startFilePlaying(); });
        player->stopFilePlaying();
        for (const Program& program : programs()) {
            std::unique_ptr<ChildProcess> process;
            state.counters[program.name] = studio().untilHeard([&] { process = studio().run(program.command); });
            process->signal(SIGTERM);
            process->wait();
        }
    }
    player->invalidate();
}

/// Nanoseconds that the threads of a process have run.
double processorTime(const ChildProcess& process) {
    double nanoseconds = 0.0;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/" + std::to_string(process.id()) + "/task")) {
        double time = 0.0;
        std::ifstream(thread.path() / "schedstat") >> time;
        nanoseconds += time;
    }
    return nanoseconds;
}

/// Bytes that no other process shares.
double ownMemory(const ChildProcess& process) {
    std::ifstream file("/proc/" + std::to_string(process.id()) + "/smaps_rollup");
    double bytes = 0.0;
    for (std::string word; file >> word;) {
        double kibibytes = 0.0;
        if ((word == "Private_Clean:" || word == "Private_Dirty:") && file >> kibibytes) {
            bytes += kibibytes * 1024.0;
        }
    }
    return bytes;
}

// All play at once, so that what disturbs the machine disturbs all alike.
void playing(benchmark::State& state) {
    constexpr std::chrono::seconds untilSettled{2};
    constexpr std::chrono::seconds measured{10};
    for (auto _ : state) {
        std::vector<std::unique_ptr<ChildProcess>> processes;
        for (const Program& program : programs()) {
            processes.push_back(studio().run(program.command));
        }
        std::this_thread::sleep_for(untilSettled);
        std::vector<double> before;
        for (const auto& process : processes) {
            before.push_back(processorTime(*process));
        }
        const auto since = Clock::now();
        std::this_thread::sleep_for(measured);
        const double seconds = std::chrono::duration<double>(Clock::now() - since).count();
        for (std::size_t i = 0; i < processes.size(); ++i) {
            const std::string name = programs()[i].name;
            state.counters[name + ", processor"] = (processorTime(*processes[i]) - before[i]) / seconds * 1e-3;
            state.counters[name + ", memory"] = ownMemory(*processes[i]);
            processes[i]->signal(SIGTERM);
            processes[i]->wait();
        }
    }
}

void oneMore(benchmark::State& state) {
    constexpr std::size_t count = 20;
    const auto make = [] {
        auto player = BRAQExtendedAudioFilePlayer::initWithFilename(studio().file(), studio().device);
        player->startFilePlaying();
        return player;
    };
    for (auto _ : state) {
        std::vector<std::shared_ptr<BRAQExtendedAudioFilePlayer>> players{make()};
        const auto before = mallinfo2();
        while (players.size() < 1 + count) {
            players.push_back(make());
        }
        const auto after = mallinfo2();
        state.counters["heap"] =
            static_cast<double>(after.uordblks + after.hblkhd - before.uordblks - before.hblkhd) / double{count};
        for (const auto& player : players) {
            player->invalidate();
        }
    }
}

BENCHMARK(untilHeard)->Iterations(1)->Repetitions(7)->Unit(benchmark::kMillisecond);
BENCHMARK(playing)->Iterations(1)->Repetitions(3)->Unit(benchmark::kMillisecond);
BENCHMARK(oneMore)->Iterations(1)->Repetitions(3)->Unit(benchmark::kMillisecond);

} // namespace
