#pragma once

#include "BRAQAudio/platform/files.h"
#include "platform/samples/ChannelPositions.h"

#include <optional>

namespace braq {

/// What a file says about itself.
struct FileFacts {
    AudioFileTypeID type = 0;
    AudioStreamBasicDescription format{};
    SInt64 lengthFrames = 0;      ///< that are meant to be heard
    ChannelPositions positions{}; ///< of each channel, or none where the file does not say them
};

/// The frames of a file that are meant to be heard, as planar float at the file's rate. One thread at a time.
class SampleSource {
  public:
    virtual ~SampleSource() = default;
    SampleSource(const SampleSource&) = delete;
    SampleSource& operator=(const SampleSource&) = delete;

    virtual const FileFacts& facts() const = 0;
    virtual SInt64 packetCount() = 0;
    virtual std::optional<AudioFilePacketTableInfo> packetTable() = 0;
    /// As `FileReader::frameOfPacket`.
    virtual std::optional<SInt64> frameOfPacket(SInt64 packet) = 0;

    /// Going on where the last call ended is quick; what comes out does not depend on what was read before.
    /// @param first frame, from 0 on
    /// @param planes one a channel of the file
    /// @return frames, fewer where the file ends or can be read no further; why goes to the log
    virtual UInt32 read(SInt64 first, UInt32 frames, float* const* planes) = 0;
    /// As `read`, with the samples of all channels of a frame beside each other. Nothing from a source that has planes
    /// anyhow.
    virtual std::optional<UInt32> readInterleaved(SInt64 /*first*/, UInt32 /*frames*/, float* /*samples*/) {
        return {};
    }

  protected:
    SampleSource() = default;
};

} // namespace braq
