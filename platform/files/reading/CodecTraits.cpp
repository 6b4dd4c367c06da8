#include "platform/files/reading/CodecTraits.h"

#include "BRAQAudio/platform/files.h"

#include <algorithm>
#include <array>

namespace braq {
namespace {

// AAC blocks overlap, and spectral band replication looks one block further back. Noise that stands for noise comes from a
// generator that runs on from packet to packet.
constexpr UInt32 aacPreroll = 3;
constexpr UInt32 aacRestart = 384 * 1024;
// Opus decoders converge: after a second of music not one bit differs any more. Of low-rate speech, traces 100 dB below
// full scale can stay, where voiced sounds are predicted from each other without a break.
constexpr UInt32 opusPreroll = 48000;
constexpr UInt32 opusRestart = 6 * 48000;

constexpr std::array traits{
    CodecTraits{AV_CODEC_ID_AAC, kAudioFormatMPEG4AAC, aacPreroll, 0, aacRestart},
    CodecTraits{AV_CODEC_ID_ALAC, kAudioFormatAppleLossless, 0, 0, 0},
    CodecTraits{AV_CODEC_ID_FLAC, kAudioFormatFLAC, 0, 0, 0},
    CodecTraits{AV_CODEC_ID_MP3, kAudioFormatMPEGLayer3, 2, 0, 0},
    CodecTraits{AV_CODEC_ID_VORBIS, kBRAQAudioFormatVorbis, 1, 0, 0},
    CodecTraits{AV_CODEC_ID_OPUS, kAudioFormatOpus, 1, opusPreroll, opusRestart},
};

} // namespace

const CodecTraits* codecTraits(AVCodecID codec) {
    const auto* const found = std::ranges::find(traits, codec, &CodecTraits::codec);
    return found == traits.end() ? nullptr : found;
}

} // namespace braq
