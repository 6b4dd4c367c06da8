#include "platform/samples/resampling/HalfBand.h"

#include "platform/samples/resampling/Floats4.h"
#include "platform/samples/resampling/KaiserWindow.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace braq {

namespace halfband {

namespace {

constexpr double attenuation = 120;

template <HalfBand Kind>
std::array<float, reachOf(Kind)> design() {
    constexpr std::size_t reach = reachOf(Kind);
    const KaiserWindow window(attenuation);
    std::array<double, reach> taps{};
    for (std::size_t i = 0; i < reach; ++i) {
        const double distance = 2.0 * static_cast<double>(i) + 1;
        taps[i] = sinc(distance / 2) * window.at(distance / (2.0 * reach));
    }
    const double sum = std::accumulate(taps.begin(), taps.end(), 0.0);
    std::array<float, reach> scaled{};
    // Both sides together weigh as much as the centre sample; otherwise the highest frequency would not vanish
    // completely.
    std::transform(taps.begin(), taps.end(), scaled.begin(),
                   [sum](double tap) { return static_cast<float>(tap / sum / 4); });
    return scaled;
}

template <HalfBand Kind>
const std::array<float, reachOf(Kind)> taps = design<Kind>();

float sampleAt(const float* odd, const float* even, const float* taps, std::size_t reach) noexcept {
    float sum = 0.5F * *even;
    for (std::size_t i = 0; i < reach; ++i) {
        sum += taps[i] * (*(odd - 1 - i) + odd[i]);
    }
    return sum;
}

/// Samples that are computed in parallel.
constexpr UInt32 lanes = 16;

template <HalfBand Kind>
void filterAs(UInt32 frames, const float* odd, const float* even, float* out) noexcept {
    constexpr std::size_t reach = reachOf(Kind);
    UInt32 n = 0;
    for (; n + lanes <= frames; n += lanes) {
        std::array<Floats4, lanes / 4> sums;
        for (std::size_t i = 0; i < sums.size(); ++i) {
            sums[i] = 0.5F * load4(even + n + 4 * i);
        }
        for (std::size_t tap = 0; tap < reach; ++tap) {
            const float* const before = odd + n - 1 - tap;
            const float* const behind = odd + n + tap;
            for (std::size_t i = 0; i < sums.size(); ++i) {
                sums[i] += taps<Kind>[tap] * (load4(before + 4 * i) + load4(behind + 4 * i));
            }
        }
        for (std::size_t i = 0; i < sums.size(); ++i) {
            store4(sums[i], out + n + 4 * i);
        }
    }
    for (; n < frames; ++n) {
        out[n] = sampleAt(odd + n, even + n, taps<Kind>.data(), reach);
    }
}

} // namespace

void filter(HalfBand kind, UInt32 frames, const float* odd, const float* even, float* out) noexcept {
    if (kind == HalfBand::steep) {
        filterAs<HalfBand::steep>(frames, odd, even, out);
    } else {
        filterAs<HalfBand::gentle>(frames, odd, even, out);
    }
}

} // namespace halfband

namespace {

void takeApart(UInt32 frames, const float* in, float* even, float* odd) noexcept {
    std::size_t n = 0;
    for (; n + 4 <= frames; n += 4) {
        const Floats4 one = load4(in + 2 * n);
        const Floats4 two = load4(in + 2 * n + 4);
        store4(__builtin_shufflevector(one, two, 0, 2, 4, 6), even + n);
        store4(__builtin_shufflevector(one, two, 1, 3, 5, 7), odd + n);
    }
    for (; n < frames; ++n) {
        even[n] = in[2 * n];
        odd[n] = in[2 * n + 1];
    }
}

} // namespace

void HalfBandStream::halve(HalfBand kind, UInt32 frames, const float* in, float* out) noexcept {
    takeApart(frames, in, &mEven[evenKept], &mOdd[oddKept]);
    halfband::filter(kind, frames, &mOdd[reach], mEven.data(), out);
    std::copy_n(&mOdd[frames], oddKept, mOdd.data());
    std::copy_n(&mEven[frames], evenKept, mEven.data());
}

} // namespace braq
