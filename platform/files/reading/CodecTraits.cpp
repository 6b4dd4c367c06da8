#include "platform/files/reading/CodecTraits.h"

#include "BRAQAudio/platform/files.h"

#include <algorithm>
#include <array>

namespace braq {
namespace {

// AAC blocks overlap, and spectral band replication looks one block further back. Noise substitution uses a generator
// that runs on from packet to packet. A restart costs about as much as twenty packets; a seek costs decoding from the
// last restart: some milliseconds.
constexpr UInt32 aacPreroll = 3;
constexpr UInt32 aacRestart = 1536 * 1024;
// Opus decoders converge: after a second of music packets, differences are below the last bit for nearly all sounds,
// and after 1.5 seconds for all that were tried. With low-rate speech, traces 100 dB below full scale can stay where
// voiced sounds are predicted from each other without a break.
constexpr UInt32 opusForgetting = 72000;
constexpr UInt32 longestOpusPacket = 5760;
constexpr UInt32 opusPreroll = opusForgetting + longestOpusPacket;
constexpr UInt32 opusRestart = 36 * 48000;
constexpr auto isOpusMusic = [](std::uint8_t firstByte) { return firstByte >= 0x80; };

constexpr std::array traits{
    CodecTraits{AV_CODEC_ID_AAC, kAudioFormatMPEG4AAC, aacPreroll, 0, aacRestart, nullptr, 0},
    CodecTraits{AV_CODEC_ID_ALAC, kAudioFormatAppleLossless, 0, 0, 0, nullptr, 0},
    CodecTraits{AV_CODEC_ID_FLAC, kAudioFormatFLAC, 0, 0, 0, nullptr, 0},
    CodecTraits{AV_CODEC_ID_MP3, kAudioFormatMPEGLayer3, 2, 0, 0, nullptr, 0},
    CodecTraits{AV_CODEC_ID_VORBIS, kBRAQAudioFormatVorbis, 1, 0, 0, nullptr, 0},
    CodecTraits{AV_CODEC_ID_OPUS, kAudioFormatOpus, 1, opusPreroll, opusRestart, isOpusMusic, opusForgetting},
};

} // namespace

const CodecTraits* codecTraits(AVCodecID codec) {
    const auto* const found = std::ranges::find(traits, codec, &CodecTraits::codec);
    return found == traits.end() ? nullptr : found;
}

} // namespace braq
