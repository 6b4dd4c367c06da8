#include "platform/files/reading/FlacPackets.h"

#include "platform/files/reading/FlacChecksum.h"

#include <algorithm>
#include <cstring>

namespace braq {
namespace {

constexpr std::size_t windowBytes = std::size_t{256} * 1024;

// An upper bound of a packet: besides headers, the coding falls back to plain samples, one bit wider for a side
// channel.
SInt64 longestPacket(const FlacStream& stream) {
    return SInt64{stream.longestBlock} * stream.channels * (stream.bitsPerSample + 1) / 8 + 1024;
}

} // namespace

FlacPackets::FlacPackets(LocalFile& file, const FlacStream& stream, SInt64 begin, SInt64 end)
    : mFile(file), mWindow(file, windowBytes), mStream(stream), mBegin(begin), mEnd(end), mFrames(endOfLastPacket()) {}

std::optional<FlacFrame> FlacPackets::frameAt(SInt64 offset) {
    return flacFrame(mWindow.at(offset, flacHeaderBytes), mStream);
}

// The first header at or after `from`, before `to`, of a packet that begins at or after a frame.
std::optional<FlacPackets::Place> FlacPackets::findHeader(SInt64 from, SInt64 to, SInt64 afterFrame) {
    for (SInt64 offset = from; offset < to;) {
        const auto bytes = mWindow.at(offset, flacHeaderBytes);
        const void* const sync = bytes.empty() ? nullptr : std::memchr(bytes.data(), 0xFF, bytes.size());
        if (bytes.empty()) {
            return {};
        }
        if (sync == nullptr) {
            offset += static_cast<SInt64>(bytes.size());
            continue;
        }
        offset += static_cast<const std::uint8_t*>(sync) - bytes.data();
        const auto frame = offset < to ? frameAt(offset) : std::nullopt;
        if (frame && frame->firstFrame >= afterFrame) {
            return Place{offset, *frame};
        }
        ++offset;
    }
    return {};
}

bool FlacPackets::isWhole(SInt64 begin, SInt64 end) {
    const auto length = static_cast<std::size_t>(end - begin);
    const auto bytes = mWindow.at(begin, length);
    return bytes.size() >= length && flacChecksum(bytes.first(length)) == 0;
}

// The packet that follows this one, if there is one: after bytes with a correct checksum, else the first that claims to
// be it.
std::optional<FlacPackets::Successor> FlacPackets::following(const Place& place) {
    const SInt64 frame = place.frame.firstFrame + place.frame.frames;
    const SInt64 to = std::min(mEnd, place.offset + longestPacket(mStream));
    // Everything read here at once, so that the window does not move back and forth.
    mWindow.at(place.offset, static_cast<std::size_t>(to - place.offset));
    std::optional<Place> claims;
    SInt64 from = place.offset + place.frame.headerBytes;
    while (const auto candidate = findHeader(from, to, frame)) {
        from = candidate->offset + 1;
        if (candidate->frame.firstFrame != frame) {
            continue;
        }
        if (isWhole(place.offset, candidate->offset)) {
            return Successor{*candidate, true};
        }
        claims = claims ? claims : candidate;
    }
    return claims ? std::optional(Successor{*claims, false}) : std::nullopt;
}

// The first packet in a part of the file that is verified by its checksum.
std::optional<FlacPackets::Place> FlacPackets::findPacket(SInt64 from, SInt64 to) {
    while (const auto candidate = findHeader(from, to, 0)) {
        const auto after = following(*candidate);
        const bool isLast = !after && mEnd - candidate->offset <= longestPacket(mStream);
        if (after ? after->isProved : isLast && isWhole(candidate->offset, mEnd)) {
            return candidate;
        }
        from = candidate->offset + 1;
    }
    return {};
}

SInt64 FlacPackets::endOfLastPacket() {
    for (SInt64 tail = 2 * longestPacket(mStream);; tail *= 4) {
        const SInt64 from = std::max(mBegin, mEnd - tail);
        auto last = findPacket(from, mEnd);
        while (last) {
            const auto after = following(*last);
            if (!after) {
                const bool isCut = mEnd - last->offset > longestPacket(mStream) || !isWhole(last->offset, mEnd);
                return last->frame.firstFrame + (isCut ? 0 : last->frame.frames);
            }
            last = after->place;
        }
        if (from == mBegin) {
            return 0;
        }
    }
}

void FlacPackets::seek(SInt64 frame) {
    mNext.reset();
    const auto first = findPacket(mBegin, mEnd);
    if (frame >= mFrames || !first) {
        return;
    }
    Place low = *first;       // at or before the frame
    SInt64 highOffset = mEnd; // at or before the first packet beyond the frame
    SInt64 highFrame = mFrames;
    bool halve = false; // alternate with bisection, for files with very uneven packets
    while (highOffset - low.offset > static_cast<SInt64>(windowBytes) / 4) {
        const SInt64 bytes = highOffset - low.offset;
        const Float64 part = static_cast<Float64>(frame - low.frame.firstFrame) /
                             static_cast<Float64>(std::max<SInt64>(highFrame - low.frame.firstFrame, 1));
        const auto expected = static_cast<SInt64>(part * static_cast<Float64>(bytes)) - longestPacket(mStream) / 2;
        const SInt64 guess = low.offset + std::clamp<SInt64>(halve ? bytes / 2 : expected, 1, bytes - 1);
        halve = !halve;
        const auto found = findPacket(guess, highOffset);
        if (found && found->frame.firstFrame <= frame) {
            low = *found;
        } else {
            highOffset = guess;
            highFrame = found ? found->frame.firstFrame : highFrame;
        }
    }
    mNext = low;
    while (mNext && mNext->frame.firstFrame + mNext->frame.frames <= frame) {
        PacketSpan skipped;
        step(skipped);
    }
}

// Advances to the next packet. @return the end of the previous one
SInt64 FlacPackets::step(PacketSpan& span) {
    const Place place = *mNext;
    const auto after = following(place);
    mNext = after ? std::optional(after->place) : std::nullopt;
    const SInt64 end = after ? after->place.offset : std::min(mEnd, place.offset + longestPacket(mStream));
    span = {place.frame.firstFrame, place.frame.frames, after ? !after->isProved : !isWhole(place.offset, end)};
    if (!mNext && span.isDamaged) {
        // Its end is lost together with the begin of the next one; the next verified packet is searched.
        mNext = findPacket(place.offset + 1, mEnd);
        while (mNext && mNext->frame.firstFrame <= place.frame.firstFrame) {
            mNext = findPacket(mNext->offset + 1, mEnd);
        }
    }
    return end;
}

bool FlacPackets::next(AVPacket& packet, PacketSpan& span) {
    if (!mNext) {
        return false;
    }
    const SInt64 offset = mNext->offset;
    const auto length = static_cast<std::size_t>(step(span) - offset);
    const auto bytes = mWindow.at(offset, length);
    if (bytes.size() < length || av_new_packet(&packet, static_cast<int>(length)) < 0) {
        mFile.report("has become shorter while it is read");
        return false;
    }
    std::copy_n(bytes.data(), length, packet.data);
    return true;
}

const std::vector<SInt64>& FlacPackets::firstFrames() {
    if (mFirstFrames.empty()) {
        const auto before = mNext;
        seek(0);
        while (mNext) {
            mFirstFrames.push_back(mNext->frame.firstFrame);
            PacketSpan span;
            step(span);
        }
        mNext = before;
    }
    return mFirstFrames;
}

SInt64 FlacPackets::packetCount() {
    if (mStream.hasConstantBlocks()) {
        return (mFrames + mStream.longestBlock - 1) / mStream.longestBlock;
    }
    return static_cast<SInt64>(firstFrames().size());
}

std::optional<SInt64> FlacPackets::frameOfPacket(SInt64 packet) {
    if (packet < 0 || packet >= packetCount()) {
        return {};
    }
    return mStream.hasConstantBlocks() ? packet * mStream.longestBlock
                                       : firstFrames()[static_cast<std::size_t>(packet)];
}

} // namespace braq
