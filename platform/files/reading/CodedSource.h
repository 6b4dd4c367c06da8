#pragma once

#include "platform/files/reading/CodecTraits.h"
#include "platform/files/reading/LocalFile.h"
#include "platform/files/reading/PacketDecoder.h"
#include "platform/files/reading/PacketSource.h"
#include "platform/files/reading/SampleSource.h"

#include <memory>
#include <vector>

namespace braq {

/// Decodes packets into frames.
class CodedSource : public SampleSource {
  public:
    /// @param primingFrames frames of the packets before the first frame of audio
    CodedSource(std::unique_ptr<LocalFile> file, std::unique_ptr<PacketSource> packets,
                std::unique_ptr<PacketDecoder> decoder, const FileFacts& facts, SInt64 primingFrames,
                const CodecTraits& coding);

    const FileFacts& facts() const override { return mFacts; }
    SInt64 packetCount() override { return mPackets->packetCount(); }
    std::optional<AudioFilePacketTableInfo> packetTable() override;
    std::optional<SInt64> frameOfPacket(SInt64 packet) override { return mPackets->frameOfPacket(packet); }
    UInt32 read(SInt64 first, UInt32 frames, float* const* planes) override;

  private:
    bool isAhead(SInt64 codedFrame) const;
    bool seek(SInt64 codedFrame);
    void start(SInt64 codedFrame);
    bool startNear(SInt64 codedFrame);
    bool decodeNext();
    bool hasForgotten() const;
    SInt64 stretchBegin() const { return mWanted - mWanted % mCoding.restartFrames; }
    UInt32 copy(SInt64 codedFrame, UInt32 frames, UInt32 position, float* const* planes);

    const std::unique_ptr<LocalFile> mFile;
    const std::unique_ptr<PacketSource> mPackets;
    const std::unique_ptr<PacketDecoder> mDecoder;
    const FileFacts mFacts;
    const SInt64 mPriming;
    const CodecTraits& mCoding;
    const PacketPointer mPacket;

    // The frames at hand, counted as the packets do, and how many of them are in the decoder's block. The rest is
    // silence that replaces missing or damaged packets.
    SInt64 mBegin = 0;
    SInt64 mEnd = 0;
    SInt64 mBlockBegin = 0;
    SInt64 mBlockEnd = 0;
    SInt64 mWanted = 0;     // where decoding was to begin; earlier frames are preroll
    bool mIsPlaced = false; // whether the packets continue at mEnd
    SInt64 mForgetful = 0;  // consecutive frames of forgetful packets decoded last
    std::vector<float*> mPlanes;
};

} // namespace braq
