#include "platform/samples/resampling/Decimator.h"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace braq {

namespace {

constexpr SInt64 lanes = 4;

} // namespace

void Decimator::clear() noexcept { std::fill(mSums.begin(), mSums.end(), Sums{}); }

void Decimator::add(const StreamBlock& block, const StreamWindow& window) noexcept {
    for (Sums& sums : mSums) {
        std::copy(sums.samples.begin() + blockFrames, sums.samples.end(), sums.samples.begin());
        std::fill_n(sums.samples.end() - blockFrames, blockFrames, 0.0F);
    }
    const SInt64 blockEnd = block.endFrame();
    for (SInt64 first = block.firstFrame(); first < blockEnd; first += batch) {
        const auto count = static_cast<std::size_t>(std::min(batch, blockEnd - first));
        locate(block, first, count);
        std::size_t channel = 0;
        for (; channel + 2 <= mSums.size(); channel += 2) {
            addChannels<2>(channel, count, window);
        }
        if (channel < mSums.size()) {
            addChannels<1>(channel, count, window);
        }
    }
}

/// The stream's frame at distance d from the block's start is at position n, with d = n x first + n^2 x growth / 2.
void Decimator::locate(const StreamBlock& block, SInt64 first, std::size_t count) noexcept {
    const double ratio = framesOf(block.firstRatio);
    const double growth = framesOf(block.lastRatio - block.firstRatio) / blockFrames;
    const double start = framesOf(block.start.fraction);
    for (std::size_t i = 0; i < count; ++i) {
        Heard& heard = mHeard[i];
        heard.frame = first + static_cast<SInt64>(i);
        const double distance = static_cast<double>(heard.frame - block.start.frame) - start;
        const double ratioThere = std::sqrt(ratio * ratio + 2 * growth * distance);
        const double n = 2 * distance / (ratio + ratioThere);
        const auto place = static_cast<FixedFrames>(n * static_cast<double>(oneFrame));
        heard.first = blockFrames + (place >> 32) + 1 - LowPassTable::reach;
        heard.place = mTable.at(place & (oneFrame - 1));
        heard.weight = static_cast<float>(1 / ratioThere);
    }
    mHeard[count] = mHeard[count - 1];
    mHeard[count].weight = 0;
}

template <std::size_t Channels>
void Decimator::addChannels(std::size_t channel, std::size_t count, const StreamWindow& window) noexcept {
    // Two at a time, so that the sums are loaded and stored half as often.
    for (std::size_t pair = 0; pair < count; pair += 2) {
        const Heard one = mHeard[pair];
        const Heard two = mHeard[pair + 1];
        assert(two.first - one.first <= LowPassTable::margin + 1 - lanes);
        std::array<Floats4, Channels> ones;
        std::array<Floats4, Channels> twos;
        std::array<float*, Channels> sums;
        for (std::size_t i = 0; i < Channels; ++i) {
            ones[i] = fill4(*window.at(channel + i, one.frame) * one.weight);
            twos[i] = fill4(*window.at(channel + i, two.frame) * two.weight);
            sums[i] = mSums[channel + i].samples.data();
        }
        // Sums are stored and soon loaded again, in the same groups of four; otherwise loads would have to wait for
        // stores.
        const SInt64 end = two.first + LowPassTable::taps;
        for (SInt64 n = one.first / lanes * lanes; n < end; n += lanes) {
            const Floats4 oneTaps = one.place.tapsAt(n - one.first);
            const Floats4 twoTaps = two.place.tapsAt(n - two.first);
            for (std::size_t i = 0; i < Channels; ++i) {
                store4(load4(sums[i] + n) + (ones[i] * oneTaps + twos[i] * twoTaps), sums[i] + n);
            }
        }
    }
}

void Decimator::copy(float* const* out) const noexcept {
    for (std::size_t channel = 0; channel < mSums.size(); ++channel) {
        std::copy_n(mSums[channel].samples.begin(), blockFrames, out[channel]);
    }
}

} // namespace braq
