#pragma once

#include "platform/files/writing/FileCoding.h"
#include "platform/samples/FramePlanes.h"

#include <functional>
#include <memory>

namespace braq {

/// Encodes frames into packets, in order.
class Coder {
  public:
    /// Takes a packet, with times in frames. @return 0 or a negative error of libav
    using Sink = std::function<int(AVPacket&)>;

    virtual ~Coder() = default;
    Coder(const Coder&) = delete;
    Coder& operator=(const Coder&) = delete;

    /// What a container needs to know.
    virtual const AVCodecParameters& parameters() const = 0;
    /// 1 for linear PCM.
    virtual UInt32 framesPerPacket() const = 0;
    /// Priming: frames in the first packet before the first frame of audio.
    virtual UInt32 primingFrames() const = 0;
    /// An upper bound for the bytes of all output after these frames were added and encoding was finished.
    virtual UInt64 largestBytes(UInt64 frames) const = 0;
    virtual UInt64 largestPackets(UInt64 frames) const = 0;

    /// @return 0 or a negative error of libav or of the sink
    [[nodiscard]] virtual int encode(const FramePlanes& planes, const Sink& sink) = 0;
    /// Drains the encoder; nothing is encoded afterwards. @return as `encode`
    [[nodiscard]] virtual int finish(const Sink& sink) = 0;

  protected:
    Coder() = default;
};

/// @param rate of the file
/// @param bitRate for codings that have one; 0 selects the default
/// @return 0, or 'fmt?' if the coding does not support the rate or the channels
OSStatus makeCoder(const FileCoding& coding, UInt32 rate, UInt32 bitRate, std::unique_ptr<Coder>& coder);

std::unique_ptr<Coder> makeLinearPCMCoder(const FileCoding& coding, UInt32 rate);
/// Null if the coding does not support the rate or the channels.
std::unique_ptr<Coder> makeCodecCoder(const FileCoding& coding, UInt32 rate, UInt32 bitRate);

} // namespace braq
