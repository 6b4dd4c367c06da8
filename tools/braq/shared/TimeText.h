#pragma once

#include <optional>
#include <string>

/// Seconds from user input: "90", "1.5", "1:30", "1:02:03.25".
/// @return nothing for other text
std::optional<double> secondsIn(const std::string& text);

/// "1:30.5", "1:02:03.2". Truncated to tenths, so that it is never ahead.
std::string timeText(double seconds);

/// "0.043 s", for short times.
std::string secondsText(double seconds);
