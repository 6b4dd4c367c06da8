#include "platform/files/writing/FileCoding.h"

#include "platform/foundation/FailureReason.h"

#include <algorithm>

namespace braq {
namespace {

using Sort = SampleLayout::Sort;

struct Codec {
    AudioFileTypeID type; // 0: any
    Sort sort;
    UInt32 bits;
    bool isBigEndian;
    AVCodecID codec;
    UInt32 tag; // 0: the default

    /// Its samples in the file.
    SampleLayout sample() const {
        return {codec == AV_CODEC_ID_PCM_U8 ? Sort::unsignedInteger : sort, bits, bits / 8, isBigEndian};
    }
};

constexpr Codec codecs[] = {
    // With the default tags libav writes these as AIFF. For 8 bits it has a tag for unsigned samples only; the samples
    // are the same.
    {kAudioFileAIFCType, Sort::signedInteger, 8, true, AV_CODEC_ID_PCM_U8, MKTAG('r', 'a', 'w', ' ')},
    {kAudioFileAIFCType, Sort::signedInteger, 16, true, AV_CODEC_ID_PCM_S16BE, MKTAG('t', 'w', 'o', 's')},
    {kAudioFileAIFCType, Sort::signedInteger, 24, true, AV_CODEC_ID_PCM_S24BE, MKTAG('i', 'n', '2', '4')},
    {kAudioFileAIFCType, Sort::signedInteger, 32, true, AV_CODEC_ID_PCM_S32BE, MKTAG('i', 'n', '3', '2')},
    {0, Sort::unsignedInteger, 8, false, AV_CODEC_ID_PCM_U8, 0},
    {0, Sort::signedInteger, 8, false, AV_CODEC_ID_PCM_S8, 0},
    {0, Sort::signedInteger, 8, true, AV_CODEC_ID_PCM_S8, 0},
    {0, Sort::signedInteger, 16, false, AV_CODEC_ID_PCM_S16LE, 0},
    {0, Sort::signedInteger, 16, true, AV_CODEC_ID_PCM_S16BE, 0},
    {0, Sort::signedInteger, 24, false, AV_CODEC_ID_PCM_S24LE, 0},
    {0, Sort::signedInteger, 24, true, AV_CODEC_ID_PCM_S24BE, 0},
    {0, Sort::signedInteger, 32, false, AV_CODEC_ID_PCM_S32LE, 0},
    {0, Sort::signedInteger, 32, true, AV_CODEC_ID_PCM_S32BE, 0},
    {0, Sort::floating, 32, false, AV_CODEC_ID_PCM_F32LE, 0},
    {0, Sort::floating, 32, true, AV_CODEC_ID_PCM_F32BE, 0},
    {0, Sort::floating, 64, false, AV_CODEC_ID_PCM_F64LE, 0},
    {0, Sort::floating, 64, true, AV_CODEC_ID_PCM_F64BE, 0},
};

Sort sortOf(UInt32 flags) {
    if ((flags & kAudioFormatFlagIsFloat) != 0) {
        return Sort::floating;
    }
    return (flags & kAudioFormatFlagIsSignedInteger) != 0 ? Sort::signedInteger : Sort::unsignedInteger;
}

bool isBigEndian(UInt32 flags) { return (flags & kAudioFormatFlagIsBigEndian) != 0; }

bool isSameKind(const AudioStreamBasicDescription& one, const AudioStreamBasicDescription& other) {
    return one.mBitsPerChannel == other.mBitsPerChannel && sortOf(one.mFormatFlags) == sortOf(other.mFormatFlags) &&
           isBigEndian(one.mFormatFlags) == isBigEndian(other.mFormatFlags);
}

const Codec* findCodec(AudioFileTypeID type, const AudioStreamBasicDescription& format) {
    const auto* const found = std::ranges::find_if(codecs, [&](const Codec& each) {
        return (each.type == 0 || each.type == type) && each.bits == format.mBitsPerChannel &&
               each.sort == sortOf(format.mFormatFlags) && each.isBigEndian == isBigEndian(format.mFormatFlags);
    });
    return found == std::end(codecs) ? nullptr : found;
}

/// Packed, interleaved frames of a format that the type holds.
bool choosePCM(const AudioStreamBasicDescription& format, FileCoding& coding) {
    std::vector<AudioStreamBasicDescription> held;
    if (streamDescriptions(coding.type, kAudioFormatLinearPCM, held) != 0) {
        return false;
    }
    const auto kind = std::ranges::find_if(held, [&](const auto& each) { return isSameKind(each, format); });
    const Codec* const codec = findCodec(coding.type, format);
    const bool isPlanar = (format.mFormatFlags & kAudioFormatFlagIsNonInterleaved) != 0 && format.mChannelsPerFrame > 1;
    if (kind == held.end() || codec == nullptr || isPlanar || format.mFramesPerPacket > 1) {
        return false;
    }
    const UInt32 bytesPerFrame = codec->bits / 8 * format.mChannelsPerFrame;
    if (format.mBytesPerFrame != 0 && format.mBytesPerFrame != bytesPerFrame) {
        return false;
    }
    coding.codec = codec->codec;
    coding.codecTag = codec->tag;
    coding.sample = codec->sample();
    coding.description.mFormatFlags = kind->mFormatFlags;
    coding.description.mBitsPerChannel = codec->bits;
    coding.description.mFramesPerPacket = 1;
    coding.description.mBytesPerFrame = coding.description.mBytesPerPacket = bytesPerFrame;
    return true;
}

/// The flags state the bit depth, 1 to 4 for 16, 20, 24 and 32 bits; otherwise it is stated as for linear PCM; 24 bits
/// if it is not stated. There are encoders for 16 and 24 bits: the latter hold 20 bits as well, but not 32.
bool chooseLossless(const AudioStreamBasicDescription& format, AVCodecID codec, FileCoding& coding) {
    constexpr UInt32 depths[] = {24, 16, 20, 24, 32};
    UInt32 bits = format.mFormatFlags < std::size(depths) ? depths[format.mFormatFlags] : 0;
    if (format.mFormatFlags == 0 && format.mBitsPerChannel != 0) {
        bits = format.mBitsPerChannel;
    }
    if (bits != 16 && bits != 20 && bits != 24) {
        return false;
    }
    const bool isDeep = bits > 16;
    coding.codec = codec;
    coding.sample =
        isDeep ? SampleLayout{Sort::signedInteger, 24, 4, false} : SampleLayout{Sort::signedInteger, 16, 2, false};
    coding.description.mFormatFlags = isDeep ? 3 : 1;
    return true;
}

/// The flags are the object type: 2 is the one with an encoder, 0 leaves the choice.
bool chooseAAC(const AudioStreamBasicDescription& format, FileCoding& coding) {
    coding.codec = AV_CODEC_ID_AAC;
    coding.sample = {Sort::floating, 32, 4, false};
    coding.description.mFormatFlags = 2;
    return format.mFormatFlags == 0 || format.mFormatFlags == 2;
}

bool chooseCodec(const AudioStreamBasicDescription& format, FileCoding& coding) {
    switch (format.mFormatID) {
    case kAudioFormatLinearPCM: return choosePCM(format, coding);
    case kAudioFormatAppleLossless: return chooseLossless(format, AV_CODEC_ID_ALAC, coding);
    case kAudioFormatFLAC: return chooseLossless(format, AV_CODEC_ID_FLAC, coding);
    case kAudioFormatMPEG4AAC: return chooseAAC(format, coding);
    default: return false;
    }
}

} // namespace

OSStatus chooseCoding(AudioFileTypeID type, const AudioStreamBasicDescription& format, FileCoding& coding) {
    if (!isWritableType(type)) {
        return kAudioFileUnsupportedFileTypeError;
    }
    FileCoding chosen{};
    chosen.type = type;
    chosen.muxer = fileMuxer(type, format.mFormatID);
    chosen.description.mSampleRate = format.mSampleRate;
    chosen.description.mFormatID = format.mFormatID;
    chosen.description.mChannelsPerFrame = format.mChannelsPerFrame;
    chosen.format = audioFileFormat(type, format.mFormatID);
    if (chosen.muxer == nullptr) {
        noteOwnReason("the coding is not supported");
        return kAudioFileUnsupportedDataFormatError;
    }
    const bool isRate = format.mSampleRate == 0 || chosen.format->allowsRate(format.mSampleRate);
    const bool areChannels = chosen.format->allowsChannels(format.mChannelsPerFrame);
    if (!isRate || !areChannels || !chooseCodec(format, chosen)) {
        noteOwnReason(!isRate ? rateReason : !areChannels ? channelsReason : "the kind of sample is not supported");
        return kAudioFileUnsupportedDataFormatError;
    }
    coding = chosen;
    return 0;
}

} // namespace braq
