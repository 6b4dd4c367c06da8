#include "platform/files/writing/CafPacketTable.h"

#include <algorithm>

namespace braq {
namespace {

/// Seven bits per byte, most significant first; all bytes but the last have the eighth bit set.
void putNumber(UInt32 number, std::vector<std::uint8_t>& bytes) {
    constexpr UInt32 bitsOfByte = 7;
    UInt32 shift = 0;
    while (number >> shift >= 1U << bitsOfByte) {
        shift += bitsOfByte;
    }
    for (; shift > 0; shift -= bitsOfByte) {
        bytes.push_back(static_cast<std::uint8_t>(0x80U | (number >> shift & 0x7FU)));
    }
    bytes.push_back(static_cast<std::uint8_t>(number & 0x7FU));
}

} // namespace

void CafPacketTable::add(UInt32 bytes, UInt32 frames) {
    putNumber(bytes, mEntries);
    putNumber(frames, mEntries);
    ++mPackets;
    mFrames += frames;
}

void CafPacketTable::replace(AVIOContext& stream, std::int64_t position, SInt64 heardFrames) const {
    // The description is the first chunk: 8 bytes of file header, 12 of chunk header, then rate, coding, flags and
    // bytes per packet.
    constexpr std::int64_t framesPerPacket = 40;
    constexpr std::int64_t headerBytes = 24;
    constexpr std::int64_t sizeOfChunk = 4;
    const SInt64 validFrames = std::min(heardFrames, mFrames); // an encoder that fails keeps frames
    avio_seek(&stream, framesPerPacket, SEEK_SET);
    avio_wb32(&stream, 0);
    avio_seek(&stream, position + sizeOfChunk, SEEK_SET);
    avio_wb64(&stream, static_cast<std::uint64_t>(headerBytes) + mEntries.size());
    avio_wb64(&stream, static_cast<std::uint64_t>(mPackets));
    avio_wb64(&stream, static_cast<std::uint64_t>(validFrames));
    avio_wb32(&stream, 0); // priming
    avio_wb32(&stream, static_cast<unsigned>(mFrames - validFrames));
    avio_write(&stream, mEntries.data(), static_cast<int>(mEntries.size()));
}

} // namespace braq
