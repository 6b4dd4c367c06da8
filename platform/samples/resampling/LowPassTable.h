#pragma once

#include "platform/samples/resampling/Floats4.h"
#include "platform/samples/resampling/FramePosition.h"

#include <array>
#include <cstddef>

namespace braq {

/// A linear-phase low-pass filter for a stream of frames, at any position between them: it keeps 0.92 of the bandwidth
/// of the frames' rate and is 118 dB down above 1.08 of it.
///
/// The value at a position is the sum of the frames around it, each times the tap for its distance. Transposed, a
/// sample at a position between output frames is added to the frames around it, with the same taps. They add up to 1.
///
/// There are `phases` rows per frame, and within a row each tap is a parabola. So few rows stay in the cache under any
/// load; linear interpolation would need ten times as many rows for the same accuracy.
class LowPassTable {
  public:
    static constexpr SInt64 taps = 96;
    /// Frames on each side of a position that contribute.
    static constexpr SInt64 reach = taps / 2;
    /// Zero taps before the first and after the last tap of a row, which may be read too.
    static constexpr SInt64 margin = 8;
    static constexpr SInt64 phases = 64;

    struct Row {
        using Taps = std::array<float, margin + taps + margin>;
        Taps constant;
        Taps linear;
        Taps square;
    };

    /// The taps around one position: tap k is for the frame `k` + 1 - `reach` after the one at or before it.
    struct Place {
        const Row* row;
        float within; ///< position in the row: 0 to 1

        /// @param tap the first of four, from -`margin` to `taps` + `margin` - 4 @realtime
        Floats4 tapsAt(std::ptrdiff_t tap) const noexcept {
            const std::ptrdiff_t i = static_cast<std::ptrdiff_t>(margin) + tap;
            const Floats4 square = load4(row->square.data() + i);
            return load4(row->constant.data() + i) + within * (load4(row->linear.data() + i) + within * square);
        }
    };

    /// The table of the process, computed by the first call. Control thread.
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
