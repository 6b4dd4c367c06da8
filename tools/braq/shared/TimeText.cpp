#include "tools/braq/shared/TimeText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string_view>
#include <vector>

namespace {

constexpr double secondsAMinute = 60.0;

std::vector<std::string_view> partsOf(std::string_view text) {
    std::vector<std::string_view> parts;
    for (std::size_t end = 0; end != std::string_view::npos; text.remove_prefix(std::min(text.size(), end + 1))) {
        end = text.find(':');
        parts.push_back(text.substr(0, end));
    }
    return parts;
}

/// Digits, with a decimal point if a fraction is allowed.
std::optional<double> number(std::string_view text, bool hasFraction) {
    double value = 0.0;
    const auto [end, problem] = std::from_chars(text.begin(), text.end(), value, std::chars_format::fixed);
    const bool isPlain = text.find_first_not_of(hasFraction ? "0123456789." : "0123456789") == std::string_view::npos;
    return isPlain && problem == std::errc() && end == text.end() ? std::optional(value) : std::nullopt;
}

} // namespace

std::optional<double> secondsIn(const std::string& text) {
    constexpr std::size_t mostParts = 3;
    constexpr double longest = 1e9;
    const auto parts = partsOf(text);
    double seconds = 0.0;
    for (std::size_t part = 0; part < parts.size(); ++part) {
        const auto value = number(parts[part], part + 1 == parts.size());
        if (!value || (part > 0 && *value >= secondsAMinute)) {
            return std::nullopt;
        }
        seconds = seconds * secondsAMinute + *value;
    }
    return parts.size() <= mostParts && seconds <= longest ? std::optional(seconds) : std::nullopt;
}

std::string timeText(double seconds) {
    constexpr std::int64_t tenthsAMinute = 600;
    constexpr std::int64_t minutesAnHour = 60;
    constexpr double halfAMicrosecond = 0.5e-6; // the rounding error of dividing frames must not cost a tenth
    const auto tenths = static_cast<std::int64_t>(std::floor((std::max(seconds, 0.0) + halfAMicrosecond) * 10.0));
    const std::int64_t minutes = tenths / tenthsAMinute;
    const double rest = static_cast<double>(tenths % tenthsAMinute) / 10.0;
    char text[64];
    if (minutes < minutesAnHour) {
        std::snprintf(text, sizeof(text), "%d:%04.1f", static_cast<int>(minutes), rest);
    } else {
        std::snprintf(text, sizeof(text), "%lld:%02d:%04.1f", static_cast<long long>(minutes / minutesAnHour),
                      static_cast<int>(minutes % minutesAnHour), rest);
    }
    return text;
}

std::string secondsText(double seconds) {
    char text[64];
    std::snprintf(text, sizeof(text), "%.3f s", seconds);
    return text;
}
