#include "platform/files/reading/CodedFormat.h"
#include "platform/files/reading/OggPackets.h"
#include "platform/files/reading/OpenSource.h"

#include <algorithm>

namespace braq {

std::unique_ptr<SampleSource> openOgg(std::unique_ptr<LocalFile> file, SInt64 begin) {
    const auto stream = oggStream(*file, begin);
    if (!stream) {
        return nullptr;
    }
    const CodecTraits& coding = *codecTraits(stream->codec->codec_id);
    auto decoder = PacketDecoder::make(*stream->codec);
    auto packets = std::make_unique<OggPackets>(*file, *stream, coding.prerollPackets, coding.prerollFrames);
    const auto block = decoder ? decodeFirstBlock(*file, *packets, *decoder) : std::nullopt;
    if (!block) {
        return nullptr;
    }
    const bool isVorbis = stream->codec->codec_id == AV_CODEC_ID_VORBIS;
    const UInt32 framesPerPacket = isVorbis ? 0 : packets->framesOfFirstPacket();
    const SInt64 priming = stream->primingFrames + (isVorbis ? packets->framesBeforeOrigin() : 0);
    const SInt64 frames = std::max<SInt64>(packets->statedFrames() - stream->primingFrames, 0);
    const FileFacts facts{kBRAQAudioFileOggType, codedFormat(coding, *block, framesPerPacket), frames,
                          block->positions};
    return std::make_unique<CodedSource>(std::move(file), std::move(packets), std::move(decoder), facts, priming,
                                         coding);
}

} // namespace braq
