#pragma once

#include "platform/files/writing/FileCoding.h"
#include "platform/samples/FramePlanes.h"

#include <functional>
#include <memory>

namespace braq {

/// Makes packets of frames, in order.
class Coder {
  public:
    /// Takes a packet, whose times are in frames. @return 0 or a negative error of libav
    using Sink = std::function<int(AVPacket&)>;

    virtual ~Coder() = default;
    Coder(const Coder&) = delete;
    Coder& operator=(const Coder&) = delete;

    /// What a container has to know.
    virtual const AVCodecParameters& parameters() const = 0;
    /// 1 for linear PCM.
    virtual UInt32 framesPerPacket() const = 0;
    /// Frames before the first in the first packet, which are not to be heard.
    virtual UInt32 primingFrames() const = 0;
    /// An upper bound for all that comes out when so many frames are added and then all is finished.
    virtual UInt64 largestBytes(UInt64 frames) const = 0;
    virtual UInt64 largestPackets(UInt64 frames) const = 0;

    /// @return 0 or a negative error of libav, the sink's included
    [[nodiscard]] virtual int encode(const FramePlanes& planes, const Sink& sink) = 0;
    /// Whatever is held back still; nothing more is encoded afterwards. @return as `encode`
    [[nodiscard]] virtual int finish(const Sink& sink) = 0;

  protected:
    Coder() = default;
};

/// @param rate of the file
/// @param bitRate for codings that have one; 0 leaves the choice
/// @return 0, or 'fmt?' when the coding does not take the rate or the channels
OSStatus makeCoder(const FileCoding& coding, UInt32 rate, UInt32 bitRate, std::unique_ptr<Coder>& coder);

std::unique_ptr<Coder> makeLinearPCMCoder(const FileCoding& coding, UInt32 rate);
/// Null when the coding does not take the rate or the channels.
std::unique_ptr<Coder> makeCodecCoder(const FileCoding& coding, UInt32 rate, UInt32 bitRate);

} // namespace braq
