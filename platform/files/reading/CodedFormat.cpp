#include "platform/files/reading/CodedFormat.h"

#include "platform/files/libav/LibavChannels.h"
#include "platform/files/libav/LibavLogScope.h"

namespace braq {
namespace {

constexpr int triedPackets = 16;

// Lossless codings state their bit depth in the flags.
UInt32 depthFlag(UInt32 bits) {
    switch (bits) {
    case 16: return 1;
    case 20: return 2;
    case 24: return 3;
    case 32: return 4;
    default: return 0;
    }
}

// AAC states its object type; the usual one, low complexity, is number 2.
constexpr UInt32 objectTypeLowComplexity = 2;

} // namespace

std::optional<FirstBlock> decodeFirstBlock(LocalFile& file, PacketSource& packets, PacketDecoder& decoder) {
    const LibavLogScope scope(file.path(), file.libavLinesLeft());
    const PacketPointer packet(av_packet_alloc());
    PacketSpan span;
    std::optional<FirstBlock> block;
    packets.seek(0);
    for (int i = 0; i < triedPackets && !block && packets.next(*packet, span); ++i) {
        const bool isGood = !span.isDamaged && decoder.decode(*packet) >= 0;
        av_packet_unref(packet.get());
        if (isGood && decoder.frames() > 0 && decoder.channels() > 0 && decoder.block().sample_rate > 0) {
            const bool isLossless = decoder.context().bits_per_raw_sample > 0;
            const int bits = isLossless ? decoder.context().bits_per_raw_sample : 0;
            block = FirstBlock{static_cast<Float64>(decoder.block().sample_rate), decoder.channels(), decoder.frames(),
                               static_cast<UInt32>(bits), positionsOf(decoder.block().ch_layout)};
        }
    }
    return block;
}

AudioStreamBasicDescription codedFormat(const CodecTraits& coding, const FirstBlock& block, UInt32 framesPerPacket) {
    AudioStreamBasicDescription format{};
    format.mSampleRate = block.sampleRate;
    format.mFormatID = coding.formatID;
    format.mFormatFlags = coding.codec == AV_CODEC_ID_AAC ? objectTypeLowComplexity : depthFlag(block.bitsPerSample);
    format.mFramesPerPacket = framesPerPacket;
    format.mChannelsPerFrame = block.channels;
    return format;
}

} // namespace braq
