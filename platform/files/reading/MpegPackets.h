#pragma once

#include "platform/files/reading/FileWindow.h"
#include "platform/files/reading/MpegFrame.h"
#include "platform/files/reading/PacketSource.h"

#include <memory>

namespace braq {

/// Packets without a container: MP3 and ADTS. Their offsets are collected while reading.
class MpegPackets : public PacketSource {
  public:
    using Parse = std::optional<MpegFrame> (*)(std::span<const std::uint8_t>);

    /// Finds the first packet.
    /// @param file must outlive this object
    /// @param begin, end of the part that may hold packets; tags before and after it are excluded
    /// @return null if there are no packets
    static std::unique_ptr<MpegPackets> find(LocalFile& file, SInt64 begin, SInt64 end, Parse parse,
                                             UInt32 prerollPackets);

    const MpegFrame& firstFrame() const { return mFirstFrame; }
    SInt64 beginOffset() const { return mOffsets.front(); }
    SInt64 endOffset() const { return mEnd; }
    /// Skips the first packet. Call it before any other operation.
    void skipFirst();
    /// The packet count stated in the file. It is used unless there turn out to be fewer packets.
    void setPacketCount(SInt64 count) { mStatedCount = count; }
    void setFramesPerPacket(UInt32 frames) { mFramesPerPacket = frames; }

    void seek(SInt64 frame) override;
    bool next(AVPacket& packet, PacketSpan& span) override;
    SInt64 packetCount() override;
    std::optional<SInt64> frameOfPacket(SInt64 packet) override;

  private:
    MpegPackets(LocalFile& file, SInt64 end, Parse parse, UInt32 prerollPackets, SInt64 firstOffset,
                const MpegFrame& firstFrame);
    std::optional<MpegFrame> frameAt(SInt64 offset);
    std::optional<MpegFrame> ownFrameAt(SInt64 offset);
    std::optional<SInt64> resynchronise(SInt64 offset);
    bool isChain(SInt64 offset);
    bool knows(SInt64 packet);
    SInt64 firstForReservoir(SInt64 packet);

    LocalFile& mFile;
    FileWindow mWindow;
    const SInt64 mEnd;
    const Parse mParse;
    const UInt32 mPreroll;
    MpegFrame mFirstFrame;
    UInt32 mFramesPerPacket;
    std::vector<SInt64> mOffsets; // of the packets known so far, at least one
    bool mIsComplete = false;     // whether mOffsets has all of them
    std::optional<SInt64> mStatedCount;
    SInt64 mNext = 0;
};

} // namespace braq
