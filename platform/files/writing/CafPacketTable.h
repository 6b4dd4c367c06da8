#pragma once

#include "platform/files/libav/Libav.h"

#include "BRAQAudio/platform/types.h"

#include <vector>

namespace braq {

/// The packet table of a CAF file, with the frames of each packet. It replaces the usual one, which counts a short last
/// packet as a full one and states its missing frames as remainder frames: libav 9 trims these from the decoded packet,
/// which does not contain them, and older versions report the length of full packets. The format allows both.
/// libsndfile supports the usual one only; it opens no ALAC written by libav's CAF muxer, whatever the table.
class CafPacketTable {
  public:
    void add(UInt32 bytes, UInt32 frames);

    /// Whether all packets have `framesPerPacket` frames, all of them audible: then libav's table is correct.
    bool isUniform(UInt32 framesPerPacket, SInt64 heardFrames) const {
        return mFrames == heardFrames && mFrames == mPackets * framesPerPacket;
    }

    /// Overwrites libav's table, and sets the frames per packet in the file's description to 0: they are in the table.
    /// @param position of libav's table, which is the last chunk
    /// @param heardFrames audible frames, from the first on; the others are remainder frames
    void replace(AVIOContext& stream, std::int64_t position, SInt64 heardFrames) const;

  private:
    std::vector<std::uint8_t> mEntries;
    SInt64 mPackets = 0;
    SInt64 mFrames = 0;
};

} // namespace braq
