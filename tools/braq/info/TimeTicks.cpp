#include "tools/braq/info/TimeTicks.h"

#include <BRAQAudio/BRAQAudio.h>

#include <cmath>
#include <cstdint>

namespace {

constexpr double minute = 60.0;
constexpr double hour = 3600.0;

/// Seconds between two ticks.
struct Step {
    double seconds;
    int decimals; // of the labels
};

/// Steps of 1, 2 or 5 times a power of ten below a second, then divisors of minutes, hours and days; then days,
/// doubling each time.
Step stepFor(double seconds, double most) {
    constexpr int mostDecimals = 6;
    for (int decimals = mostDecimals; decimals > 0; --decimals) {
        for (const double digit : {1.0, 2.0, 5.0}) {
            const double step = digit / std::pow(10.0, decimals);
            if (seconds <= step * most) {
                return {step, decimals};
            }
        }
    }
    double step = 1.0;
    for (const double whole : {1.0, 2.0, 5.0, 10.0, 15.0, 30.0, minute, 2 * minute, 5 * minute, 10 * minute,
                               15 * minute, 30 * minute, hour, 2 * hour, 3 * hour, 6 * hour, 12 * hour, 24 * hour}) {
        step = whole;
        if (seconds <= step * most) {
            return {step, 0};
        }
    }
    while (seconds > step * most) {
        step *= 2.0;
    }
    return {step, 0};
}

} // namespace

std::string timeText(double seconds, double total, int decimals) {
    if (total < minute) {
        return NSStringWithFormat("%.*f s", decimals, seconds);
    }
    // Rounds first: 59.9996 s are 1:00 and not 60 s.
    const double unit = std::pow(10.0, decimals);
    const double rounded = std::round(seconds * unit) / unit;
    const auto minutes = static_cast<std::int64_t>(rounded / minute);
    const double rest = std::abs(rounded - static_cast<double>(minutes) * minute);
    const std::string ofMinute = NSStringWithFormat("%0*.*f", decimals > 0 ? decimals + 3 : 2, decimals, rest);
    if (total < hour) {
        return std::to_string(minutes) + ":" + ofMinute;
    }
    return std::to_string(minutes / 60) + NSStringWithFormat(":%02d:", static_cast<int>(minutes % 60)) + ofMinute;
}

std::vector<TimeTick> timeTicks(double seconds, double most) {
    if (!(seconds > 0.0)) {
        return {{0.0, timeText(0.0, 0.0, 0)}};
    }
    const Step step = stepFor(seconds, most);
    const double untilRoundingErrors = seconds + step.seconds * 1e-6;
    std::vector<TimeTick> ticks;
    for (double i = 0.0; i * step.seconds <= untilRoundingErrors; i += 1.0) {
        ticks.push_back({i * step.seconds, timeText(i * step.seconds, seconds, step.decimals)});
    }
    return ticks;
}
