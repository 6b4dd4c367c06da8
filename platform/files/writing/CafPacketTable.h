#pragma once

#include "platform/files/libav/Libav.h"

#include "BRAQAudio/platform/types.h"

#include <vector>

namespace braq {

/// The packet table of a CAF file, with the frames of each packet. It takes the place of the usual one, which counts a short
/// last packet as a full one and states what it lacks as remainder frames: libav 9 trims these from what the packet decodes
/// to, which has none of them, and older versions report the length of full packets. The format has both. libsndfile knows
/// the usual one only; it opens no ALAC that libav's CAF writer wrote, whatever the table.
class CafPacketTable {
  public:
    void add(UInt32 bytes, UInt32 frames);

    /// Whether all packets have `framesPerPacket` frames and all of them are to be heard: then libav's table is right.
    bool isUniform(UInt32 framesPerPacket, SInt64 heardFrames) const {
        return mFrames == heardFrames && mFrames == mPackets * framesPerPacket;
    }

    /// Overwrites libav's, and the frames per packet in the file's description with 0: they are in the table.
    /// @param position of libav's table, which is the last chunk
    /// @param heardFrames from the first frame on; the others are remainder frames
    void replace(AVIOContext& stream, std::int64_t position, SInt64 heardFrames) const;

  private:
    std::vector<std::uint8_t> mEntries;
    SInt64 mPackets = 0;
    SInt64 mFrames = 0;
};

} // namespace braq
