#include "tests/tools/pipewire/Sound.h"

#include "BRAQAudio/BRAQAudio.h"
#include "tests/support/LargestStep.h"
#include "tests/support/PrivateSoundServer.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <numbers>
#include <optional>
#include <random>
#include <stdexcept>

namespace tool_test {

Sound Sound::part(std::size_t first, std::size_t count) const {
    const std::size_t begin = std::min(first, frames());
    const std::size_t end = begin + std::min(count, frames() - begin);
    Sound part;
    for (const auto& samples : channels) {
        part.channels.emplace_back(samples.begin() + static_cast<std::ptrdiff_t>(begin),
                                   samples.begin() + static_cast<std::ptrdiff_t>(end));
    }
    return part;
}

Sound Sound::backwards() const {
    Sound backwards;
    for (const auto& samples : channels) {
        backwards.channels.emplace_back(samples.rbegin(), samples.rend());
    }
    return backwards;
}

Sound Sound::trimmed(Float32 threshold) const {
    const auto isLoud = [&](Float32 sample) { return std::fabs(sample) > threshold; };
    std::size_t first = frames();
    std::size_t end = 0;
    for (const auto& samples : channels) {
        const auto loud = std::ranges::find_if(samples, isLoud);
        const auto quiet = std::find_if(samples.rbegin(), samples.rend(), isLoud).base();
        first = std::min(first, static_cast<std::size_t>(loud - samples.begin()));
        end = std::max(end, static_cast<std::size_t>(quiet - samples.begin()));
    }
    return first < end ? part(first, end - first) : part(0, 0);
}

Sound toneAndNoise(std::size_t frames, Float64 rate, Float64 frequency) {
    constexpr double fullScale = 32768.0;
    constexpr int halfScale = 16384;
    constexpr int noiseRange = 4096;
    std::mt19937 generator(1);
    Sound sound{std::vector<std::vector<Float32>>(2)};
    for (std::size_t frame = 0; frame < frames; ++frame) {
        const double phase = 2.0 * std::numbers::pi * frequency * static_cast<double>(frame) / rate;
        const int noise = static_cast<int>(generator() % (2 * noiseRange)) - noiseRange;
        sound.channels[0].push_back(static_cast<Float32>(std::round(halfScale * std::sin(phase)) / fullScale));
        sound.channels[1].push_back(static_cast<Float32>((noise | 1) / fullScale));
    }
    return sound;
}

Sound fullSine(std::size_t frames, Float64 rate, Float64 frequency) {
    constexpr double most = 32767.0;
    constexpr double fullScale = 32768.0;
    std::vector<Float32> samples;
    for (std::size_t frame = 0; frame < frames; ++frame) {
        const double phase = 2.0 * std::numbers::pi * frequency * static_cast<double>(frame) / rate;
        samples.push_back(static_cast<Float32>(std::round(most * std::sin(phase)) / fullScale));
    }
    return {{samples, samples}};
}

double largestStep(const Sound& sound, Float64 rate, Float64 frequency) {
    return braq::tests::largestStep(sound.left(), frequency, rate);
}

namespace {

constexpr UInt32 blockFrames = 8192;
using Block = std::unique_ptr<AudioBufferList, decltype(&BRAQAudioBufferListDestroy)>;

Block makeBlock(UInt32 channels) {
    return {BRAQAudioBufferListCreate(channels, sizeof(Float32), blockFrames, false), &BRAQAudioBufferListDestroy};
}

Float32* samplesOf(const Block& block, std::size_t channel) {
    return static_cast<Float32*>(block->mBuffers[channel].mData);
}

} // namespace

void writeFile(const std::filesystem::path& path, const Sound& sound, Float64 rate) {
    const auto description = BRAQAudioStreamBasicDescription::pcm16StreamDescription();
    description->setSampleRate(rate);
    const auto file =
        BRAQExtendedAudioFile::initForRecordingWithFilename(path, kAudioFileWAVEType, description, 0, nullptr);
    const Block block = makeBlock(2);
    for (std::size_t first = 0; first < sound.frames(); first += blockFrames) {
        const Sound part = sound.part(first, blockFrames);
        std::ranges::copy(part.left(), samplesOf(block, 0));
        std::ranges::copy(part.right(), samplesOf(block, 1));
        auto frames = static_cast<UInt32>(part.frames());
        file->writeAudioBufferList(block.get(), &frames);
    }
}

Sound readFile(const std::filesystem::path& path) {
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(path);
    if (file == nullptr) {
        throw std::runtime_error(path.string() + " cannot be read");
    }
    const UInt32 channels = file->streamDescription()->channelsPerFrame();
    Sound sound{std::vector<std::vector<Float32>>(channels)};
    const Block block = makeBlock(channels);
    for (UInt32 frames = blockFrames; frames != 0;) {
        frames = blockFrames;
        for (UInt32 buffer = 0; buffer < channels; ++buffer) {
            block->mBuffers[buffer].mDataByteSize = blockFrames * static_cast<UInt32>(sizeof(Float32));
        }
        file->readIntoAudioBufferList(block.get(), 0, &frames);
        for (std::size_t channel = 0; channel < channels; ++channel) {
            const Float32* samples = samplesOf(block, channel);
            sound.channels[channel].insert(sound.channels[channel].end(), samples, samples + frames);
        }
    }
    return sound;
}

double levelOf(const std::vector<Float32>& samples) {
    double sum = 0.0;
    for (const Float32 sample : samples) {
        sum += static_cast<double>(sample) * static_cast<double>(sample);
    }
    return samples.empty() ? 0.0 : std::sqrt(sum / static_cast<double>(samples.size()));
}

double frequencyOf(const std::vector<Float32>& samples, Float64 rate) {
    const auto rises = [](Float32 before, Float32 after) { return before < 0.0F && after >= 0.0F; };
    std::size_t count = 0;
    for (std::size_t i = 1; i < samples.size(); ++i) {
        count += rises(samples[i - 1], samples[i]) ? 1 : 0;
    }
    return samples.empty() ? 0.0 : static_cast<double>(count) * rate / static_cast<double>(samples.size());
}

std::size_t firstDifference(const Sound& one, const Sound& other) {
    std::size_t same = std::min(one.frames(), other.frames());
    if (one.channels.size() != other.channels.size()) {
        return 0;
    }
    for (std::size_t channel = 0; channel < one.channels.size(); ++channel) {
        const auto& samples = one.channels[channel];
        const auto end = samples.begin() + static_cast<std::ptrdiff_t>(same);
        const auto different = std::mismatch(samples.begin(), end, other.channels[channel].begin()).first;
        same = static_cast<std::size_t>(different - samples.begin());
    }
    return same;
}

struct Capture::Samples {
    Samples(std::size_t count, std::size_t mostFrames)
        : channels(count, std::vector<Float32>(mostFrames)), most(mostFrames) {}

