#include "platform/files/libav/LibavChannels.h"
#include "platform/files/reading/Bytes.h"
#include "platform/files/reading/CodedFormat.h"
#include "platform/files/reading/FlacPackets.h"
#include "platform/files/reading/OpenSource.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace braq {
namespace {

struct FlacHeader {
    std::uint8_t streamInfo[flacStreamInfoBytes];
    SInt64 packetsOffset;
    ChannelPositions positions; // empty: the coding's defaults
};

// Positions other than the coding's own are in a comment, as the mask of a WAVE file. Its name is case-insensitive.
ChannelPositions positionsInComment(std::string_view comment) {
    constexpr std::string_view key = "WAVEFORMATEXTENSIBLE_CHANNEL_MASK=0X";
    const auto upper = [](char letter) {
        return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
    };
    UInt64 mask = 0;
    if (std::ranges::equal(comment.substr(0, key.size()), key, {}, upper)) {
        std::from_chars(comment.data() + key.size(), comment.data() + comment.size(), mask, 16);
    }
    return positionsOfMask(mask);
}

ChannelPositions positionsInComments(LocalFile& file, SInt64 offset, SInt64 end) {
    constexpr int mostComments = 4096; // beyond this it would only be slow
    std::uint8_t length[4];
    const auto readLength = [&]() -> SInt64 {
        const bool isRead = offset + 4 <= end && file.readAll(offset, length, sizeof length);
        offset += 4;
        return isRead ? littleEndianAt<UInt32>(length) : end;
    };
    offset += readLength() + 4; // the encoder's name, and the count of comments
    ChannelPositions positions;
    for (int i = 0; i < mostComments && positions.empty() && offset < end; ++i) {
        const SInt64 bytes = readLength();
        char comment[64];
        const auto compared = static_cast<std::size_t>(std::min<SInt64>(bytes, sizeof comment));
        if (offset + bytes <= end && file.readAll(offset, comment, compared)) {
            positions = positionsInComment({comment, compared});
        }
        offset += bytes;
    }
    return positions;
}

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
        constexpr std::uint8_t comments = 4;
        if ((block[0] & 0x7F) == comments) {
            header.positions = positionsInComments(file, header.packetsOffset + 4, header.packetsOffset + 4 + length);
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
    const auto decoded = isEmpty ? std::nullopt : decodeFirstBlock(*file, *packets, *decoder);
    if (!isEmpty && !decoded) {
        return nullptr;
    }
    const bool isCommented = header->positions.size() == stream.channels;
    const CodecTraits& coding = *codecTraits(AV_CODEC_ID_FLAC);
    const FirstBlock block{Float64(stream.sampleRate), stream.channels, stream.longestBlock, stream.bitsPerSample};
    const UInt32 framesPerPacket = stream.hasConstantBlocks() ? stream.longestBlock : 0;
    const FileFacts facts{kAudioFileFLACType, codedFormat(coding, block, framesPerPacket), frames,
                          isCommented ? header->positions
                          : decoded   ? decoded->positions
                                      : ChannelPositions()};
    return std::make_unique<CodedSource>(std::move(file), std::move(packets), std::move(decoder), facts, 0, coding);
}

} // namespace braq
