#pragma once

#include "BRAQAudio/platform/types.h"

namespace braq {

/// Host times count nanoseconds.
constexpr Float64 nanosecondsPerSecond = 1e9;

/// The present host time: nanoseconds of CLOCK_MONOTONIC. @realtime Any thread.
UInt64 monotonicTime() noexcept;

} // namespace braq
