#include "platform/files/reading/PcmFormat.h"

#include "platform/files/reading/Bytes.h"

#include <algorithm>
#include <array>
#include <bit>

// The loops below benefit from SIMD; this compiler vectorises them at this level only.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC optimize("O3")
#endif

namespace braq {
namespace {

template <UInt32 size>
struct Sample; // how a sample of this size is loaded, little-endian or reversed, regardless of its type

template <>
struct Sample<1> {
    static UInt32 load(const std::uint8_t* bytes, bool) { return UInt32{*bytes} << 24; }
};
template <>
struct Sample<2> {
    static UInt16 load(const std::uint8_t* bytes, bool isReversed) {
        const auto value = nativeAt<UInt16>(bytes);
        return isReversed ? reverseBytes(value) : value;
    }
};
template <>
struct Sample<3> {
    // One load of four bytes, of which the last three are the sample: in the upper part of 32 bits.
    static UInt32 load(const std::uint8_t* bytes, bool isReversed) {
        const auto value = nativeAt<UInt32>(bytes - 1);
        return (isReversed ? reverseBytes(value) << 8 : value) & 0xFFFFFF00;
    }
};
template <>
struct Sample<4> {
    static UInt32 load(const std::uint8_t* bytes, bool isReversed) {
        const auto value = nativeAt<UInt32>(bytes);
        return isReversed ? reverseBytes(value) : value;
    }
};
template <>
struct Sample<8> {
    static UInt64 load(const std::uint8_t* bytes, bool isReversed) {
        const auto value = nativeAt<UInt64>(bytes);
        return isReversed ? reverseBytes(value) : value;
    }
};

constexpr float fullScale16 = 1.0F / 32768;
constexpr float fullScale32 = 1.0F / 2147483648.0F;

struct Unsigned {
    static float toFloat(UInt32 bits) {
        return static_cast<float>(static_cast<SInt32>(bits ^ 0x80000000)) * fullScale32;
    }
};
struct Signed {
    static float toFloat(UInt16 bits) { return static_cast<float>(static_cast<SInt16>(bits)) * fullScale16; }
    static float toFloat(UInt32 bits) { return static_cast<float>(static_cast<SInt32>(bits)) * fullScale32; }
};
struct Float {
    static float toFloat(UInt32 bits) { return std::bit_cast<float>(bits); }
    static float toFloat(UInt64 bits) { return static_cast<float>(std::bit_cast<double>(bits)); }
};

template <UInt32 size, class Meaning, bool isReversed>
float sampleAt(const std::uint8_t* bytes) {
    return Meaning::toFloat(Sample<size>::load(bytes, isReversed));
}

template <UInt32 size, class Meaning, bool isReversed>
void split(const std::uint8_t* samples, UInt32 frames, UInt32 channels, float* const* planes) {
    constexpr auto at = sampleAt<size, Meaning, isReversed>;
    if (channels == 1) {
        float* const plane = planes[0];
        for (std::size_t i = 0; i < frames; ++i) {
            plane[i] = at(samples + i * size);
        }
        return;
    }
    if (channels == 2) {
        float* __restrict const left = planes[0];
        float* __restrict const right = planes[1];
        for (std::size_t i = 0; i < frames; ++i) {
            left[i] = at(samples + 2 * i * size);
            right[i] = at(samples + (2 * i + 1) * size);
        }
        return;
    }
    for (UInt32 channel = 0; channel < channels; ++channel) {
        float* const plane = planes[channel];
        const std::uint8_t* sample = samples + std::size_t{channel} * size;
        for (std::size_t i = 0; i < frames; ++i, sample += std::size_t{channels} * size) {
            plane[i] = at(sample);
        }
    }
}

constexpr UInt32 packed = kAudioFormatFlagIsPacked;
constexpr UInt32 packedInteger = packed | kAudioFormatFlagIsSignedInteger;
constexpr UInt32 real = packed | kAudioFormatFlagIsFloat;
constexpr UInt32 reversed = kAudioFormatFlagIsBigEndian;

constexpr std::array formats{
    PcmFormat{AV_CODEC_ID_PCM_U8, 1, packed, split<1, Unsigned, false>},
    PcmFormat{AV_CODEC_ID_PCM_S8, 1, packedInteger, split<1, Signed, false>},
    PcmFormat{AV_CODEC_ID_PCM_S16LE, 2, packedInteger, split<2, Signed, false>},
    PcmFormat{AV_CODEC_ID_PCM_S16BE, 2, packedInteger | reversed, split<2, Signed, true>},
    PcmFormat{AV_CODEC_ID_PCM_S24LE, 3, packedInteger, split<3, Signed, false>},
    PcmFormat{AV_CODEC_ID_PCM_S24BE, 3, packedInteger | reversed, split<3, Signed, true>},
    PcmFormat{AV_CODEC_ID_PCM_S32LE, 4, packedInteger, split<4, Signed, false>},
    PcmFormat{AV_CODEC_ID_PCM_S32BE, 4, packedInteger | reversed, split<4, Signed, true>},
    PcmFormat{AV_CODEC_ID_PCM_F32LE, 4, real, split<4, Float, false>},
    PcmFormat{AV_CODEC_ID_PCM_F32BE, 4, real | reversed, split<4, Float, true>},
    PcmFormat{AV_CODEC_ID_PCM_F64LE, 8, real, split<8, Float, false>},
    PcmFormat{AV_CODEC_ID_PCM_F64BE, 8, real | reversed, split<8, Float, true>},
};

} // namespace

const PcmFormat* pcmFormat(AVCodecID codec) {
    const auto* const found = std::ranges::find(formats, codec, &PcmFormat::codec);
    return found == formats.end() ? nullptr : found;
}

AudioStreamBasicDescription linearFormat(const PcmFormat& pcm, Float64 sampleRate, UInt32 channels) {
    AudioStreamBasicDescription format{};
    format.mSampleRate = sampleRate;
    format.mFormatID = kAudioFormatLinearPCM;
    format.mFormatFlags = pcm.formatFlags;
    format.mBytesPerPacket = pcm.bytesPerSample * channels;
    format.mFramesPerPacket = 1;
    format.mBytesPerFrame = format.mBytesPerPacket;
    format.mChannelsPerFrame = channels;
    format.mBitsPerChannel = pcm.bytesPerSample * 8;
    return format;
}

} // namespace braq
