// How quickly whole files are read, beside a bare loop over libav and beside libsndfile.

#include "bench/FrameReaders.h"
#include "bench/MadeFiles.h"
#include "bench/ThreadTime.h"

#include <benchmark/benchmark.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using braq::bench::FrameReader;
using braq::bench::Layout;
using braq::bench::Recording;
using braq::bench::recordings;

/// Reads so long before it is the next one's turn that what the others left in the caches does not count.
constexpr int readsPerTurn = 64;

/// One who reads a whole file, in turns with others.
class Contender {
  public:
    Contender(std::string name, std::unique_ptr<FrameReader> reader)
        : mName(std::move(name)), mReader(std::move(reader)) {}

    /// @return whether there is more to read
    bool takeTurn() {
        const double begin = braq::bench::threadSeconds();
        for (int i = 0; i < readsPerTurn && !mIsOver; ++i) {
            const UInt32 frames = mReader->read();
            mFrames += frames;
            mIsOver = frames == 0;
        }
        mSeconds += braq::bench::threadSeconds() - begin;
        return !mIsOver;
    }

    const std::string& name() const { return mName; }
    double frames() const { return static_cast<double>(mFrames); }
    double seconds() const { return mSeconds; }

  private:
    std::string mName;
    std::unique_ptr<FrameReader> mReader;
    SInt64 mFrames = 0;
    double mSeconds = 0;
    bool mIsOver = false;
};

std::vector<Contender> contendersFor(const Recording& recording, Layout layout) {
    const auto path = pathOf(recording);
    std::vector<Contender> contenders;
    contenders.emplace_back("ours", braq::bench::makeServiceReader(path, layout));
    if (layout == Layout::planar) {
        contenders.emplace_back("libav", braq::bench::makeLibavReader(path));
    }
#if BRAQ_BENCH_HAS_SNDFILE
    const bool isReadBySndfile = std::string(recording.extension) != "m4a";
    if (isReadBySndfile) {
        contenders.emplace_back("libsndfile", braq::bench::makeSndfileReader(path, layout));
    }
#endif
    return contenders;
}

void readToTheEnd(std::vector<Contender>& contenders) {
    std::size_t first = 0;
    for (bool isMore = true; isMore; ++first) {
        isMore = false;
        for (std::size_t i = 0; i < contenders.size(); ++i) {
            isMore = contenders[(first + i) % contenders.size()].takeTurn() || isMore;
        }
    }
}

void readThrough(benchmark::State& state, const Recording& recording, Layout layout) try {
    for ([[maybe_unused]] auto iteration : state) {
        auto contenders = contendersFor(recording, layout);
        readToTheEnd(contenders);
        state.SetIterationTime(contenders.front().seconds());
        for (const Contender& contender : contenders) {
            if (contender.frames() < 0.99 * braq::bench::recordingSeconds * recording.sampleRate) {
                throw std::runtime_error(contender.name() + " did not read the whole file");
            }
            state.counters[contender.name()] = contender.frames() / contender.seconds() * 1e-6;
        }
    }
} catch (const std::exception& failure) {
    state.SkipWithError(failure.what());
}

/// Decoding ten minutes several times over takes long, and differs little from one time to the next.
constexpr int passesThroughCodedFiles = 3;

bool registerAll() {
    for (const Recording& recording : recordings) {
        const bool isLinear = std::string(recording.arguments).find("pcm") != std::string::npos;
        auto* const planar = benchmark::RegisterBenchmark(
            (std::string("readFile/") + recording.name).c_str(),
            [&recording](benchmark::State& state) { readThrough(state, recording, Layout::planar); });
        planar->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
        if (!isLinear) {
            planar->Repetitions(passesThroughCodedFiles);
        } else if (recording.channels > 1) {
            benchmark::RegisterBenchmark(
                (std::string("readFileInterleaved/") + recording.name).c_str(),
                [&recording](benchmark::State& state) { readThrough(state, recording, Layout::interleaved); })
                ->Iterations(1)
                ->UseManualTime()
                ->Unit(benchmark::kMillisecond);
        }
    }
    return true;
}

const bool isRegistered = registerAll();

} // namespace
