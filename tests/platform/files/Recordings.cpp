#include "tests/platform/files/Recordings.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

namespace braq::tests {

Signal integerNoise(UInt32 channels, std::size_t frames, UInt32 bits) {
    std::mt19937 random(bits);
    const auto scale = std::int64_t{1} << (bits - 1);
    std::uniform_int_distribution<std::int64_t> noise(-scale / 4, scale / 4);
    Signal signal(channels, std::vector<Float32>(frames));
    for (UInt32 channel = 0; channel < channels; ++channel) {
        for (std::size_t i = 0; i < frames; ++i) {
            const auto ramp = static_cast<std::int64_t>(i * (channel + 1) * 37) % scale - scale / 2;
            signal[channel][i] = static_cast<Float32>(noise(random) + ramp) / static_cast<Float32>(scale);
        }
        if (frames > 1) {
            signal[channel].front() = -1;
            signal[channel].back() = static_cast<Float32>(std::min<std::int64_t>(scale - 1, (1 << 24) - 1)) /
                                     static_cast<Float32>(std::min<std::int64_t>(scale, 1 << 24));
        }
    }
    return signal;
}

Signal floatNoise(UInt32 channels, std::size_t frames) {
    std::mt19937 random(7);
    std::uniform_real_distribution<Float32> noise(-1, 1);
    Signal signal(channels, std::vector<Float32>(frames));
    for (std::vector<Float32>& plane : signal) {
        std::ranges::generate(plane, [&] { return noise(random) * std::exp2(-16 * std::abs(noise(random))); });
        plane.front() = 1.5F;
        plane.back() = -0.0F;
    }
    return signal;
}

Signal tones(UInt32 channels, std::size_t frames, Float64 rate, Float64 frequency) {
    Signal signal(channels, std::vector<Float32>(frames));
    for (UInt32 channel = 0; channel < channels; ++channel) {
        for (std::size_t i = 0; i < frames; ++i) {
            const Float64 phase = 2 * std::numbers::pi * frequency * static_cast<Float64>(i) / rate;
            signal[channel][i] = static_cast<Float32>(std::ldexp(0.5 * std::sin(phase), -static_cast<int>(channel)));
        }
    }
    return signal;
}

AudioStreamBasicDescription fileFormat(UInt32 formatID, UInt32 flags, UInt32 bits, UInt32 channels, Float64 rate) {
    AudioStreamBasicDescription format{};
    format.mSampleRate = rate;
    format.mFormatID = formatID;
    format.mFormatFlags = flags;
    format.mBitsPerChannel = bits;
    format.mChannelsPerFrame = channels;
    return format;
}

AudioStreamBasicDescription clientFormat(UInt32 channels, Float64 rate, bool isInterleaved) {
    AudioStreamBasicDescription format = fileFormat(kAudioFormatLinearPCM,
                                                    kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked |
                                                        (isInterleaved ? 0 : kAudioFormatFlagIsNonInterleaved),
                                                    32, channels, rate);
    format.mFramesPerPacket = 1;
    format.mBytesPerFrame = format.mBytesPerPacket = 4 * (isInterleaved ? channels : 1);
    return format;
}

OSStatus writeFrames(FileWriter& writer, const Signal& signal, std::size_t first, std::size_t frames) {
    const auto buffers = static_cast<UInt32>(signal.size());
    const std::unique_ptr<AudioBufferList, void (*)(void*)> list(
        static_cast<AudioBufferList*>(std::malloc(AudioBufferListByteSize(buffers))), std::free);
    list->mNumberBuffers = buffers;
    for (UInt32 i = 0; i < buffers; ++i) {
        list->mBuffers[i] = {1, static_cast<UInt32>(frames * sizeof(Float32)), const_cast<Float32*>(&signal[i][first])};
    }
    return writer.write(static_cast<UInt32>(frames), *list);
}

OSStatus writeSignal(FileWriter& writer, const Signal& signal) {
    OSStatus status = 0;
    std::size_t size = 1;
    for (std::size_t first = 0; first < signal.front().size() && status == 0;) {
        const std::size_t frames = std::min(size, signal.front().size() - first);
        status = writeFrames(writer, signal, first, frames);
        first += frames;
        size = size * 3 % 20011;
    }
    return status;
}

double signalToNoise(const std::vector<double>& found, const std::vector<Float32>& original, std::size_t first,
                     std::size_t last) {
    double signal = 0;
    double noise = 0;
    for (std::size_t i = first; i < last; ++i) {
        const double difference = found.at(i) - static_cast<double>(original.at(i));
        signal += static_cast<double>(original[i]) * static_cast<double>(original[i]);
        noise += difference * difference;
    }
    return 10 * std::log10(signal / noise);
}

} // namespace braq::tests
