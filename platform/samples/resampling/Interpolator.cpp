#include "platform/samples/resampling/Interpolator.h"

#include <array>

namespace braq {

namespace {

/// The channels share the work of finding the taps.
template <std::size_t Channels>
std::array<float, Channels> sumAround(LowPassTable::Place place,
                                      const std::array<const float*, Channels>& in) noexcept {
    // Two sums per channel; with one, each addition would wait for the previous one.
    std::array<Floats4, Channels> even{};
    std::array<Floats4, Channels> odd{};
    for (std::ptrdiff_t tap = 0; tap < LowPassTable::taps; tap += 8) {
        const Floats4 evenTaps = place.tapsAt(tap);
        const Floats4 oddTaps = place.tapsAt(tap + 4);
        for (std::size_t channel = 0; channel < Channels; ++channel) {
            even[channel] += evenTaps * load4(in[channel] + tap);
            odd[channel] += oddTaps * load4(in[channel] + tap + 4);
        }
    }
    std::array<float, Channels> sums{};
    for (std::size_t channel = 0; channel < Channels; ++channel) {
        sums[channel] = sumOf(even[channel] + odd[channel]);
    }
    return sums;
}

} // namespace

template <std::size_t Channels>
void Interpolator::readChannels(std::size_t first, const StreamBlock& block, const StreamWindow& window,
                                float* const* out) const noexcept {
    for (UInt32 frame = 0; frame < blockFrames; ++frame) {
        const FramePosition place = block.placeOf(frame);
        std::array<const float*, Channels> in{};
        for (std::size_t channel = 0; channel < Channels; ++channel) {
            in[channel] = window.at(first + channel, place.frame + 1 - LowPassTable::reach);
        }
        const std::array<float, Channels> sums = sumAround(mTable.at(place.fraction), in);
        for (std::size_t channel = 0; channel < Channels; ++channel) {
            out[first + channel][frame] = sums[channel];
        }
    }
}

void Interpolator::read(const StreamBlock& block, const StreamWindow& window, float* const* out) const noexcept {
    std::size_t channel = 0;
    for (; channel + 2 <= mChannels; channel += 2) {
        readChannels<2>(channel, block, window, out);
    }
    if (channel < mChannels) {
        readChannels<1>(channel, block, window, out);
    }
}

} // namespace braq
