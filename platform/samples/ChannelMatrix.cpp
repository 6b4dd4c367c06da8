#include "platform/samples/ChannelMatrix.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <initializer_list>
#include <optional>

namespace braq {
namespace {

using Gains = std::vector<double>; // of each input, output by output

constexpr double threeDecibelsLess = 0.70710678118654752440;
constexpr double sixDecibelsLess = 0.5;

struct Share {
    ChannelPosition position;
    double gain;
};
/// Other positions that together replace one, if there is a channel for each.
using Shares = std::vector<Share>;

/// The positions that replace a position without its own channel, best choice first.
/// @param from the input layout: of a side pair and a rear pair, neither must drown the other
std::vector<Shares> substitutes(ChannelPosition position, const ChannelPositions& from) {
    using enum BRAQChannelPosition;
    const auto several = [](std::initializer_list<ChannelPosition> positions, double gain) {
        Shares shares;
        for (const ChannelPosition each : positions) {
            shares.push_back({each, gain});
        }
        return shares;
    };
    const auto one = [&](ChannelPosition other, double gain) { return several({other}, gain); };
    const auto surround = [&](ChannelPosition beside, ChannelPosition front) {
        const bool isAlsoThere = std::ranges::find(from, beside) != from.end();
        std::vector choices{one(rearCenter, threeDecibelsLess), one(front, threeDecibelsLess),
                            one(frontCenter, sixDecibelsLess)};
        choices.insert(choices.begin() + (isAlsoThere ? 1 : 0), one(beside, isAlsoThere ? threeDecibelsLess : 1.0));
        return choices;
    };
    switch (position) {
    case mono:
    case frontCenter: return {several({frontLeft, frontRight}, threeDecibelsLess)};
    case frontLeft:
    case frontRight: return {one(frontCenter, threeDecibelsLess)};
    case frontLeftOfCenter: return {one(frontLeft, 1.0), one(frontCenter, threeDecibelsLess)};
    case frontRightOfCenter: return {one(frontRight, 1.0), one(frontCenter, threeDecibelsLess)};
    case rearCenter:
        return {several({rearLeft, rearRight}, threeDecibelsLess), several({sideLeft, sideRight}, threeDecibelsLess),
                several({frontLeft, frontRight}, sixDecibelsLess), one(frontCenter, sixDecibelsLess)};
    case rearLeft: return surround(sideLeft, frontLeft);
    case rearRight: return surround(sideRight, frontRight);
    case sideLeft: return surround(rearLeft, frontLeft);
    case sideRight: return surround(rearRight, frontRight);
    case lowFrequency:
    case unknown: break;
    }
    return {};
}

/// A single channel of a layout is a centre.
ChannelPositions withoutMono(ChannelPositions positions) {
    std::ranges::replace(positions, ChannelPosition::mono, ChannelPosition::frontCenter);
    return positions;
}

std::optional<std::size_t> indexOf(ChannelPosition position, const ChannelPositions& positions) {
    const auto found = std::ranges::find(positions, position);
    return found == positions.end() ? std::nullopt : std::optional<std::size_t>(found - positions.begin());
}

/// @return nothing if a channel would be lost
std::optional<Gains> gainsByPosition(const ChannelPositions& from, const ChannelPositions& to) {
    if (!areKnown(from) || !areKnown(to)) {
        return std::nullopt;
    }
    const auto isHere = [&](const Share& share) { return indexOf(share.position, to).has_value(); };
    Gains gains(from.size() * to.size());
    for (std::size_t input = 0; input < from.size(); ++input) {
        Shares shares{{from[input], 1.0}};
        if (!isHere(shares.front())) {
            const auto choices = substitutes(from[input], from);
            const auto choice =
                std::ranges::find_if(choices, [&](const Shares& each) { return std::ranges::all_of(each, isHere); });
            if (choice == choices.end() && from[input] != ChannelPosition::lowFrequency) {
                return std::nullopt;
            }
            shares = choice == choices.end() ? Shares{} : *choice;
        }
        for (const Share& share : shares) {
            gains[*indexOf(share.position, to) * from.size() + input] += share.gain;
        }
    }
    return gains;
}

Gains gainsByNumber(std::size_t inputs, std::size_t outputs) {
    if (outputs == 1) {
        return Gains(inputs, 1.0 / static_cast<double>(inputs));
    }
    Gains gains(inputs * outputs);
    for (std::size_t i = 0; i < std::min(inputs, outputs); ++i) {
        gains[i * inputs + i] = 1.0;
    }
    return gains;
}

/// The level of the loudest output with all inputs at full scale; at least 1.
double loudest(const Gains& gains, std::size_t inputs) {
    double most = 1.0;
    for (auto row = gains.begin(); row != gains.end(); row += static_cast<std::ptrdiff_t>(inputs)) {
        double sum = 0.0;
        std::for_each(row, row + static_cast<std::ptrdiff_t>(inputs), [&](double gain) { sum += gain; });
        most = std::max(most, sum);
    }
    return most;
}

} // namespace

ChannelMatrix::ChannelMatrix(const ChannelPositions& from, const ChannelPositions& to, Downmix downmix)
    : mInputs(from.size()), mOutputs(to.size()) {
    Gains gains(mOutputs, 1.0); // of a single input
    if (mInputs > 1) {
        auto byPosition = gainsByPosition(withoutMono(from), withoutMono(to));
        mIsByNumber = !byPosition;
        gains = byPosition ? std::move(*byPosition) : gainsByNumber(mInputs, mOutputs);
    }
    const double least = downmix == Downmix::scaled ? loudest(gains, mInputs) : 1.0;
    std::ranges::transform(gains, std::back_inserter(mGains),
                           [least](double gain) { return static_cast<float>(gain / least); });
}

bool ChannelMatrix::isPermutation() const {
    if (std::ranges::any_of(mGains, [](float gain) { return gain != 0.0F && gain != 1.0F; })) {
        return false;
    }
    std::vector<bool> isHeard(mInputs);
    for (std::size_t output = 0; output < mOutputs; ++output) {
        const auto row = mGains.begin() + static_cast<std::ptrdiff_t>(output * mInputs);
        const auto end = row + static_cast<std::ptrdiff_t>(mInputs);
        const auto input = std::find(row, end, 1.0F);
        if (input == end) {
            continue;
        }
        if (isHeard[static_cast<std::size_t>(input - row)] || std::find(input + 1, end, 1.0F) != end) {
            return false;
        }
        isHeard[static_cast<std::size_t>(input - row)] = true;
    }
    return std::ranges::all_of(isHeard, [](bool is) { return is; });
}

void ChannelMatrix::mix(const float* const* from, float* const* to, UInt32 frames) const {
    for (std::size_t output = 0; output < mOutputs; ++output) {
        std::fill_n(to[output], frames, 0.0F);
        for (std::size_t input = 0; input < mInputs; ++input) {
            const float gain = mGains[output * mInputs + input];
            for (UInt32 i = 0; gain != 0 && i < frames; ++i) {
                to[output][i] += gain * from[input][i];
            }
        }
    }
}

} // namespace braq
