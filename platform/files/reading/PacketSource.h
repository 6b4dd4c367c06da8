#pragma once

#include "platform/files/libav/Libav.h"

#include "BRAQAudio/platform/types.h"

#include <optional>

namespace braq {

/// Where in a coded stream a packet's frames are, counted from the first frame of the first packet.
struct PacketSpan {
    SInt64 firstFrame = 0;
    UInt32 frames = 0;
    bool isDamaged = false; ///< nothing can be decoded from it
};

/// The packets of a coded file, and which frames each of them holds. One thread at a time.
class PacketSource {
  public:
    virtual ~PacketSource() = default;
    PacketSource(const PacketSource&) = delete;
    PacketSource& operator=(const PacketSource&) = delete;

    /// Continues with a packet from which on a decoder that knows nothing gets `frame` and all that follow it right.
    /// Beyond the end there is no next packet.
    virtual void seek(SInt64 frame) = 0;
    /// The next packet. Where frames are missing in the file, its span begins later than the last one ended.
    /// @return false at the end, or where the file cannot be read any further, which was reported
    virtual bool next(AVPacket& packet, PacketSpan& span) = 0;

    /// May look through the whole file when it is called for the first time.
    virtual SInt64 packetCount() = 0;
    virtual std::optional<SInt64> frameOfPacket(SInt64 packet) = 0;

  protected:
    PacketSource() = default;
};

} // namespace braq
