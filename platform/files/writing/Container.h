#pragma once

#include "platform/files/libav/Libav.h"
#include "platform/files/writing/CafPacketTable.h"
#include "platform/files/writing/FileCoding.h"
#include "platform/files/writing/OutputFile.h"

#include <memory>

namespace braq {

/// What surrounds the packets of a file: header, index, trailer.
class Container {
  public:
    /// An upper bound for the bytes of a header and a trailer without packets.
    static constexpr UInt64 ownBytes = UInt64{16} * 1024;
    /// An upper bound for the bytes of one packet in an index.
    static constexpr UInt64 indexBytesOfPacket = 16;

    /// Writes the header.
    /// @param parameters of the coding
    /// @param isEmpty no packets will follow
    /// @return 0 or a negative error of libav
    static int begin(OutputFile& file, const FileMuxer& muxer, const AVCodecParameters& parameters, bool isEmpty,
                     std::unique_ptr<Container>& container);

    /// @param packet with times and duration in frames
    /// @return 0 or a negative error of libav
    [[nodiscard]] int write(AVPacket& packet);
    /// Writes index and trailer.
    /// @param frames frames in the packets
    /// @return 0 or a negative error of libav
    [[nodiscard]] int finish(SInt64 frames);

  private:
    struct Deleter {
        void operator()(AVFormatContext* context) const { avformat_free_context(context); }
    };

    Container() = default;
    void correctPacketTable(std::int64_t trailer, SInt64 frames);
    void correctSampleCount(SInt64 frames);
    int open(OutputFile& file, const FileMuxer& muxer, const AVCodecParameters& parameters, bool isEmpty);

    std::unique_ptr<AVFormatContext, Deleter> mContext;
    FileMuxer::Correction mCorrection{};
    AVRational mFrame{};
    CafPacketTable mPacketTable; // of what is corrected by it
};

} // namespace braq
