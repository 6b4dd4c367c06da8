#pragma once

#include "platform/files/libav/Libav.h"

#include "BRAQAudio/platform/types.h"

#include <optional>

namespace braq {

/// The frames of a packet in a coded stream, counted from the first frame of the first packet.
struct PacketSpan {
    SInt64 firstFrame = 0;
    UInt32 frames = 0;
    bool isDamaged = false; ///< it cannot be decoded
};

/// The packets of a coded file, and the frames of each. One thread at a time.
class PacketSource {
  public:
    virtual ~PacketSource() = default;
    PacketSource(const PacketSource&) = delete;
    PacketSource& operator=(const PacketSource&) = delete;

    /// Continues with a packet from which a freshly reset decoder gets `frame` and all following frames right. Beyond
    /// the end there is no next packet.
    virtual void seek(SInt64 frame) = 0;
    /// The next packet. If frames are missing in the file, its span begins after the end of the previous one.
    /// @return false at the end, or if the file cannot be read any further, which was reported
    virtual bool next(AVPacket& packet, PacketSpan& span) = 0;

    /// May read the whole file when it is called for the first time.
    virtual SInt64 packetCount() = 0;
    virtual std::optional<SInt64> frameOfPacket(SInt64 packet) = 0;

  protected:
    PacketSource() = default;
};

} // namespace braq
