#include "platform/files/reading/TablePackets.h"

#include <algorithm>

namespace braq {

void TablePackets::setFrames(UInt32 framesPerPacket, UInt32 prerollPackets) {
    mFramesPerPacket = framesPerPacket;
    mPreroll = prerollPackets;
}

void TablePackets::seek(SInt64 frame) { mNext = std::max<SInt64>(frame / mFramesPerPacket - mPreroll, 0); }

bool TablePackets::next(AVPacket& packet, PacketSpan& span) {
    if (mNext >= packetCount()) {
        return false;
    }
    const PacketPlace place = mPlaces[static_cast<std::size_t>(mNext)];
    const std::size_t length = place.bytes;
    const auto bytes = mWindow.at(static_cast<SInt64>(place.offset), length);
    if (bytes.size() < length) {
        mFile.report("has become shorter while it is read");
        return false;
    }
    if (av_new_packet(&packet, static_cast<int>(length)) < 0) {
        return false;
    }
    std::copy_n(bytes.data(), length, packet.data);
    span = {mNext * mFramesPerPacket, mFramesPerPacket, false};
    ++mNext;
    return true;
}

std::optional<SInt64> TablePackets::frameOfPacket(SInt64 packet) {
    return packet >= 0 && packet < packetCount() ? std::optional(packet * mFramesPerPacket) : std::nullopt;
}

} // namespace braq
