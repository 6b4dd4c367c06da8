#pragma once

#include <cstddef>
#include <optional>
#include <string>

struct PictureSize {
    int width = 0;
    int height = 0;
};

/// Parses a size such as "1200x400". Nothing for other text, and outside `smallestPicture` to `largestPicture`.
std::optional<PictureSize> pictureSizeFrom(const std::string& text);

constexpr PictureSize smallestPicture{320, 120};
constexpr PictureSize largestPicture{20000, 20000};

/// The layout of a waveform picture, in pixels from its upper left corner: the channels' lanes below each other, a
/// title above them, the time axis below, and the channels' names and the amplitudes beside.
struct PictureLayout {
    /// @param wanted nothing: as wide as a page, and high enough for readable lanes
    /// Throws std::runtime_error if the lanes would be too low.
    PictureLayout(std::optional<PictureSize> wanted, std::size_t channels);

    int left() const noexcept { return 92; }
    int right() const noexcept { return size.width - 52; }
    int columns() const noexcept { return right() - left(); }
    double laneTop(std::size_t channel) const noexcept;
    double bottom() const noexcept { return size.height - bottomMargin; }

    static constexpr int topMargin = 48;
    static constexpr int bottomMargin = 38;

    PictureSize size;
    double laneHeight = 0.0;
    double laneGap = 0.0;
};
