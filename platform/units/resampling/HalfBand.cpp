#include "platform/units/resampling/HalfBand.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace braq {

namespace halfband {

namespace {

/// Modified Bessel function of the first kind and order 0.
double bessel(double x) {
    double sum = 1;
    double term = 1;
    for (int k = 1; term > sum * 1e-18; ++k) {
        term *= x / (2 * k) * (x / (2 * k));
        sum += term;
    }
    return sum;
}

/// A Kaiser window's shape for 120 dB.
constexpr double shape = 12.26;

std::array<float, reach> design() {
    std::array<double, reach> taps{};
    double sum = 0;
    for (std::size_t i = 0; i < reach; ++i) {
        const double distance = 2.0 * static_cast<double>(i) + 1;
        const double place = distance / (2.0 * reach);
        const double sinc = std::sin(distance * std::numbers::pi / 2) / (distance * std::numbers::pi);
        taps[i] = sinc * bessel(shape * std::sqrt(1 - place * place)) / bessel(shape);
        sum += taps[i];
    }
    std::array<float, reach> scaled{};
    // Both sides together weigh as much as the sample in the middle, or the highest frequency would not quite vanish.
    std::transform(taps.begin(), taps.end(), scaled.begin(),
                   [sum](double tap) { return static_cast<float>(tap / sum / 4); });
    return scaled;
}

const std::array<float, reach> taps = design();

/// Samples that are computed side by side, which compilers turn into vectors.
constexpr UInt32 lanes = 16;

template <UInt32 Lanes>
void filterLanes(const float* odd, const float* even, float* out) noexcept {
    std::array<float, Lanes> sum{};
    for (std::size_t i = 0; i < reach; ++i) {
        const float* const before = odd - 1 - i;
        const float* const behind = odd + i;
        for (UInt32 n = 0; n < Lanes; ++n) {
            sum[n] += taps[i] * (before[n] + behind[n]);
        }
    }
    for (UInt32 n = 0; n < Lanes; ++n) {
        out[n] = 0.5F * even[n] + sum[n];
    }
}

} // namespace

void filter(UInt32 frames, const float* odd, const float* even, float* out) noexcept {
    UInt32 n = 0;
    for (; n + lanes <= frames; n += lanes) {
        filterLanes<lanes>(odd + n, even + n, out + n);
    }
    for (; n < frames; ++n) {
        filterLanes<1>(odd + n, even + n, out + n);
    }
}

} // namespace halfband

void HalfBandStream::halve(UInt32 frames, const float* in, float* out) noexcept {
    constexpr std::size_t oddKept = 2 * halfband::reach - 1;
    constexpr std::size_t evenKept = halfband::reach - 1;
    for (std::size_t n = 0; n < frames; ++n) {
        mEven[evenKept + n] = in[2 * n];
        mOdd[oddKept + n] = in[2 * n + 1];
    }
    halfband::filter(frames, &mOdd[halfband::reach], mEven.data(), out);
    std::copy_n(&mOdd[frames], oddKept, mOdd.data());
    std::copy_n(&mEven[frames], evenKept, mEven.data());
}

} // namespace braq
