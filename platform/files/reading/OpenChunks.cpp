#include "platform/files/libav/LibavChannels.h"
#include "platform/files/reading/Bytes.h"
#include "platform/files/reading/OpenSource.h"
#include "platform/files/reading/OpenTable.h"
#include "platform/files/reading/PcmSource.h"

#include <algorithm>

namespace braq {
namespace {

AudioFileTypeID chunksType(LocalFile& file, const std::string& format) {
    std::uint8_t head[12] = {};
    file.read(0, head, sizeof head);
    if (format == "caf") {
        return kAudioFileCAFType;
    }
    if (format == "au") {
        return kAudioFileNextType;
    }
    if (format == "aiff") {
        return codeAt(head + 8) == BRAQFourCharCode("AIFC") ? kAudioFileAIFCType : kAudioFileAIFFType;
    }
    return codeAt(head) == BRAQFourCharCode("RIFF") ? kAudioFileWAVEType : kAudioFileRF64Type;
}

// Programs that cannot seek back write 0 or the maximum for unknown lengths, and libav then reads to the end of the
// file. But if the file's own length is correct, 0 means no samples.
bool isEmptyWave(LocalFile& file, SInt64 samplesOffset) {
    std::uint8_t head[8] = {};
    std::uint8_t length[4] = {};
    file.read(0, head, sizeof head);
    return samplesOffset >= 8 && file.readAll(samplesOffset - 4, length, sizeof length) &&
           littleEndianAt<UInt32>(length) == 0 && codeAt(head) == BRAQFourCharCode("RIFF") &&
           SInt64{littleEndianAt<UInt32>(head + 4)} + 8 == file.size();
}

// libav goes by the valid bits of the longer header, but samples with fewer valid bits are stored in the upper bits of
// their full size.
AVCodecID codecOf(LocalFile& file, AVCodecID byLibav) {
    constexpr UInt16 longerHeader = 0xFFFE;
    constexpr UInt16 integers = 1;
    constexpr UInt16 bitsOfRoom = 32;
    constexpr SInt64 firstChunk = 12;
    std::uint8_t chunk[8];
    for (SInt64 offset = firstChunk; file.readAll(offset, chunk, sizeof chunk);) {
        const auto bytes = SInt64{littleEndianAt<UInt32>(chunk + 4)};
        std::uint8_t format[26];
        if (codeAt(chunk) == BRAQFourCharCode("fmt ")) {
            const bool isRead = bytes >= 26 && file.readAll(offset + 8, format, sizeof format);
            return isRead && littleEndianAt<UInt16>(format) == longerHeader &&
                           littleEndianAt<UInt16>(format + 14) == bitsOfRoom &&
                           littleEndianAt<UInt16>(format + 24) == integers
                       ? AV_CODEC_ID_PCM_S32LE
                       : byLibav;
        }
        offset += 8 + bytes + bytes % 2;
    }
    return byLibav;
}

std::unique_ptr<SampleSource> openSamples(std::unique_ptr<LocalFile>& file, LibavContainer& container,
                                          AudioFileTypeID type, const PcmFormat& pcm) {
    const AVStream& stream = container.stream();
    const auto channels = static_cast<UInt32>(container.codec().ch_layout.nb_channels);
    FileFacts facts{type, linearFormat(pcm, container.codec().sample_rate, channels), 0,
                    positionsOf(container.codec().ch_layout)};
    const SInt64 offset = container.samplesOffset();
    std::vector<PcmExtent> extents;
    if (!(type == kAudioFileWAVEType && isEmptyWave(*file, offset))) {
        const SInt64 inFile = std::max<SInt64>(file->size() - offset, 0) / facts.format.mBytesPerFrame;
        const bool saysLength = stream.duration != AV_NOPTS_VALUE && stream.duration > 0;
        facts.lengthFrames = saysLength ? std::min(stream.duration, inFile) : inFile;
        extents.push_back({offset, 0, facts.lengthFrames});
    }
    return std::make_unique<PcmSource>(std::move(file), pcm, facts, std::move(extents));
}

// Facts of a CAF file that libav does not expose.
struct CafFacts {
    std::optional<HeardPart> part;
    SInt64 packetsEnd;
    ByteRange cutOff; ///< the fields with priming and remainder frames
};

CafFacts cafFacts(LocalFile& file) {
    CafFacts facts{{}, file.size(), {}};
    SInt64 offset = 8;
    std::uint8_t header[12];
    while (file.readAll(offset, header, sizeof header)) {
        const auto bytes = bigEndianAt<SInt64>(header + 4);
        offset += 12;
        const bool isInFile = bytes >= 0 && bytes <= file.size() - offset;
        std::uint8_t table[24];
        if (codeAt(header) == BRAQFourCharCode("pakt") && bytes >= 24 && file.readAll(offset, table, sizeof table)) {
            facts.part = HeardPart{bigEndianAt<SInt32>(table + 16), bigEndianAt<SInt64>(table + 8)};
            facts.cutOff = {offset + 16, 8};
        }
        if (!isInFile) {
            break; // the packets, up to the end of the file
        }
        offset += bytes;
        if (codeAt(header) == BRAQFourCharCode("data")) {
            facts.packetsEnd = offset;
        }
    }
    return facts;
}

} // namespace

std::unique_ptr<SampleSource> openChunks(std::unique_ptr<LocalFile> file, const std::string& format) {
    // Which frames are audible is decided here. libav 9 refuses a file with packets but without audible frames.
    const CafFacts caf = format == "caf" ? cafFacts(*file) : CafFacts{};
    auto container = LibavContainer::open(*file, format, caf.cutOff);
    if (!container || container->codec().ch_layout.nb_channels <= 0 || container->codec().sample_rate <= 0) {
        return nullptr;
    }
    const AudioFileTypeID type = chunksType(*file, format);
    const bool isWave = type == kAudioFileWAVEType || type == kAudioFileRF64Type;
    const AVCodecID byLibav = container->codec().codec_id;
    if (const PcmFormat* const pcm = pcmFormat(isWave ? codecOf(*file, byLibav) : byLibav)) {
        return openSamples(file, *container, type, *pcm);
    }
    if (type != kAudioFileCAFType) {
        return nullptr;
    }
    auto places = placesByTable(*file, *container, caf.packetsEnd);
    if (!places) {
        return nullptr;
    }
    return openTable(file, *container, type, std::move(*places), [&](Float64, SInt64 frames) {
        return caf.part.value_or(HeardPart{0, frames});
    });
}

} // namespace braq
