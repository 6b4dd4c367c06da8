#pragma once

#include <string>
#include <vector>

/// A time as it is read best: seconds ("1.25 s") up to a minute, then "m:ss" and "h:mm:ss".
/// @param total chooses the form, so that all times of one sound look alike
/// @param decimals of the seconds
std::string timeText(double seconds, double total, int decimals);

/// A mark on a time axis.
struct TimeTick {
    double seconds;
    std::string label;
};

/// Marks from 0 to `seconds`, as far from each other as makes round numbers.
/// @param most more marks than that after the first one there are not
std::vector<TimeTick> timeTicks(double seconds, double most);
