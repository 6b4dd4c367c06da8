#pragma once

#include "platform/samples/resampling/Floats4.h"
#include "platform/samples/resampling/FramePosition.h"

#include <array>
#include <cstddef>

namespace braq {

/// A low-pass filter of linear phase for a stream of frames, at any place between them: it keeps 0.92 of what the frames' rate
/// can hold and lets nothing above 1.08 of it through, 118 dB down.
///
/// What is heard at a place is the sum of the frames around it, each times the tap for its distance. The other way round, a
/// sample that is heard at a place between the frames that are made adds its part to each of those around it, with the same
/// taps. They add up to 1.
///
/// From one frame to the next there are `phases` rows, and over a row each tap is a parabola. So few rows stay near the
/// processor whatever else it does; straight lines would want ten times as many to be as exact.
class LowPassTable {
  public:
    static constexpr SInt64 taps = 96;
    /// Frames on each side of a place that take part.
    static constexpr SInt64 reach = taps / 2;
    /// Taps of 0 before the first and behind the last of a row, which may be read too.
    static constexpr SInt64 margin = 8;
    static constexpr SInt64 phases = 64;

    struct Row {
        using Taps = std::array<float, margin + taps + margin>;
        Taps constant;
        Taps linear;
        Taps square;
    };

    /// The taps around one place: tap k is that of the frame `k` + 1 - `reach` after the one that is on it or before it.
    struct Place {
        const Row* row;
        float within; ///< the row: 0 to 1

        /// @param tap the first of four, from -`margin` to `taps` + `margin` - 4 @realtime
        Floats4 tapsAt(std::ptrdiff_t tap) const noexcept {
            const std::ptrdiff_t i = static_cast<std::ptrdiff_t>(margin) + tap;
            const Floats4 square = load4(row->square.data() + i);
            return load4(row->constant.data() + i) + within * (load4(row->linear.data() + i) + within * square);
        }
    };

    /// The one of the process, made at the first call. Control thread.
    static const LowPassTable& shared();

    /// @param fraction of a frame @realtime
    Place at(FixedFrames fraction) const noexcept {
        constexpr FixedFrames rowLength = oneFrame / phases;
        return {&mRows[static_cast<std::size_t>(fraction / rowLength)],
                static_cast<float>(static_cast<SInt32>(fraction % rowLength)) / static_cast<float>(rowLength)};
    }

    LowPassTable(const LowPassTable&) = delete;
    LowPassTable& operator=(const LowPassTable&) = delete;

  private:
    LowPassTable();

    std::array<Row, phases> mRows{};
};

} // namespace braq
