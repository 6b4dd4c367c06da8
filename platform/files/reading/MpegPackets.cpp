#include "platform/files/reading/MpegPackets.h"

#include <algorithm>
#include <cstring>

namespace braq {
namespace {

// Consecutive headers after which bytes count as packets and not as a coincidence.
constexpr int chainLength = 3;
// Bytes searched for the first packet, or for the next one after damage.
constexpr SInt64 longestSearch = SInt64{1024} * 1024;
// How far back the coded samples of a layer III packet may begin, in bytes of the previous packets.
constexpr UInt32 reservoirBytes = 511;
constexpr UInt32 reservoirBytesLowSampling = 255;

} // namespace

std::unique_ptr<MpegPackets> MpegPackets::find(LocalFile& file, SInt64 begin, SInt64 end, Parse parse,
                                               UInt32 prerollPackets) {
    std::unique_ptr<MpegPackets> packets(new MpegPackets(file, end, parse, prerollPackets, begin, {}));
    const auto first = packets->resynchronise(begin);
    if (!first) {
        return nullptr;
    }
    packets->mOffsets.front() = *first;
    packets->mFirstFrame = *packets->frameAt(*first);
    packets->mFramesPerPacket = packets->mFirstFrame.frames;
    return packets;
}

MpegPackets::MpegPackets(LocalFile& file, SInt64 end, Parse parse, UInt32 prerollPackets, SInt64 firstOffset,
                         const MpegFrame& firstFrame)
    : mFile(file),
      mWindow(file),
      mEnd(end),
      mParse(parse),
      mPreroll(prerollPackets),
      mFirstFrame(firstFrame),
      mFramesPerPacket(firstFrame.frames),
      mOffsets{firstOffset} {}

std::optional<MpegFrame> MpegPackets::frameAt(SInt64 offset) {
    const auto frame = mParse(mWindow.at(offset, mpegHeaderBytes));
    return frame && offset + frame->bytes <= mEnd ? frame : std::nullopt;
}

// A complete packet that belongs to this stream.
std::optional<MpegFrame> MpegPackets::ownFrameAt(SInt64 offset) {
    const auto frame = frameAt(offset);
    return frame && frame->stream == mFirstFrame.stream ? frame : std::nullopt;
}

bool MpegPackets::isChain(SInt64 offset) {
    const auto first = frameAt(offset);
    if (!first || (mFirstFrame.bytes != 0 && first->stream != mFirstFrame.stream)) {
        return false;
    }
    SInt64 next = offset + first->bytes;
    for (int i = 1; i < chainLength && next < mEnd; ++i) {
        const auto frame = frameAt(next);
        if (!frame || frame->stream != first->stream) {
            return false;
        }
        next += frame->bytes;
    }
    return true;
}

std::optional<SInt64> MpegPackets::resynchronise(SInt64 offset) {
    const SInt64 last = std::min(mEnd - static_cast<SInt64>(mpegHeaderBytes), offset + longestSearch);
    while (offset <= last) {
        const auto bytes = mWindow.at(offset, mpegHeaderBytes);
        const void* const sync = bytes.empty() ? nullptr : std::memchr(bytes.data(), 0xFF, bytes.size());
        if (sync == nullptr) {
            if (bytes.size() < mpegHeaderBytes) {
                return {};
            }
            offset += static_cast<SInt64>(bytes.size());
            continue;
        }
        offset += static_cast<const std::uint8_t*>(sync) - bytes.data();
        if (offset <= last && isChain(offset)) {
            return offset;
        }
        ++offset;
    }
    return {};
}

void MpegPackets::skipFirst() {
    mOffsets.front() += mFirstFrame.bytes;
    if (!ownFrameAt(mOffsets.front())) {
        mOffsets.front() = resynchronise(mOffsets.front()).value_or(mEnd);
    }
}

// Scans on from the last known packet until the requested one is known.
bool MpegPackets::knows(SInt64 packet) {
    while (packet >= static_cast<SInt64>(mOffsets.size()) && !mIsComplete) {
        const SInt64 last = mOffsets.back();
        const auto frame = ownFrameAt(last);
        std::optional<SInt64> next;
        if (frame) {
            next = last + frame->bytes;
            if (!ownFrameAt(*next)) {
                next = resynchronise(*next);
            }
        }
        if (next) {
            mOffsets.push_back(*next);
        } else {
            mIsComplete = true;
        }
    }
    return packet < static_cast<SInt64>(mOffsets.size()) && ownFrameAt(mOffsets[static_cast<std::size_t>(packet)]);
}

// The first packet whose bytes the decoder needs for `packet`.
SInt64 MpegPackets::firstForReservoir(SInt64 packet) {
    const UInt32 wanted = mFirstFrame.isLowSampling ? reservoirBytesLowSampling : reservoirBytes;
    UInt32 bytes = 0;
    while (packet > 0 && bytes < wanted) {
        --packet;
        const auto frame = ownFrameAt(mOffsets[static_cast<std::size_t>(packet)]);
        bytes += frame ? frame->bytes - std::min(frame->bytes, frame->sideBytes) : 0;
    }
    return packet;
}

void MpegPackets::seek(SInt64 frame) {
    const SInt64 packet = std::max<SInt64>(frame / mFramesPerPacket - mPreroll, 0);
    mNext = packet;
    if (mFirstFrame.sideBytes != 0 && knows(packet)) {
        mNext = firstForReservoir(packet);
    }
}

bool MpegPackets::next(AVPacket& packet, PacketSpan& span) {
    if (!knows(mNext)) {
        return false;
    }
    const SInt64 offset = mOffsets[static_cast<std::size_t>(mNext)];
    const UInt32 bytes = ownFrameAt(offset)->bytes;
    const auto data = mWindow.at(offset, bytes);
    if (data.size() < bytes || av_new_packet(&packet, static_cast<int>(bytes)) < 0) {
        mFile.report("has become shorter while it is read");
        return false;
    }
    std::copy_n(data.data(), bytes, packet.data);
    span = {mNext * mFramesPerPacket, mFramesPerPacket, false};
    ++mNext;
    return true;
}

SInt64 MpegPackets::packetCount() {
    if (mStatedCount) {
        return *mStatedCount;
    }
    const bool hasFirst = knows(INT64_MAX) || ownFrameAt(mOffsets.front());
    return hasFirst ? static_cast<SInt64>(mOffsets.size()) : 0;
}

std::optional<SInt64> MpegPackets::frameOfPacket(SInt64 packet) {
    return packet >= 0 && packet < packetCount() ? std::optional(packet * mFramesPerPacket) : std::nullopt;
}

} // namespace braq
