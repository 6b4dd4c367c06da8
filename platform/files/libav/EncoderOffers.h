#pragma once

#include "platform/files/libav/Libav.h"

#include <span>

namespace braq {

/// Sample formats that an encoder takes; empty: it does not say.
std::span<const AVSampleFormat> sampleFormatsOf(const AVCodec& encoder);

/// Sample rates that an encoder takes, in frames a second; empty: any.
std::span<const int> sampleRatesOf(const AVCodec& encoder);

/// Channel layouts that an encoder takes; empty: it does not say.
std::span<const AVChannelLayout> layoutsOf(const AVCodec& encoder);

} // namespace braq
