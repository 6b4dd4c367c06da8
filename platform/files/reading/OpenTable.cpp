#include "platform/files/reading/OpenTable.h"

#include "platform/files/libav/LibavLogScope.h"
#include "platform/files/reading/Bytes.h"
#include "platform/files/reading/CodedFormat.h"
#include "platform/files/reading/FlacFrame.h"

#include <algorithm>

namespace braq {
namespace {

constexpr SInt64 mostOffset = (SInt64{1} << 40) - 1;
constexpr SInt64 mostBytes = (SInt64{1} << 24) - 1;

bool add(std::vector<PacketPlace>& places, const LocalFile& file, SInt64 offset, SInt64 bytes) {
    const bool isWhole =
        offset >= 0 && offset <= mostOffset && bytes > 0 && bytes <= mostBytes && offset <= file.size() - bytes;
    if (isWhole) {
        places.push_back({static_cast<UInt64>(offset) & mostOffset, static_cast<UInt64>(bytes) & mostBytes});
    }
    return isWhole;
}

// Codings with a shorter last packet state the length of the others in their setup.
UInt32 framesPerPacket(const AVCodecParameters& codec, const FirstBlock& block) {
    constexpr int alacSetupBytes = 36;
    if (codec.codec_id == AV_CODEC_ID_ALAC && codec.extradata_size >= alacSetupBytes) {
        return bigEndianAt<UInt32>(codec.extradata + 12);
    }
    if (codec.codec_id == AV_CODEC_ID_FLAC && codec.extradata_size >= static_cast<int>(flacStreamInfoBytes)) {
        return bigEndianAt<UInt16>(codec.extradata + 2);
    }
    return block.frames;
}

// The last packet of a lossless coding can be shorter, and not every container states by how much.
UInt32 framesOfLastPacket(LocalFile& file, TablePackets& packets, PacketDecoder& decoder, UInt32 framesPerPacket) {
    const LibavLogScope scope(file.path(), nullptr);
    const PacketPointer packet(av_packet_alloc());
    PacketSpan span;
    packets.seek((packets.packetCount() - 1) * framesPerPacket);
    const bool isDecoded = packets.next(*packet, span) && decoder.decode(*packet) >= 0 && decoder.frames() > 0;
    return isDecoded ? std::min(decoder.frames(), framesPerPacket) : framesPerPacket;
}

bool isOffered(const AVCodecParameters& codec) {
    switch (codec.codec_id) {
    case AV_CODEC_ID_AAC:
    case AV_CODEC_ID_ALAC:
    case AV_CODEC_ID_FLAC:
    case AV_CODEC_ID_OPUS: return true;
    default: return false;
    }
}

} // namespace

std::optional<std::vector<PacketPlace>> placesByTable(LocalFile& file, LibavContainer& container, SInt64 end) {
    std::vector<PacketPlace> places;
    const int count = avformat_index_get_entries_count(&container.stream());
    const PacketPointer packet(av_packet_alloc());
    if (count == 0) {
        return places;
    }
    if (!container.next(*packet)) {
        return {}; // libav delivers nothing of a track whose packets are in another file
    }
    // Some tables count from the first packet.
    const SInt64 origin = packet->pos - avformat_index_get_entry(&container.stream(), 0)->pos;
    places.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        const AVIndexEntry* const entry = avformat_index_get_entry(&container.stream(), i);
        const SInt64 offset = origin + entry->pos;
        SInt64 bytes = entry->size;
        if (bytes == 0) {
            const AVIndexEntry* const next = avformat_index_get_entry(&container.stream(), i + 1);
            bytes = (next == nullptr ? end : origin + next->pos) - offset;
        }
        if (!add(places, file, offset, bytes)) {
            break;
        }
    }
    return places;
}

std::vector<PacketPlace> placesByReading(LocalFile& file, LibavContainer& container) {
    std::vector<PacketPlace> places;
    const PacketPointer packet(av_packet_alloc());
    for (bool isWhole = true; isWhole && container.next(*packet);) {
        isWhole = add(places, file, packet->pos, packet->size);
        av_packet_unref(packet.get());
    }
    return places;
}

std::unique_ptr<SampleSource> openTable(std::unique_ptr<LocalFile>& file, const LibavContainer& container,
                                        AudioFileTypeID type, std::vector<PacketPlace> places,
                                        const std::function<HeardPart(Float64 sampleRate, SInt64 frames)>& heard) {
    const AVCodecParameters& codec = container.codec();
    auto decoder = isOffered(codec) ? PacketDecoder::make(codec) : nullptr;
    if (!decoder || places.empty()) {
        return nullptr;
    }
    const CodecTraits& coding = *codecTraits(codec.codec_id);
    auto packets = std::make_unique<TablePackets>(*file, std::move(places));
    const auto block = decodeFirstBlock(*file, *packets, *decoder);
    const UInt32 frames = block ? framesPerPacket(codec, *block) : 0;
    if (frames == 0) {
        return nullptr;
    }
    packets->setFrames(frames, std::max(coding.prerollPackets, (coding.prerollFrames + frames - 1) / frames));
    const bool isLossless = block->bitsPerSample > 0;
    const UInt32 last = isLossless ? framesOfLastPacket(*file, *packets, *decoder, frames) : frames;
    const SInt64 allFrames = (packets->packetCount() - 1) * frames + last;
    HeardPart part = heard(block->sampleRate, allFrames);
    part.priming = std::clamp<SInt64>(part.priming, 0, allFrames);
    part.frames = std::clamp<SInt64>(part.frames, 0, allFrames - part.priming);
    const FileFacts facts{type, codedFormat(coding, *block, frames), part.frames, block->positions};
    return std::make_unique<CodedSource>(std::move(file), std::move(packets), std::move(decoder), facts, part.priming,
                                         coding);
}

} // namespace braq
