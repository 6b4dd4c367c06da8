#pragma once

#include "BRAQAudio/platform/types.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <span>

namespace braq::tests {

/// The largest step from one sample to the next, over that of a sine at full level: above 1, something clicks.
inline double largestStep(std::span<const Float32> samples, double hertz, double rate) {
    double step = 0.0;
    for (std::size_t i = 1; i < samples.size(); ++i) {
        step = std::max(step, std::fabs(static_cast<double>(samples[i]) - static_cast<double>(samples[i - 1])));
    }
    return step / (2.0 * std::sin(std::numbers::pi * hertz / rate));
}

} // namespace braq::tests
