#pragma once

#include "platform/files/libav/Libav.h"

#include <span>

namespace braq {

/// Sample formats that an encoder accepts; empty: it does not list them.
std::span<const AVSampleFormat> sampleFormatsOf(const AVCodec& encoder);

/// Sample rates that an encoder accepts, in Hz; empty: any.
std::span<const int> sampleRatesOf(const AVCodec& encoder);

/// Channel layouts that an encoder accepts; empty: it does not list them.
std::span<const AVChannelLayout> layoutsOf(const AVCodec& encoder);

} // namespace braq
