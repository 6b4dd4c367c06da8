#pragma once

#include "platform/files/reading/SampleSource.h"
#include "platform/samples/Planes.h"

#include <memory>

namespace braq {

/// Makes reading a coded source backwards, block by block, nearly as fast as forwards: blocks are cut from longer ones,
/// so that the decoder's preroll is paid once for many of them.
class BackwardReading : public SampleSource {
  public:
    explicit BackwardReading(std::unique_ptr<SampleSource> source) : mSource(std::move(source)) {}

    const FileFacts& facts() const override { return mSource->facts(); }
    SInt64 packetCount() override { return mSource->packetCount(); }
    std::optional<AudioFilePacketTableInfo> packetTable() override { return mSource->packetTable(); }
    std::optional<SInt64> frameOfPacket(SInt64 packet) override { return mSource->frameOfPacket(packet); }
    UInt32 read(SInt64 first, UInt32 frames, float* const* planes) override;

  private:
    bool holds(SInt64 first, UInt32 frames) const { return first >= mBegin && first + frames <= mEnd; }
    void fill(SInt64 end);

    const std::unique_ptr<SampleSource> mSource;
    std::unique_ptr<Planes> mFrames; // null until it is read backwards
    SInt64 mBegin = 0;               // first frame in mFrames
    SInt64 mEnd = 0;
    SInt64 mLastFirst = 0; // first frame of the last call
};

} // namespace braq
