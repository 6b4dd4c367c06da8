#pragma once

#include "platform/files/reading/OggPage.h"
#include "platform/files/reading/OggStream.h"
#include "platform/files/reading/PacketSource.h"

#include <memory>
#include <vector>

struct AVVorbisParseContext;

namespace braq {

/// The packets of one stream of an Ogg file. Which frames they hold is found out while reading.
class OggPackets : public PacketSource {
  public:
    /// @param file must outlive this object
    /// @param prerollPackets, prerollFrames distance to go back before the packet sought; both apply
    OggPackets(LocalFile& file, const OggStream& stream, UInt32 prerollPackets, UInt32 prerollFrames);
    ~OggPackets() override;

    /// Frames of the packets up to the end that the stream states in the last complete page.
    SInt64 statedFrames();
    /// Frames of the first packets that lie before the stream's beginning.
    SInt64 framesBeforeOrigin();
    /// Frames of the first packet that has any; 0 without one.
    UInt32 framesOfFirstPacket();

    void seek(SInt64 frame) override;
    bool next(AVPacket& packet, PacketSpan& span) override;
    SInt64 packetCount() override;
    std::optional<SInt64> frameOfPacket(SInt64 packet) override;

  private:
    struct Place {          // of a packet
        UInt64 offset : 40; // of the page on which it begins
        UInt64 segment : 8;
        UInt64 frames : 16;
        SInt64 firstFrame;
    };
    static_assert(sizeof(Place) == 16, "What is kept for each packet of a file is bounded");
    struct VorbisDeleter {
        void operator()(AVVorbisParseContext* context) const;
    };

    std::optional<OggPage> nextPage();
    bool scanPage();
    void addPackets(const OggPage& page, bool isAfterGap);
    UInt32 framesOf(std::span<const std::uint8_t> packetBegin, bool isFirst);
    bool collect(const Place& place, std::vector<std::uint8_t>& bytes);

    LocalFile& mFile;
    FileWindow mWindow;
    const UInt32 mStream;
    const UInt32 mPrerollPackets;
    const UInt32 mPrerollFrames;
    std::unique_ptr<AVVorbisParseContext, VorbisDeleter> mVorbis; // null for Opus

    std::vector<Place> mPlaces;
    bool mIsComplete = false;        // whether mPlaces has all packets
    SInt64 mScanOffset;              // offset of the next page to scan
    std::optional<UInt32> mSequence; // of the page scanned last
    std::optional<Place> mBegun;     // the packet that continues on the next page
    SInt64 mScanFrame = 0;           // first frame of the next packet
    std::optional<SInt64> mOrigin;   // the stream's number of the first frame of the first packet
    bool mIsVorbisFirst = true;      // the next packet is preroll only

    std::size_t mNext = 0;
    std::vector<std::uint8_t> mBytes;
};

} // namespace braq