    std::vector<std::vector<Float32>> channels;
    const std::size_t most;
    std::atomic<std::size_t> frames{0};
    std::shared_ptr<BRAQInputAudioUnit> unit;
};

Capture::Capture(const std::string& deviceUID, std::size_t mostFrames) {
    std::shared_ptr<BRAQAudioDevice> device;
    if (!braq::tests::eventually([&] {
            device = BRAQAudioDevice::initWithDeviceUID(deviceUID);
            return device != nullptr;
        })) {
        throw std::runtime_error("there is no device " + deviceUID);
    }
    mSamples = std::make_shared<Samples>(device->numberOfRecordChannels(), mostFrames);
    mSamples->unit = BRAQInputAudioUnit::initWithDevice(device, std::nullopt);
    mSamples->unit->setInputProcessingBlock(
        [samples = mSamples.get()](auto*, auto*, UInt32, UInt32 frames, AudioBufferList* list) {
            const std::size_t first = samples->frames.load(std::memory_order_relaxed);
            const std::size_t kept = std::min<std::size_t>(frames, samples->most - first);
            for (std::size_t channel = 0; channel < samples->channels.size(); ++channel) {
                std::copy_n(static_cast<const Float32*>(list->mBuffers[channel].mData), kept,
                            &samples->channels[channel][first]);
            }
            samples->frames.store(first + kept, std::memory_order_release);
        });
    mSamples->unit->start();
    if (!braq::tests::eventually([&] { return this->frames() > 0; })) {
        throw std::runtime_error("nothing is captured");
    }
}

Capture::~Capture() { mSamples->unit->stop(); }

std::size_t Capture::frames() const { return mSamples->frames.load(std::memory_order_acquire); }

std::size_t Capture::lostFrames() const { return mSamples->unit->lostFrames(); }

Sound Capture::sound() const {
    // No further: what is behind them is being written.
    const auto count = static_cast<std::ptrdiff_t>(frames());
    Sound sound;
    for (const auto& samples : mSamples->channels) {
        sound.channels.emplace_back(samples.begin(), samples.begin() + count);
    }
    return sound;
}

} // namespace tool_test
