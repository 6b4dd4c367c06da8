#include "tools/braq/play/LoopSeam.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <new>
#include <vector>

namespace {

constexpr double reachSeconds = 0.010; // half a period of 50 Hz, and not noticed
constexpr double likeSeconds = 0.001;  // compared on both sides of the seam

/// By channel.
using Sound = std::vector<std::vector<Float32>>;

/// Silence stands for frames that the file does not have.
Sound read(BRAQExtendedAudioFile& file, SInt64 first, UInt32 frames) {
    const UInt32 channels = file.streamDescription()->channelsPerFrame();
    const std::unique_ptr<AudioBufferList, decltype(&BRAQAudioBufferListDestroy)> list(
        BRAQAudioBufferListCreate(channels, sizeof(Float32), frames, false), &BRAQAudioBufferListDestroy);
    if (list == nullptr) {
        throw std::bad_alloc();
    }
    const SInt64 begin = std::max<SInt64>(first, 0);
    UInt32 count = frames - static_cast<UInt32>(begin - first);
    file.seekToExactFrame(begin);
    file.readIntoAudioBufferList(list.get(), begin, &count);
    Sound sound(channels, std::vector<Float32>(frames));
    for (UInt32 channel = 0; channel < channels; ++channel) {
        const auto* const samples = static_cast<const Float32*>(list->mBuffers[channel].mData);
        std::copy_n(samples, count, sound[channel].begin() + (begin - first));
    }
    return sound;
}

/// The squares of the differences between all of a sound and a part of another one.
double difference(const Sound& sound, const Sound& other, std::size_t first) {
    double sum = 0.0;
    for (std::size_t channel = 0; channel < sound.size(); ++channel) {
        for (std::size_t frame = 0; frame < sound[channel].size(); ++frame) {
            const double difference = sound[channel][frame] - other[channel][first + frame];
            sum += difference * difference;
        }
    }
    return sum;
}

} // namespace

SInt64 endOfSmoothLoop(BRAQExtendedAudioFile& file, SInt64 firstFrame, SInt64 endFrame) {
    const Float64 rate = file.streamDescription()->sampleRate();
    const auto reach = static_cast<SInt64>(reachSeconds * rate);
    const auto like = static_cast<SInt64>(likeSeconds * rate);
    const Sound beginning = read(file, firstFrame - like, static_cast<UInt32>(2 * like));
    const Sound around = read(file, endFrame - reach - like, static_cast<UInt32>(2 * (reach + like)));
    const SInt64 last = std::min(endFrame + reach, file.exactFrameCount());
    SInt64 best = endFrame;
    double least = std::numeric_limits<double>::infinity();
    for (SInt64 end = std::max(endFrame - reach, firstFrame + reach); end <= last; ++end) {
        const double found = difference(beginning, around, static_cast<std::size_t>(end - (endFrame - reach)));
        if (found < least) {
            least = found;
            best = end;
        }
    }
    return best;
}
