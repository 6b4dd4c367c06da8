#pragma once

// libav's C headers, and owners of its records.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <memory>
#include <string>

namespace braq {

/// What libav says about one of its negative error numbers, or about one of the system that it has wrapped.
std::string libavErrorText(int error);

struct LibavDeleter {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVCodecParameters* parameters) const { avcodec_parameters_free(&parameters); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};

using CodecContextPointer = std::unique_ptr<AVCodecContext, LibavDeleter>;
using CodecParametersPointer = std::unique_ptr<AVCodecParameters, LibavDeleter>;
using PacketPointer = std::unique_ptr<AVPacket, LibavDeleter>;
using FramePointer = std::unique_ptr<AVFrame, LibavDeleter>;

} // namespace braq
