// How quickly a file is gone to a place in, read backwards, and read ahead for playback.

#include "BRAQAudio/BRAQAudioBufferList.h"
#include "BRAQAudio/BRAQAudioFileReader.h"
#include "BRAQAudio/BRAQExtendedAudioFile.h"
#include "bench/MadeFiles.h"
#include "bench/OpenServiceFile.h"
#include "bench/Quantile.h"
#include "bench/ThreadTime.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using braq::bench::Layout;
using braq::bench::OpenServiceFile;
using braq::bench::Recording;
using braq::bench::recordings;

constexpr UInt32 framesPerBlock = 4096;

/// Places in a recording, as far from its end that there is enough to read. The same ones in every run.
class Places {
  public:
    explicit Places(const Recording& recording)
        : mDistribution(SInt64{100} * framesPerBlock,
                        static_cast<SInt64>(braq::bench::recordingSeconds * recording.sampleRate) -
                            SInt64{4} * framesPerBlock) {}
    SInt64 next() { return mDistribution(generator()); }

  private:
    static std::mt19937& generator() {
        static std::mt19937 instance; // NOLINT(cert-msc51-cpp): on purpose
        return instance;
    }
    std::uniform_int_distribution<SInt64> mDistribution;
};

template <class Action>
double microseconds(const Action& action) {
    const auto begin = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begin).count();
}

void report(benchmark::State& state, std::vector<double> times) {
    state.counters["median"] = braq::bench::quantile(times, 0.5);
    state.counters["longest"] = braq::bench::quantile(times, 1);
}

void seek(benchmark::State& state, const Recording& recording) {
    constexpr int seeks = 20;
    constexpr UInt32 framesRead = 512;
    OpenServiceFile file(pathOf(recording), Layout::planar, framesRead);
    Places places(recording);
    std::vector<double> times;
    for ([[maybe_unused]] auto iteration : state) {
        for (int i = 0; i < seeks; ++i) {
            const SInt64 place = places.next();
            UInt32 frames = 0;
            times.push_back(microseconds([&] {
                file.seek(place);
                frames = file.read();
            }));
            if (frames != framesRead) {
                throw std::runtime_error("there is nothing at the place that was sought");
            }
        }
        state.SetIterationTime(times.back() * 1e-6);
    }
    report(state, std::move(times));
}

std::shared_ptr<BRAQExtendedAudioFile> open(const Recording& recording) {
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(pathOf(recording).string());
    if (file == nullptr) {
        throw std::runtime_error(std::string(recording.name) + " cannot be opened");
    }
    return file;
}

/// Block by block, as a reader that plays in reverse does.
void backwards(benchmark::State& state, const Recording& recording) {
    constexpr UInt32 blocks = 64; // as many frames of them as a place has before it
    const auto file = open(recording);
    file->setReverse(true);
    const std::unique_ptr<AudioBufferList, void (*)(AudioBufferList*)> list(
        BRAQAudioBufferListCreate(recording.channels, sizeof(Float32), framesPerBlock, false),
        BRAQAudioBufferListDestroy);
    Places places(recording);
    for ([[maybe_unused]] auto iteration : state) {
        const SInt64 end = places.next();
        const double begin = braq::bench::threadSeconds();
        for (UInt32 block = 0; block < blocks; ++block) {
            UInt32 frames = framesPerBlock;
            file->readIntoAudioBufferList(list.get(), end - SInt64{block} * framesPerBlock, &frames);
            if (frames != framesPerBlock) {
                throw std::runtime_error("there is nothing before the place that was sought");
            }
        }
        const double seconds = braq::bench::threadSeconds() - begin;
        state.SetIterationTime(seconds);
        state.counters["times real time"] = blocks * framesPerBlock / recording.sampleRate / seconds;
    }
}

/// From the request to play from somewhere else until the ring of a player is full.
void prime(benchmark::State& state, const Recording& recording) {
    constexpr int primings = 10;
    constexpr UInt64 buffers = 3;
    const auto file = open(recording);
    const auto reader = BRAQAudioFileReader::initWithBufferCount(buffers, framesPerBlock, file->streamDescription());
    if (reader == nullptr) {
        throw std::runtime_error("there is no reader");
    }
    reader->setAudioFile(file);
    Places places(recording);
    std::vector<double> times;
    for ([[maybe_unused]] auto iteration : state) {
        for (int i = 0; i < primings; ++i) {
            const SInt64 place = places.next();
            times.push_back(microseconds([&] {
                reader->setCurrentFrame(place);
                reader->start();
            }));
            if (reader->currentFrame() != place || reader->endOfStream()) {
                throw std::runtime_error("the ring does not begin where it was asked to");
            }
            reader->stop();
        }
        state.SetIterationTime(times.back() * 1e-6);
    }
    report(state, std::move(times));
}

using Measurement = void (*)(benchmark::State&, const Recording&);

void registerFor(const Recording& recording, const char* what, Measurement measure) {
    const auto run = [&recording, measure](benchmark::State& state) {
        try {
            measure(state, recording);
        } catch (const std::exception& failure) {
            state.SkipWithError(failure.what());
        }
    };
    benchmark::RegisterBenchmark((std::string(what) + "/" + recording.name).c_str(), run)
        ->Iterations(1)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}

const bool isRegistered = [] {
    for (const Recording& recording : recordings) {
        if (recording.channels == 2) {
            registerFor(recording, "seek", seek);
            registerFor(recording, "backwards", backwards);
            registerFor(recording, "prime", prime);
        }
    }
    return true;
}();

} // namespace
