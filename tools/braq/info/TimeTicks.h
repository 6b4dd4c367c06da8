#pragma once

#include <string>
#include <vector>

/// A time in its most readable form: seconds ("1.25 s") up to a minute, then "m:ss" and "h:mm:ss".
/// @param total selects the form, so that all times of one file have the same form
/// @param decimals of the seconds
std::string timeText(double seconds, double total, int decimals);

/// A tick on a time axis.
struct TimeTick {
    double seconds;
    std::string label;
};

/// Ticks from 0 to `seconds` at round numbers.
/// @param most maximum number of ticks after the first one
std::vector<TimeTick> timeTicks(double seconds, double most);
