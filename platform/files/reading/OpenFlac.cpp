#include "platform/files/reading/CodedFormat.h"
#include "platform/files/reading/FlacPackets.h"
#include "platform/files/reading/OpenSource.h"

#include <algorithm>

namespace braq {
namespace {

struct FlacHeader {
    std::uint8_t streamInfo[flacStreamInfoBytes];
    SInt64 packetsOffset;
};

std::optional<FlacHeader> flacHeader(LocalFile& file, SInt64 begin, SInt64 end) {
    FlacHeader header{};
    header.packetsOffset = begin + 4; // after the signature
    bool hasStreamInfo = false;
    bool isLast = false;
    while (!isLast) {
        std::uint8_t block[4];
        if (!file.readAll(header.packetsOffset, block, sizeof block)) {
            return {};
        }
        isLast = (block[0] & 0x80) != 0;
        const UInt32 length = UInt32{block[1]} << 16 | UInt32{block[2]} << 8 | block[3];
        if ((block[0] & 0x7F) == 0 && length >= flacStreamInfoBytes) {
            hasStreamInfo = file.readAll(header.packetsOffset + 4, header.streamInfo, flacStreamInfoBytes);
        }
        header.packetsOffset += 4 + SInt64{length};
    }
    return hasStreamInfo && header.packetsOffset <= end ? std::optional(header) : std::nullopt;
}

CodecParametersPointer parameters(const FlacHeader& header) {
    CodecParametersPointer result(avcodec_parameters_alloc());
    result->codec_type = AVMEDIA_TYPE_AUDIO;
    result->codec_id = AV_CODEC_ID_FLAC;
    result->extradata = static_cast<std::uint8_t*>(av_mallocz(flacStreamInfoBytes + AV_INPUT_BUFFER_PADDING_SIZE));
    result->extradata_size = flacStreamInfoBytes;
    std::ranges::copy(header.streamInfo, result->extradata);
    return result;
}

} // namespace

std::unique_ptr<SampleSource> openFlac(std::unique_ptr<LocalFile> file, SInt64 begin, SInt64 end) {
    const auto header = flacHeader(*file, begin, end);
    if (!header) {
        return nullptr;
    }
    const FlacStream stream = flacStream(header->streamInfo);
    auto decoder = PacketDecoder::make(*parameters(*header));
    if (!decoder || stream.longestBlock < 16 || stream.sampleRate == 0) {
        return nullptr;
    }
    auto packets = std::make_unique<FlacPackets>(*file, stream, header->packetsOffset, end);
    const SInt64 frames = stream.totalFrames == 0 ? packets->frames() : std::min(packets->frames(), stream.totalFrames);
    const bool isEmpty = header->packetsOffset == end && stream.totalFrames == 0;
    if (!isEmpty && !decodeFirstBlock(*file, *packets, *decoder)) {
        return nullptr;
    }
    const CodecTraits& coding = *codecTraits(AV_CODEC_ID_FLAC);
    const FirstBlock block{Float64(stream.sampleRate), stream.channels, stream.longestBlock, stream.bitsPerSample};
    const UInt32 framesPerPacket = stream.hasConstantBlocks() ? stream.longestBlock : 0;
    const FileFacts facts{kAudioFileFLACType, codedFormat(coding, block, framesPerPacket), frames};
    return std::make_unique<CodedSource>(std::move(file), std::move(packets), std::move(decoder), facts, 0, coding);
}

} // namespace braq
