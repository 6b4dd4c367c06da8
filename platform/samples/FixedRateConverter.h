#pragma once

#include "BRAQAudio/platform/types.h"

#include <cstddef>
#include <memory>

struct soxr;

namespace braq {

/// Band-limited conversion between two rates that stay, one float array per channel. Output frame k is the input at
/// time k / rate. The one place that knows libsoxr.
class FixedRateConverter {
  public:
    enum class Quality {
        high,    ///< 20 bits; a shorter filter
        veryHigh ///< 28 bits
    };
    struct Progress {
        std::size_t taken = 0; ///< input frames
        std::size_t made = 0;  ///< output frames
        bool isGood = false;
    };

    /// @return null if these rates are not supported, or without memory
    static std::unique_ptr<FixedRateConverter> create(Float64 fromRate, Float64 toRate, UInt32 channels,
                                                      Quality quality);
    ~FixedRateConverter();
    FixedRateConverter(const FixedRateConverter&) = delete;
    FixedRateConverter& operator=(const FixedRateConverter&) = delete;

    /// Takes frames and makes those that are complete, as far as there is room.
    /// @param from null: there is no more input; makes the rest
    Progress process(const float* const* from, std::size_t frames, float* const* to, std::size_t capacity) noexcept;

    /// Begins anew.
    void clear() noexcept;

  private:
    explicit FixedRateConverter(soxr* converter);

    struct Deleter {
        void operator()(soxr* converter) const noexcept;
    };
    const std::unique_ptr<soxr, Deleter> mConverter;
};

} // namespace braq
