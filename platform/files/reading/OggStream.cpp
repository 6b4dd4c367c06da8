#include "platform/files/reading/OggStream.h"

#include "platform/files/reading/Bytes.h"
#include "platform/files/reading/OggPage.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

namespace braq {
namespace {

using Packet = std::vector<std::uint8_t>;

// Headers include pictures, so they may be large, but not of any size that a damaged file claims.
constexpr std::size_t longestHeader = std::size_t{64} * 1024 * 1024;
constexpr std::size_t vorbisHeaders = 3;
constexpr std::size_t opusHeaders = 2;
constexpr std::size_t vorbisFirstBytes = 30;
constexpr std::size_t opusFirstBytes = 19;
constexpr int opusRate = 48000;

bool beginsWith(const Packet& packet, std::string_view text, std::size_t bytes) {
    return packet.size() >= bytes && std::memcmp(packet.data(), text.data(), text.size()) == 0;
}
bool isVorbis(const Packet& packet) { return beginsWith(packet, "\x01vorbis", vorbisFirstBytes); }
bool isOpus(const Packet& packet) { return beginsWith(packet, "OpusHead", opusFirstBytes); }

// Collects the first packets of one stream, page by page.
class Headers {
  public:
    explicit Headers(std::size_t count) : mCount(count) {}

    // @return whether the page was used without a fault
    bool add(FileWindow& window, const OggPage& page) {
        const auto bytes = window.at(page.body(), page.bodyBytes);
        if (bytes.size() < page.bodyBytes) {
            return false;
        }
        std::size_t position = 0;
        for (UInt32 i = 0; i < page.segments && mPackets.size() < mCount; ++i) {
            const std::size_t length = page.segmentBytes[i];
            const auto segment = bytes.subspan(position, length);
            mPacket.insert(mPacket.end(), segment.begin(), segment.end());
            position += length;
            if (length < 255) {
                mPackets.push_back(std::move(mPacket));
                mPacket.clear();
            }
        }
        return mPacket.size() <= longestHeader;
    }
    bool isComplete() const { return mPackets.size() == mCount; }
    const std::vector<Packet>& packets() const { return mPackets; }

  private:
    const std::size_t mCount;
    std::vector<Packet> mPackets;
    Packet mPacket;
};

// The setup for libav's decoder: all three headers, preceded by the lengths of the first two.
Packet vorbisSetup(const std::vector<Packet>& headers) {
    Packet setup{vorbisHeaders - 1};
    for (std::size_t i = 0; i < vorbisHeaders - 1; ++i) {
        setup.insert(setup.end(), headers[i].size() / 255, 255);
        setup.push_back(static_cast<std::uint8_t>(headers[i].size() % 255));
    }
    for (const Packet& header : headers) {
        setup.insert(setup.end(), header.begin(), header.end());
    }
    return setup;
}

CodecParametersPointer parameters(AVCodecID codec, int sampleRate, int channels, const Packet& setup) {
    CodecParametersPointer result(avcodec_parameters_alloc());
    result->codec_type = AVMEDIA_TYPE_AUDIO;
    result->codec_id = codec;
    result->sample_rate = sampleRate;
    av_channel_layout_default(&result->ch_layout, channels);
    result->extradata = static_cast<std::uint8_t*>(av_mallocz(setup.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    result->extradata_size = static_cast<int>(setup.size());
    std::copy(setup.begin(), setup.end(), result->extradata);
    return result;
}

OggStream describe(UInt32 number, SInt64 packetsOffset, const std::vector<Packet>& headers) {
    const Packet& first = headers.front();
    if (isOpus(first)) {
        return {number, parameters(AV_CODEC_ID_OPUS, opusRate, first[9], first), packetsOffset,
                littleEndianAt<UInt16>(&first[10])};
    }
    const auto rate = static_cast<int>(std::min<UInt32>(littleEndianAt<UInt32>(&first[12]), INT32_MAX));
    return {number, parameters(AV_CODEC_ID_VORBIS, rate, first[11], vorbisSetup(headers)), packetsOffset, 0};
}

} // namespace

std::optional<OggStream> oggStream(LocalFile& file, SInt64 begin) {
    FileWindow window(file);
    std::optional<UInt32> number;
    std::optional<Headers> headers;
    auto page = oggPageAt(window, begin, file.size());
    for (; page; page = oggPageAt(window, page->end(), file.size())) {
        if (!number) {
            Headers start(1);
            const bool isGood = start.add(window, *page) && start.isComplete();
            if (isGood && (isVorbis(start.packets().front()) || isOpus(start.packets().front()))) {
                number = page->stream;
                headers.emplace(isOpus(start.packets().front()) ? opusHeaders : vorbisHeaders);
            }
        }
        if (number == page->stream && !headers->add(window, *page)) {
            return {};
        }
        if (headers && headers->isComplete()) {
            return describe(*number, page->end(), headers->packets());
        }
    }
    return {};
}

} // namespace braq
