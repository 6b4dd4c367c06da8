#include "platform/files/reading/OggPackets.h"

extern "C" {
#include <libavcodec/vorbis_parser.h>
}

#include <algorithm>
#include <utility>

namespace braq {
namespace {

constexpr SInt64 shortestTail = SInt64{64} * 1024; // pages are not longer than this
constexpr UInt64 largestOffset = (UInt64{1} << 40) - 1;

// Frames in an Opus packet at 48,000 Hz, from its first bytes.
UInt32 opusFrames(std::span<const std::uint8_t> packet) {
    const UInt32 configuration = packet[0] >> 3;
    UInt32 frames = 0;
    if (configuration < 12) { // speech: 10, 20, 40, 60 ms
        frames = (configuration & 3) == 3 ? 2880 : 480U << (configuration & 3);
    } else if (configuration < 16) { // both: 10, 20 ms
        frames = 480U << (configuration & 1);
    } else { // music: 2.5, 5, 10, 20 ms
        frames = 120U << (configuration & 3);
    }
    const UInt32 code = packet[0] & 3;
    if (code == 3) {
        return packet.size() > 1 ? frames * (packet[1] & 63) : 0;
    }
    return code == 0 ? frames : 2 * frames;
}

} // namespace

void OggPackets::VorbisDeleter::operator()(AVVorbisParseContext* context) const { av_vorbis_parse_free(&context); }

OggPackets::OggPackets(LocalFile& file, const OggStream& stream, UInt32 prerollPackets, UInt32 prerollFrames)
    : mFile(file),
      mWindow(file),
      mStream(stream.number),
      mPrerollPackets(prerollPackets),
      mPrerollFrames(prerollFrames),
      mScanOffset(stream.packetsOffset) {
    if (stream.codec->codec_id == AV_CODEC_ID_VORBIS) {
        mVorbis.reset(av_vorbis_parse_init(stream.codec->extradata, stream.codec->extradata_size));
        mIsComplete = !mVorbis;
    }
}

OggPackets::~OggPackets() = default;

// The next complete page of the stream.
std::optional<OggPage> OggPackets::nextPage() {
    while (const auto page = findOggPage(mWindow, mScanOffset, mFile.size())) {
        mScanOffset = page->end();
        if (page->stream == mStream) {
            return page;
        }
    }
    return {};
}

// Scans the packets that end on the next page. @return false if there is none
bool OggPackets::scanPage() {
    const auto page = mIsComplete ? std::nullopt : nextPage();
    if (!page || static_cast<UInt64>(page->offset) > largestOffset) {
        mIsComplete = true;
        return false;
    }
    const bool isAfterGap = mSequence && page->sequence != *mSequence + 1;
    mSequence = page->sequence;
    addPackets(*page, isAfterGap);
    return true;
}

void OggPackets::addPackets(const OggPage& page, bool isAfterGap) {
    if (isAfterGap) {
        mBegun.reset();
        mIsVorbisFirst = true;
    }
    const std::size_t before = mPlaces.size();
    const SInt64 frameBefore = mScanFrame;
    bool isInside = page.continues;
    SInt64 offset = page.body();
    for (UInt32 i = 0; i < page.segments; ++i) {
        const UInt32 length = page.segmentBytes[i];
        if (!isInside && length > 0) {
            const bool isFirst = std::exchange(mIsVorbisFirst, false);
            const auto begin = mWindow.at(offset, 2);
            const UInt32 frames =
                begin.empty() ? 0 : framesOf(begin.first(std::min<std::size_t>(begin.size(), length)), isFirst);
            mBegun = Place{static_cast<UInt64>(page.offset) & largestOffset, i & 0xFF, frames & 0xFFFF, 0};
        }
        offset += length;
        isInside = length == 255;
        if (!isInside && mBegun) {
            mBegun->firstFrame = mScanFrame;
            mScanFrame += static_cast<SInt64>(mBegun->frames);
            mPlaces.push_back(*mBegun);
            mBegun.reset();
        }
    }
    const SInt64 frames = mScanFrame - frameBefore;
    if (page.position < 0 || mPlaces.size() == before) {
        return;
    }
    if (!mOrigin) {
        // A stream that ends on its first page is truncated at its end, not at its beginning.
        mOrigin = page.isLast ? std::max<SInt64>(page.position - frames, 0) : page.position - frames;
    } else if (isAfterGap) {
        // Silence replaces lost packets.
        const SInt64 moved = std::max<SInt64>(page.position - *mOrigin - mScanFrame, 0);
        mScanFrame += moved;
        for (std::size_t i = before; i < mPlaces.size(); ++i) {
            mPlaces[i].firstFrame += moved;
        }
    }
}

UInt32 OggPackets::framesOf(std::span<const std::uint8_t> packetBegin, bool isFirst) {
    if (!mVorbis) {
        return opusFrames(packetBegin);
    }
    const int frames = av_vorbis_parse_frame(mVorbis.get(), packetBegin.data(), static_cast<int>(packetBegin.size()));
    return isFirst ? 0 : static_cast<UInt32>(std::max(frames, 0));
}

SInt64 OggPackets::framesBeforeOrigin() {
    while (!mOrigin && scanPage()) {
    }
    return std::max<SInt64>(-mOrigin.value_or(0), 0);
}

UInt32 OggPackets::framesOfFirstPacket() {
    framesBeforeOrigin();
    const auto found = std::ranges::find_if(mPlaces, [](const Place& place) { return place.frames != 0; });
    return found == mPlaces.end() ? 0 : static_cast<UInt32>(found->frames);
}

SInt64 OggPackets::statedFrames() {
    framesBeforeOrigin();
    const SInt64 size = mFile.size();
    for (SInt64 tail = shortestTail;; tail *= 4) {
        const SInt64 from = std::max<SInt64>(size - tail, 0);
        std::optional<SInt64> position;
        for (auto page = findOggPage(mWindow, from, size); page; page = findOggPage(mWindow, page->end(), size)) {
            if (page->stream == mStream && page->position >= 0) {
                position = page->position;
            }
        }
        if (position || from == 0) {
            return std::max<SInt64>(position.value_or(0) - mOrigin.value_or(0), 0);
        }
    }
}

void OggPackets::seek(SInt64 frame) {
    while (mScanFrame <= frame && scanPage()) {
    }
    const auto after = std::ranges::upper_bound(mPlaces, frame, {}, &Place::firstFrame);
    auto place = after == mPlaces.begin() ? after : std::prev(after);
    for (UInt32 i = 0; place != mPlaces.begin() && (i < mPrerollPackets || place->firstFrame > frame - mPrerollFrames);
         ++i) {
        --place;
    }
    mNext = mScanFrame <= frame ? mPlaces.size() : static_cast<std::size_t>(place - mPlaces.begin());
}

bool OggPackets::collect(const Place& place, std::vector<std::uint8_t>& bytes) {
    bytes.clear();
    auto page = oggPageAt(mWindow, static_cast<SInt64>(place.offset), mFile.size());
    auto segment = static_cast<UInt32>(place.segment);
    while (page) {
        SInt64 offset = page->body();
        for (UInt32 i = 0; i < segment; ++i) {
            offset += page->segmentBytes[i];
        }
        bool isComplete = false;
        std::size_t length = 0;
        for (; segment < page->segments && !isComplete; ++segment) {
            length += page->segmentBytes[segment];
            isComplete = page->segmentBytes[segment] < 255;
        }
        const auto part = mWindow.at(offset, length);
        if (part.size() < length) {
            return false;
        }
        bytes.insert(bytes.end(), part.begin(), part.begin() + static_cast<std::ptrdiff_t>(length));
        if (isComplete) {
            return true;
        }
        do {
            page = oggPageAt(mWindow, page->end(), mFile.size());
        } while (page && page->stream != mStream);
        segment = 0;
    }
    return false;
}

bool OggPackets::next(AVPacket& packet, PacketSpan& span) {
    while (mNext >= mPlaces.size()) {
        if (!scanPage()) {
            return false;
        }
    }
    const Place& place = mPlaces[mNext];
    if (!collect(place, mBytes) || av_new_packet(&packet, static_cast<int>(mBytes.size())) < 0) {
        mFile.report("has become shorter while it is read");
        return false;
    }
    std::ranges::copy(mBytes, packet.data);
    span = {place.firstFrame, static_cast<UInt32>(place.frames), false};
    ++mNext;
    return true;
}

SInt64 OggPackets::packetCount() {
    while (scanPage()) {
    }
    return static_cast<SInt64>(mPlaces.size());
}

std::optional<SInt64> OggPackets::frameOfPacket(SInt64 packet) {
    while (packet >= static_cast<SInt64>(mPlaces.size()) && scanPage()) {
    }
    const bool isThere = packet >= 0 && packet < static_cast<SInt64>(mPlaces.size());
    return isThere ? std::optional(mPlaces[static_cast<std::size_t>(packet)].firstFrame) : std::nullopt;
}

} // namespace braq
