#pragma once

#include "BRAQAudio/platform/files.h"
#include "platform/samples/ChannelPositions.h"

#include <optional>

namespace braq {

/// What a file states about itself.
struct FileFacts {
    AudioFileTypeID type = 0;
    AudioStreamBasicDescription format{};
    SInt64 lengthFrames = 0;      ///< without priming and padding
    ChannelPositions positions{}; ///< of each channel; empty if the file does not state them
};

/// The frames of a file, without priming and padding, as planar float at the file's rate. One thread at a time.
class SampleSource {
  public:
    virtual ~SampleSource() = default;
    SampleSource(const SampleSource&) = delete;
    SampleSource& operator=(const SampleSource&) = delete;

    virtual const FileFacts& facts() const = 0;
    virtual SInt64 packetCount() = 0;
    virtual std::optional<AudioFilePacketTableInfo> packetTable() = 0;
    /// Like `FileReader::frameOfPacket`.
    virtual std::optional<SInt64> frameOfPacket(SInt64 packet) = 0;

    /// Continuing where the last call ended is fast. The result does not depend on earlier reads.
    /// @param first frame, from 0
    /// @param planes one per channel of the file
    /// @return frames; fewer if the file ends or cannot be read any further, which is logged
    virtual UInt32 read(SInt64 first, UInt32 frames, float* const* planes) = 0;
    /// Like `read`, but interleaved. Nothing from a source that is planar internally.
    virtual std::optional<UInt32> readInterleaved(SInt64 /*first*/, UInt32 /*frames*/, float* /*samples*/) {
        return {};
    }

  protected:
    SampleSource() = default;
};

} // namespace braq
