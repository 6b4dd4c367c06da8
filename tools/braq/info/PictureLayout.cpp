#include "tools/braq/info/PictureLayout.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace {

constexpr int usualWidth = 1200;
constexpr double usualLane = 149.0;
constexpr double usualGap = 16.0; // room for two labels, one above the other
constexpr double smallestLane = 12.0;

double gapFor(double heightOfAChannel) { return std::min(usualGap, heightOfAChannel / 6.0); }

double heightFor(std::size_t channels) {
    constexpr double highPicture = 3000.0;
    const double lanes = static_cast<double>(channels) * (usualLane + usualGap) - usualGap;
    return std::min(lanes, highPicture) + PictureLayout::topMargin + PictureLayout::bottomMargin;
}

} // namespace

std::optional<PictureSize> pictureSizeFrom(const std::string& text) {
    PictureSize size;
    const char* const end = text.data() + text.size();
    const auto width = std::from_chars(text.data(), end, size.width);
    if (width.ec != std::errc() || width.ptr == end || *width.ptr != 'x') {
        return std::nullopt;
    }
    const auto height = std::from_chars(width.ptr + 1, end, size.height);
    const bool isInRange = size.width >= smallestPicture.width && size.width <= largestPicture.width &&
                           size.height >= smallestPicture.height && size.height <= largestPicture.height;
    return height.ec == std::errc() && height.ptr == end && isInRange ? std::optional(size) : std::nullopt;
}

PictureLayout::PictureLayout(std::optional<PictureSize> wanted, std::size_t channels)
    : size(wanted.value_or(PictureSize{usualWidth, static_cast<int>(heightFor(channels))})) {
    const auto count = static_cast<double>(channels);
    const double height = size.height - topMargin - bottomMargin;
    laneGap = channels > 1 ? gapFor(height / count) : 0.0;
    laneHeight = (height - laneGap * (count - 1.0)) / count;
    if (laneHeight < smallestLane) {
        throw std::runtime_error("a picture of this height has no room for " + std::to_string(channels) + " channels");
    }
}

double PictureLayout::laneTop(std::size_t channel) const noexcept {
    return topMargin + static_cast<double>(channel) * (laneHeight + laneGap);
}
