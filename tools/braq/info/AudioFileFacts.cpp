#include "tools/braq/info/AudioFileFacts.h"

#include "tools/braq/info/FileContainer.h"
#include "tools/braq/shared/DeviceFacts.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>

namespace {

struct Codec {
    UInt32 formatID;
    const char* name;
    bool isLossless;
};
constexpr std::array codecs{
    Codec{kAudioFormatLinearPCM, "linear PCM", true},
    Codec{kAudioFormatAppleLossless, "ALAC", true},
    Codec{kAudioFormatFLAC, "FLAC", true},
    Codec{kAudioFormatMPEG4AAC, "AAC", false},
    Codec{kAudioFormatMPEGLayer3, "MP3", false},
    Codec{kBRAQAudioFormatVorbis, "Vorbis", false},
    Codec{kAudioFormatOpus, "Opus", false},
};

// Lossless codings state their bit depth in their flags.
std::optional<UInt32> bitsOf(const AudioStreamBasicDescription& format, bool isLossless) {
    if (format.mFormatID == kAudioFormatLinearPCM) {
        return format.mBitsPerChannel;
    }
    constexpr std::array<UInt32, 5> depths{0, 16, 20, 24, 32};
    const bool hasDepth = isLossless && format.mFormatFlags > 0 && format.mFormatFlags < depths.size();
    return hasDepth ? std::optional(depths[format.mFormatFlags]) : std::nullopt;
}

SampleKind kindOf(const AudioStreamBasicDescription& format, bool isLossless) {
    if (format.mFormatID != kAudioFormatLinearPCM) {
        return isLossless ? SampleKind::signedInteger : SampleKind::unknown;
    }
    if ((format.mFormatFlags & kAudioFormatFlagIsFloat) != 0) {
        return SampleKind::real;
    }
    return (format.mFormatFlags & kAudioFormatFlagIsSignedInteger) != 0 ? SampleKind::signedInteger
                                                                        : SampleKind::unsignedInteger;
}

// The library has no bit rate for files that it reads. For linear PCM it follows from the format; otherwise it is the
// average of the whole file, including headers and tags.
std::optional<Float64> bitRateOf(const AudioFileFacts& facts, const AudioStreamBasicDescription& format) {
    if (format.mFormatID == kAudioFormatLinearPCM) {
        return format.mSampleRate * format.mChannelsPerFrame * format.mBitsPerChannel;
    }
    std::error_code problem;
    const auto bytes = std::filesystem::file_size(facts.path, problem);
    return !problem && facts.frames > 0 ? std::optional(static_cast<Float64>(bytes) * 8.0 / facts.seconds())
                                        : std::nullopt;
}

// Zeros may also mean that the file does not state them; a lossless coding states what it adds.
std::optional<AudioConverterPrimeInfo> addedFramesOf(const BRAQExtendedAudioFile& file, bool isLossless) {
    const AudioConverterPrimeInfo info = file.primeInfo();
    const bool isSaid = info.leadingFrames != 0 || info.trailingFrames != 0;
    return isSaid || isLossless ? std::optional(info) : std::nullopt;
}

} // namespace

AudioFileFacts factsOf(const std::string& path, const BRAQExtendedAudioFile& file) {
    const AudioStreamBasicDescription format = file.fileDataFormat();
    const auto* const codec = std::ranges::find(codecs, format.mFormatID, &Codec::formatID);
    const bool isLossless = codec != codecs.end() && codec->isLossless;
    AudioFileFacts facts;
    facts.path = path;
    facts.container = fileContainer(path, format.mFormatID);
    facts.codec = codec != codecs.end() ? codec->name : "";
    facts.kind = kindOf(format, isLossless);
    facts.bits = bitsOf(format, isLossless);
    facts.rate = format.mSampleRate;
    facts.channels = format.mChannelsPerFrame;
    facts.layout = facts.channels == 1 ? "mono" : facts.channels == 2 ? "stereo" : "";
    // The richer class counts frames in single precision.
    facts.frames = BRAQAudioFile::initForPlaybackWithFilename(path)->frameCount();
    facts.bitRate = bitRateOf(facts, format);
    facts.addedFrames = addedFramesOf(file, isLossless);
    return facts;
}

std::string channelName(const AudioFileFacts& facts, std::size_t channel) {
    if (facts.channels == 2) {
        return channel == 0 ? "L" : "R";
    }
    return facts.channels == 1 ? "mono" : std::to_string(channel + 1);
}

std::string sampleText(const AudioFileFacts& facts) {
    std::string kind;
    switch (facts.kind) {
    case SampleKind::unknown: return "";
    case SampleKind::signedInteger: kind = "integer"; break;
    case SampleKind::unsignedInteger: kind = "unsigned integer"; break;
    case SampleKind::real: kind = "float"; break;
    }
    return facts.bits ? std::to_string(*facts.bits) + "-bit " + kind : kind;
}

std::string summaryOf(const AudioFileFacts& facts) {
    std::string text;
    for (const std::string& part : {facts.codec, sampleText(facts)}) {
        text += part.empty() ? "" : part + ", ";
    }
    const std::string layout = facts.layout.empty() ? std::to_string(facts.channels) + " channels" : facts.layout;
    return text + rateText(facts.rate) + " Hz, " + layout;
}
