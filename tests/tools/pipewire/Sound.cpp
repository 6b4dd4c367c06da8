#include "tests/tools/pipewire/Sound.h"

#include "BRAQAudio/BRAQAudio.h"
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
    const auto cut = [&](const std::vector<Float32>& samples) {
        const auto begin = samples.begin() + static_cast<std::ptrdiff_t>(std::min(first, samples.size()));
        return std::vector<Float32>(begin, begin + std::min(static_cast<std::ptrdiff_t>(count), samples.end() - begin));
    };
    return {cut(left), cut(right)};
}

Sound Sound::backwards() const { return {{left.rbegin(), left.rend()}, {right.rbegin(), right.rend()}}; }

Sound Sound::trimmed(Float32 threshold) const {
    const auto isLoud = [&](Float32 sample) { return std::fabs(sample) > threshold; };
    const auto first = std::ranges::find_if(right, isLoud);
    const auto end = std::find_if(right.rbegin(), right.rend(), isLoud).base();
    return first < end ? part(static_cast<std::size_t>(first - right.begin()), static_cast<std::size_t>(end - first))
                       : Sound{};
}

Sound toneAndNoise(std::size_t frames, Float64 rate, Float64 frequency) {
    constexpr double fullScale = 32768.0;
    constexpr int halfScale = 16384;
    constexpr int noiseRange = 4096;
    std::mt19937 generator(1);
    Sound sound;
    for (std::size_t frame = 0; frame < frames; ++frame) {
        const double phase = 2.0 * std::numbers::pi * frequency * static_cast<double>(frame) / rate;
        const int noise = static_cast<int>(generator() % (2 * noiseRange)) - noiseRange;
        sound.left.push_back(static_cast<Float32>(std::round(halfScale * std::sin(phase)) / fullScale));
        sound.right.push_back(static_cast<Float32>((noise | 1) / fullScale));
    }
    return sound;
}

namespace {

constexpr UInt32 blockFrames = 8192;
using Block = std::unique_ptr<AudioBufferList, decltype(&BRAQAudioBufferListDestroy)>;

Block makeBlock() {
    return {BRAQAudioBufferListCreate(2, sizeof(Float32), blockFrames, false), &BRAQAudioBufferListDestroy};
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
    const Block block = makeBlock();
    for (std::size_t first = 0; first < sound.frames(); first += blockFrames) {
        const Sound part = sound.part(first, blockFrames);
        std::ranges::copy(part.left, samplesOf(block, 0));
        std::ranges::copy(part.right, samplesOf(block, 1));
        auto frames = static_cast<UInt32>(part.frames());
        file->writeAudioBufferList(block.get(), &frames);
    }
}

Sound readFile(const std::filesystem::path& path) {
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(path);
    if (file == nullptr || file->streamDescription()->channelsPerFrame() != 2) {
        throw std::runtime_error(path.string() + " is no stereo file");
    }
    Sound sound;
    const Block block = makeBlock();
    for (UInt32 frames = blockFrames; frames != 0;) {
        frames = blockFrames;
        for (UInt32 buffer = 0; buffer < 2; ++buffer) {
            block->mBuffers[buffer].mDataByteSize = blockFrames * static_cast<UInt32>(sizeof(Float32));
        }
        file->readIntoAudioBufferList(block.get(), 0, &frames);
        sound.left.insert(sound.left.end(), samplesOf(block, 0), samplesOf(block, 0) + frames);
        sound.right.insert(sound.right.end(), samplesOf(block, 1), samplesOf(block, 1) + frames);
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
    const std::size_t both = std::min(one.frames(), other.frames());
    std::size_t frame = 0;
    while (frame < both && one.left[frame] == other.left[frame] && one.right[frame] == other.right[frame]) {
        ++frame;
    }
    return frame;
}

struct Capture::Samples {
    explicit Samples(std::size_t most) : left(most), right(most) {}

    std::vector<Float32> left;
    std::vector<Float32> right;
    std::atomic<std::size_t> frames{0};
    std::shared_ptr<BRAQInputAudioUnit> unit;
};

Capture::Capture(const std::string& deviceUID, std::size_t mostFrames)
    : mSamples(std::make_shared<Samples>(mostFrames)) {
    std::shared_ptr<BRAQAudioDevice> device;
    if (!braq::testing::eventually([&] {
            device = BRAQAudioDevice::initWithDeviceUID(deviceUID);
            return device != nullptr;
        })) {
        throw std::runtime_error("there is no device " + deviceUID);
    }
    mSamples->unit = BRAQInputAudioUnit::initWithDevice(device, std::nullopt);
    mSamples->unit->setInputProcessingBlock(
        [samples = mSamples.get()](auto*, auto*, UInt32, UInt32 frames, AudioBufferList* list) {
            const std::size_t first = samples->frames.load(std::memory_order_relaxed);
            const std::size_t kept = std::min<std::size_t>(frames, samples->left.size() - first);
            std::copy_n(static_cast<const Float32*>(list->mBuffers[0].mData), kept, &samples->left[first]);
            std::copy_n(static_cast<const Float32*>(list->mBuffers[1].mData), kept, &samples->right[first]);
            samples->frames.store(first + kept, std::memory_order_release);
        });
    mSamples->unit->start();
    if (!braq::testing::eventually([&] { return this->frames() > 0; })) {
        throw std::runtime_error("nothing is captured");
    }
}

Capture::~Capture() { mSamples->unit->stop(); }

std::size_t Capture::frames() const { return mSamples->frames.load(std::memory_order_acquire); }

Sound Capture::sound() const {
    // No further: what is behind them is being written.
    const auto count = static_cast<std::ptrdiff_t>(frames());
    return {{mSamples->left.begin(), mSamples->left.begin() + count},
            {mSamples->right.begin(), mSamples->right.begin() + count}};
}

} // namespace tool_test
