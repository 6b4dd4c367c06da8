#pragma once

#include "BRAQAudio/platform/types.h"

namespace braq {

/// Host times count nanoseconds.
constexpr Float64 nanosecondsPerSecond = 1e9;

} // namespace braq
