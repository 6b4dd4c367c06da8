// What playing through a graph costs a frame, and how many players one processor carries.

#include "BRAQAudio/BRAQOutputAudioUnit.h"
#include "BRAQAudio/platform/BRAQSoftwareDevice.h"
#include "bench/Contest.h"
#include "platform/hardware/DeviceIO.h"
#include "platform/hardware/drivers/Drivers.h"
#include "platform/hardware/drivers/software/SoftwareDriver.h"

#include <benchmark/benchmark.h>
#include <soxr.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using braq::bench::Contest;

constexpr UInt32 channels = 2;
constexpr UInt32 cycleFrames = 512;
constexpr Float64 deviceRate = 48000.0;

/// Keeps the machine's own sound out of what is measured.
const bool softwareOnly = [] {
    braq::replaceDrivers([] {
        std::vector<std::unique_ptr<braq::Driver>> drivers;
        drivers.push_back(braq::makeSoftwareDriver());
        return drivers;
    });
    return true;
}();

std::shared_ptr<BRAQSoftwareDevice> makeDevice(BRAQSoftwareClock clock) {
    static int made = 0;
    return BRAQSoftwareDevice::deviceWithOptions(
        {.uid = "bench units " + std::to_string(++made), .bufferFrames = cycleFrames, .clock = clock});
}

std::shared_ptr<BRAQAudioStreamBasicDescription> planarStereo(Float64 rate) {
    const auto description = BRAQAudioStreamBasicDescription::nativeStreamDescription();
    description->setIsInterleaved(false);
    description->setSampleRate(rate);
    return description;
}

/// A second of a sound, over and over.
struct Sound {
    Sound() : samples(48000) {
        for (std::size_t i = 0; i < samples.size(); ++i) {
            samples[i] =
                0.25F * std::sin(0.05F * static_cast<float>(i)) + 0.2F * std::sin(0.77F * static_cast<float>(i));
        }
    }
    void copy(UInt32 frames, float* to) {
        if (position + frames > samples.size()) {
            position = 0;
        }
        std::memcpy(to, samples.data() + position, frames * sizeof(float));
        position += frames;
    }
    std::vector<float> samples;
    std::size_t position = 0;
};

/// A ring that its worker fills with a sound.
class SoundRing : public BRAQAudioBufferQueue {
  public:
    explicit SoundRing(Float64 rate) : BRAQAudioBufferQueue(8, 4096, planarStereo(rate)) { prime(); }
    ~SoundRing() override { teardownWorkerThread(); }
    void processBuffer(BQueueableAudioBuffer* queued) override {
        BAudioBuffer* const buffer = &queued->mAudioBuffer;
        AudioBufferList* const list = BAudioBufferAudioBufferList(buffer);
        BAudioBufferSetEmpty(buffer);
        for (UInt32 channel = 0; channel < channels; ++channel) {
            mSound.copy(4096, static_cast<float*>(list->mBuffers[channel].mData));
        }
        BAudioBufferSetEndFrame(buffer, 4096);
    }

  private:
    Sound mSound;
};

/// A player without a file.
struct Player {
    Player(const std::shared_ptr<BRAQAudioDevice>& device, Float64 clientRate, double playbackRate)
        : ring(std::make_shared<SoundRing>(clientRate)),
          unit(BRAQOutputAudioUnit::initWithStreamDescription(planarStereo(clientRate), device)) {
        unit->setAudioBufferQueue(ring);
        unit->setPlaybackRate(playbackRate);
        unit->start();
    }
    std::shared_ptr<SoundRing> ring;
    std::shared_ptr<BRAQOutputAudioUnit> unit;
};

/// libsoxr's variable-rate mode by itself, fed from the same kind of memory.
class BareConverter {
  public:
    explicit BareConverter(double ratio) : mFrom(channels, std::vector<float>(4096)), mTo(mFrom) {
        const soxr_io_spec_t planar = soxr_io_spec(SOXR_FLOAT32_S, SOXR_FLOAT32_S);
        const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, SOXR_VR);
        mSoxr = soxr_create(std::max(ratio, 1.0), 1.0, channels, nullptr, &planar, &quality, nullptr);
        soxr_set_io_ratio(mSoxr, ratio, 0);
    }
    ~BareConverter() { soxr_delete(mSoxr); }
    BareConverter(const BareConverter&) = delete;
    BareConverter& operator=(const BareConverter&) = delete;

    void render(UInt32 frames) {
        for (UInt32 done = 0; done < frames;) {
            std::size_t given = 0;
            float* to[channels]{mTo[0].data() + done, mTo[1].data() + done};
            soxr_process(mSoxr, nullptr, 0, nullptr, to, frames - done, &given);
            if (given == 0) {
                constexpr UInt32 piece = 128;
                mSound.copy(piece, mFrom[0].data());
                mSound.copy(piece, mFrom[1].data());
                const float* from[channels]{mFrom[0].data(), mFrom[1].data()};
                std::size_t taken = 0;
                soxr_process(mSoxr, from, piece, &taken, to, frames - done, &given);
            }
            done += static_cast<UInt32>(given);
        }
        benchmark::DoNotOptimize(mTo[0].data());
    }

  private:
    soxr_t mSoxr;
    Sound mSound;
    std::vector<std::vector<float>> mFrom;
    std::vector<std::vector<float>> mTo;
};

