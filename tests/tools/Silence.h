#pragma once

#include <limits>

namespace tool_test {

/// The level of silence, in decibels.
constexpr double silence = -std::numeric_limits<double>::infinity();

} // namespace tool_test
