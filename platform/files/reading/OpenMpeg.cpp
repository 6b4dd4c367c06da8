#include "platform/files/reading/Bytes.h"
#include "platform/files/reading/CodedFormat.h"
#include "platform/files/reading/MpegPackets.h"
#include "platform/files/reading/OpenSource.h"

#include <algorithm>
#include <string_view>

namespace braq {
namespace {

// The information in a first packet without audio, made by the encoder, about the following packets.
struct LengthHeader {
    std::optional<UInt32> packets;
    std::optional<UInt32> bytes; // of everything from this packet on
    std::optional<UInt32> delay; // priming by the encoder
    UInt32 padding = 0;          // and padding
};

// A decoder's own delay, which the encoders' figures do not include.
constexpr UInt32 decoderDelay = 528 + 1;

class Fields {
  public:
    explicit Fields(std::span<const std::uint8_t> bytes) : mBytes(bytes) {}
    bool has(std::size_t bytes) const { return mBytes.size() >= bytes; }
    std::string_view text(std::size_t length) const {
        return {reinterpret_cast<const char*>(mBytes.data()), std::min(length, mBytes.size())};
    }
    void skip(std::size_t bytes) { mBytes = mBytes.subspan(std::min(bytes, mBytes.size())); }
    std::optional<UInt32> number() {
        if (!has(4)) {
            return {};
        }
        const auto value = bigEndianAt<UInt32>(mBytes.data());
        skip(4);
        return value;
    }

  private:
    std::span<const std::uint8_t> mBytes;
};

std::optional<LengthHeader> lengthHeader(std::span<const std::uint8_t> packet, const MpegFrame& frame) {
    Fields fortyBytesIn(packet);
    fortyBytesIn.skip(36);
    if (fortyBytesIn.text(4) == "VBRI") {
        return LengthHeader{};
    }
    Fields fields(packet);
    fields.skip(frame.sideBytes);
    if (fields.text(4) != "Xing" && fields.text(4) != "Info") {
        return {};
    }
    fields.skip(4);
    const UInt32 flags = fields.number().value_or(0);
    LengthHeader header;
    header.packets = (flags & 1) != 0 ? fields.number() : std::nullopt;
    header.bytes = (flags & 2) != 0 ? fields.number() : std::nullopt;
    fields.skip((flags & 4) != 0 ? 100 : 0); // a coarse seek table
    fields.skip((flags & 8) != 0 ? 4 : 0);   // quality
    const std::string_view encoder = fields.text(4);
    fields.skip(21);
    if ((encoder == "LAME" || encoder == "Lavf" || encoder == "Lavc") && fields.has(4)) {
        const UInt32 delays = *fields.number() >> 8; // 12 bits each
        header.delay = delays >> 12;
        header.padding = delays & 0xFFF;
    }
    return header;
}

std::optional<LengthHeader> takeLengthHeader(LocalFile& file, MpegPackets& packets) {
    const MpegFrame frame = packets.firstFrame();
    std::vector<std::uint8_t> bytes(frame.bytes);
    file.read(packets.beginOffset(), bytes.data(), bytes.size());
    const auto header = lengthHeader(bytes, frame);
    if (!header) {
        return {};
    }
    // The count is exact if the file is what the encoder wrote, neither a part of it nor several files.
    const bool isUnchanged = header->bytes == packets.endOffset() - packets.beginOffset();
    packets.skipFirst();
    if (isUnchanged && header->packets) {
        packets.setPacketCount(*header->packets);
    }
    return header;
}

} // namespace

std::unique_ptr<SampleSource> openLayerIII(std::unique_ptr<LocalFile> file, SInt64 begin, SInt64 end) {
    const CodecTraits& coding = *codecTraits(AV_CODEC_ID_MP3);
    auto packets = MpegPackets::find(*file, begin, end, &layerIIIFrame, coding.prerollPackets);
    if (!packets) {
        return nullptr;
    }
    const auto header = takeLengthHeader(*file, *packets);
    CodecParametersPointer parameters(avcodec_parameters_alloc());
    parameters->codec_type = AVMEDIA_TYPE_AUDIO;
    parameters->codec_id = coding.codec;
    auto decoder = PacketDecoder::make(*parameters);
    const auto block = decoder ? decodeFirstBlock(*file, *packets, *decoder) : std::nullopt;
    if (!block) {
        return nullptr;
    }
    const UInt32 framesPerPacket = packets->firstFrame().frames;
    const SInt64 frames = packets->packetCount() * framesPerPacket;
    SInt64 priming = 0;
    SInt64 remainder = 0;
    if (header && header->delay) {
        priming = std::min<SInt64>(*header->delay + decoderDelay, frames);
        // If the padding is shorter than the decoder's delay, the end of the audio is in a packet that does not exist.
        remainder = std::clamp<SInt64>(SInt64{header->padding} - decoderDelay, 0, frames - priming);
    }
    FileFacts facts{kAudioFileMP3Type, codedFormat(coding, *block, framesPerPacket), frames - priming - remainder,
                    block->positions};
    return std::make_unique<CodedSource>(std::move(file), std::move(packets), std::move(decoder), facts, priming,
                                         coding);
}

std::unique_ptr<SampleSource> openAdts(std::unique_ptr<LocalFile> file, SInt64 begin, SInt64 end) {
    const CodecTraits& coding = *codecTraits(AV_CODEC_ID_AAC);
    auto packets = MpegPackets::find(*file, begin, end, &adtsFrame, coding.prerollPackets);
    CodecParametersPointer parameters(avcodec_parameters_alloc());
    parameters->codec_type = AVMEDIA_TYPE_AUDIO;
    parameters->codec_id = coding.codec;
    auto decoder = packets ? PacketDecoder::make(*parameters) : nullptr;
    const auto block = decoder ? decodeFirstBlock(*file, *packets, *decoder) : std::nullopt;
    if (!block) {
        return nullptr;
    }
    // Spectral band replication doubles the rate and the frames of every packet.
    packets->setFramesPerPacket(block->frames);
    const SInt64 frames = packets->packetCount() * block->frames;
    FileFacts facts{kAudioFileAAC_ADTSType, codedFormat(coding, *block, block->frames), frames, block->positions};
    return std::make_unique<CodedSource>(std::move(file), std::move(packets), std::move(decoder), facts, 0, coding);
}

} // namespace braq
