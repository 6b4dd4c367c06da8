#pragma once

#include "platform/files/reading/FlacFrame.h"
#include "platform/files/reading/PacketSource.h"

#include <memory>
#include <vector>

namespace braq {

/// The packets of a FLAC file. Each packet states its frame number, so any frame is found by bisecting the file. The
/// checksum tells where a packet ends, and whether it is damaged.
class FlacPackets : public PacketSource {
  public:
    /// @param file must outlive this object
    /// @param begin of the first packet
    /// @param end of the last packet
    FlacPackets(LocalFile& file, const FlacStream& stream, SInt64 begin, SInt64 end);

    /// Frames up to the end of the last complete packet.
    SInt64 frames() const { return mFrames; }

    void seek(SInt64 frame) override;
    bool next(AVPacket& packet, PacketSpan& span) override;
    SInt64 packetCount() override;
    std::optional<SInt64> frameOfPacket(SInt64 packet) override;

  private:
    struct Place {
        SInt64 offset;
        FlacFrame frame;
    };
    struct Successor {
        Place place;
        bool isProved; // the checksum of the bytes before it is correct
    };
    std::optional<FlacFrame> frameAt(SInt64 offset);
    std::optional<Place> findHeader(SInt64 from, SInt64 to, SInt64 afterFrame);
    std::optional<Place> findPacket(SInt64 from, SInt64 to);
    std::optional<Successor> following(const Place& place);
    bool isWhole(SInt64 begin, SInt64 end);
    SInt64 step(PacketSpan& span);
    SInt64 endOfLastPacket();
    const std::vector<SInt64>& firstFrames();

    LocalFile& mFile;
    FileWindow mWindow;
    const FlacStream mStream;
    const SInt64 mBegin;
    const SInt64 mEnd;
    const SInt64 mFrames;
    std::optional<Place> mNext;
    std::vector<SInt64> mFirstFrames; // of packets of varying length, once they were asked for
};

} // namespace braq
