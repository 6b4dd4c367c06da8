#pragma once

#include "platform/files/reading/LocalFile.h"
#include "platform/files/reading/PcmFormat.h"
#include "platform/files/reading/SampleSource.h"

#include <memory>
#include <vector>

namespace braq {

/// A run of contiguous whole frames in a file.
struct PcmExtent {
    SInt64 offset;
    SInt64 firstFrame;
    SInt64 frames;
};

/// Linear samples, read from the file straight into the caller's planes.
class PcmSource : public SampleSource {
  public:
    /// @param extents in frame order, without gaps
    PcmSource(std::unique_ptr<LocalFile> file, const PcmFormat& pcm, const FileFacts& facts,
              std::vector<PcmExtent> extents);

    const FileFacts& facts() const override { return mFacts; }
    SInt64 packetCount() override { return mFacts.lengthFrames; }
    std::optional<AudioFilePacketTableInfo> packetTable() override { return {}; }
    std::optional<SInt64> frameOfPacket(SInt64 packet) override;
    UInt32 read(SInt64 first, UInt32 frames, float* const* planes) override;
    std::optional<UInt32> readInterleaved(SInt64 first, UInt32 frames, float* samples) override;

  private:
    template <class Take>
    UInt32 readRuns(SInt64 first, UInt32 frames, UInt32 framesAtOnce, const Take& take);
    UInt32 readPlain(SInt64 first, UInt32 frames, float* samples);
    UInt32 load(SInt64 offset, UInt32 frames, void* destination);
    const PcmExtent* extentOf(SInt64 frame) const;

    const std::unique_ptr<LocalFile> mFile;
    const PcmFormat& mPcm;
    const FileFacts mFacts;
    const bool mIsFloat; // already in the caller's format
    const std::vector<PcmExtent> mExtents;
    std::vector<std::uint8_t> mRaw;
    const UInt32 mFramesAtOnce; // that fit into mRaw
    std::vector<float*> mPlanes;
};

} // namespace braq
