#pragma once

#include <optional>
#include <string>

/// Seconds from what a user writes: "90", "1.5", "1:30", "1:02:03.25".
/// @return nothing for another text
std::optional<double> secondsIn(const std::string& text);

/// "1:30.5", "1:02:03.2"; tenths are cut off, so that it is never ahead.
std::string timeText(double seconds);