void chain(benchmark::State& state, Float64 clientRate, double playbackRate) {
    constexpr int cycles = 4; // fewer frames than the ring holds: no slice waits for the worker
    const auto device = makeDevice(BRAQSoftwareClock::stepped);
    const auto silent = makeDevice(BRAQSoftwareClock::stepped);
    const Player player(BRAQAudioDevice::initWithDeviceID(device->deviceID()), clientRate, playbackRate);
    braq::IOProcedureID nothing = 0;
    braq::addIOProcedure(
        silent->deviceID(), braq::IODirections::playback, [](void*, const braq::IOSlice&) {}, nullptr, &nothing);
    braq::startIOProcedure(silent->deviceID(), nothing);
    const double ratio = playbackRate * clientRate / deviceRate;
    BareConverter bare(ratio);
    Sound sound;
    std::vector<float> left(cycleFrames);
    std::vector<float> right(cycleFrames);
    const auto step = [](BRAQSoftwareDevice& on) {
        for (int i = 0; i < cycles; ++i) {
            on.step(cycleFrames);
        }
    };
    for (int i = 0; i < 200; ++i) { // until the rate is reached
        device->step(cycleFrames);
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    Contest contest;
    contest.add(
        "ours", [&] { step(*device); }, [&] { step(*silent); });
    if (ratio == 1.0) {
        contest.add("memcpy", [&] {
            for (int i = 0; i < cycles; ++i) {
                sound.copy(cycleFrames, left.data());
                sound.copy(cycleFrames, right.data());
                benchmark::DoNotOptimize(left.data());
            }
        });
    } else {
        contest.add("soxr", [&] {
            for (int i = 0; i < cycles; ++i) {
                bare.render(cycleFrames);
            }
        });
    }
    const UInt64 underrunsBefore = player.ring->errorCount();
    contest.run(state, static_cast<double>(cycles) * cycleFrames);
    state.counters["underruns"] = static_cast<double>(player.ring->errorCount() - underrunsBefore);
    braq::removeIOProcedure(silent->deviceID(), nothing);
}

/// A cycle of a stepped device with so many units that play silence: what each takes of the processor.
void units(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const auto software = makeDevice(BRAQSoftwareClock::stepped);
    const auto device = BRAQAudioDevice::initWithDeviceID(software->deviceID());
    std::vector<std::shared_ptr<BRAQOutputAudioUnit>> all(count);
    for (auto& unit : all) {
        unit = BRAQOutputAudioUnit::initWithStreamDescription(planarStereo(deviceRate), device);
        unit->start();
    }
    Contest contest;
    contest.add("ours", [&] { software->step(cycleFrames); });
    contest.run(state, static_cast<double>(count));
}

/// The longest of a number of cycles, in nanoseconds.
double longestCycle(BRAQSoftwareDevice& device) {
    constexpr int cycles = 200;
    double longest = 0;
    for (int i = 0; i < cycles; ++i) {
        const auto begin = std::chrono::steady_clock::now();
        device.step(cycleFrames);
        longest = std::max(longest,
                           std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - begin).count());
    }
    return longest;
}

/// How many units one processor carries: the highest count of which no cycle takes longer than it lasts. The processor is
/// shared with whatever else the machine does.
void most(benchmark::State& state) {
    constexpr double cycleNanoseconds = cycleFrames * 1e9 / deviceRate;
    constexpr std::size_t limit = 6000;
    const auto software = makeDevice(BRAQSoftwareClock::stepped);
    const auto device = BRAQAudioDevice::initWithDeviceID(software->deviceID());
    for ([[maybe_unused]] auto iteration : state) {
        std::vector<std::shared_ptr<BRAQOutputAudioUnit>> all;
        while (all.size() < limit) {
            constexpr std::size_t more = 500;
            for (std::size_t i = 0; i < more; ++i) {
                all.push_back(BRAQOutputAudioUnit::initWithStreamDescription(planarStereo(deviceRate), device));
                all.back()->start();
            }
            if (longestCycle(*software) > cycleNanoseconds) {
                break;
            }
        }
        while (!all.empty() && longestCycle(*software) > cycleNanoseconds) {
            constexpr std::size_t fewer = 50;
            all.resize(all.size() - fewer);
        }
        state.counters["most"] = static_cast<double>(all.size());
        state.SetIterationTime(1e-9);
    }
}

constexpr int rounds = 100;

BENCHMARK_CAPTURE(chain, rate1, 48000.0, 1.0)->Iterations(rounds)->UseManualTime();
BENCHMARK_CAPTURE(chain, from44100, 44100.0, 1.0)->Iterations(rounds)->UseManualTime();
BENCHMARK_CAPTURE(chain, rate125, 48000.0, 1.25)->Iterations(rounds)->UseManualTime();
// Making so many units is what takes long.
BENCHMARK(units)->Arg(1)->Arg(10)->Arg(100)->Arg(1000)->Iterations(rounds)->Repetitions(3)->UseManualTime();
BENCHMARK(most)->Iterations(1)->Repetitions(1)->UseManualTime();

} // namespace
