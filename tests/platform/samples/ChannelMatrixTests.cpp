#include "platform/samples/ChannelMatrix.h"
#include "tests/platform/samples/Layouts.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <numeric>

namespace {

using namespace braq;
using namespace braq::tests;

constexpr double less = 0.70710678118654752440; // 3 dB
using Gains = std::vector<std::vector<double>>; // of each input, output by output

Gains gainsOf(const ChannelPositions& from, const ChannelPositions& to, Downmix downmix = Downmix::unscaled) {
    const ChannelMatrix matrix(from, to, downmix);
    Gains gains(to.size(), std::vector<double>(from.size()));
    for (UInt32 output = 0; output < to.size(); ++output) {
        for (UInt32 input = 0; input < from.size(); ++input) {
            gains[output][input] = static_cast<double>(matrix.gain(input, output));
        }
    }
    return gains;
}

double sumOf(const std::vector<double>& gains) { return std::accumulate(gains.begin(), gains.end(), 0.0); }

void expectNear(const Gains& gains, const Gains& expected) {
    ASSERT_EQ(gains.size(), expected.size());
    for (std::size_t output = 0; output < gains.size(); ++output) {
        EXPECT_THAT(gains[output], ::testing::Pointwise(::testing::DoubleNear(1e-6), expected[output]))
            << "output " << output;
    }
}

template <class Check>
void forEachPairOfLayouts(const Check& check) {
    for (const Layout& from : usualLayouts()) {
        for (const Layout& to : usualLayouts()) {
            SCOPED_TRACE(from.name + " to " + to.name);
            check(from, to);
        }
    }
}

TEST(ChannelMatrix, HasEachChannelHeardFromItsSpeakerInEveryLayout) {
    forEachPairOfLayouts([](const Layout& from, const Layout& to) {
        const Gains gains = gainsOf(from.positions, to.positions);
        for (UInt32 input = 0; input < from.channels(); ++input) {
            const ChannelPosition speaker = ownSpeaker(from.positions[input], from, to);
            for (UInt32 output = 0; from.channels() > 1 && speaker != unknown && output < to.channels(); ++output) {
                EXPECT_EQ(gains[output][input], to.positions[output] == speaker ? 1.0 : 0.0)
                    << "channel " << input << " in output " << output;
            }
        }
    });
}

TEST(ChannelMatrix, LosesNoChannelButThatOfLowFrequencies) {
    forEachPairOfLayouts([](const Layout& from, const Layout& to) {
        const Gains gains = gainsOf(from.positions, to.positions);
        for (UInt32 input = 0; input < from.channels(); ++input) {
            double power = 0.0;
            for (UInt32 output = 0; output < to.channels(); ++output) {
                power += gains[output][input] * gains[output][input];
            }
            const bool isLost = from.positions[input] == lowFrequency && !to.has(lowFrequency);
            EXPECT_EQ(power == 0.0, isLost) << "channel " << input;
        }
    });
}

TEST(ChannelMatrix, KeepsLeftAndRightApart) {
    forEachPairOfLayouts([](const Layout& from, const Layout& to) {
        const Gains gains = gainsOf(from.positions, to.positions);
        for (UInt32 input = 0; input < from.channels(); ++input) {
            for (UInt32 output = 0; output < to.channels(); ++output) {
                if (sideOf(from.positions[input]) * sideOf(to.positions[output]) < 0) {
                    EXPECT_EQ(gains[output][input], 0.0) << "channel " << input << " in output " << output;
                }
            }
        }
    });
}

TEST(ChannelMatrix, ScalesAllChannelsAlikeSoThatNoSumIsBeyondFullScale) {
    forEachPairOfLayouts([](const Layout& from, const Layout& to) {
        const Gains unscaled = gainsOf(from.positions, to.positions);
        const Gains scaled = gainsOf(from.positions, to.positions, Downmix::scaled);
        double loudest = 1.0;
        for (const auto& row : unscaled) {
            loudest = std::max(loudest, sumOf(row));
        }
        for (UInt32 output = 0; output < to.channels(); ++output) {
            EXPECT_LE(sumOf(scaled[output]), 1.0 + 1e-6);
            for (UInt32 input = 0; input < from.channels(); ++input) {
                EXPECT_NEAR(scaled[output][input], unscaled[output][input] / loudest, 1e-6);
            }
        }
    });
}

TEST(ChannelMatrix, HasTheGainsOfTheGuide) {
    expectNear(gainsOf(surround51, stereo), {{1, 0, less, 0, less, 0}, {0, 1, less, 0, 0, less}});
    expectNear(gainsOf(surround51Side, stereo), {{1, 0, less, 0, less, 0}, {0, 1, less, 0, 0, less}});
    expectNear(gainsOf(surround51, stereo, Downmix::scaled),
               {{0.414214, 0, 0.292893, 0, 0.292893, 0}, {0, 0.414214, 0.292893, 0, 0, 0.292893}});
    expectNear(gainsOf(surround51OfAlsa, stereo), {{1, 0, less, 0, less, 0}, {0, 1, 0, less, less, 0}});
    expectNear(gainsOf(surround51, {mono}), {{less, less, 1, 0, 0.5, 0.5}});
    expectNear(gainsOf(stereo, {mono}), {{less, less}});
    expectNear(gainsOf(stereo, {mono}, Downmix::scaled), {{0.5, 0.5}});
    expectNear(gainsOf({frontLeft, frontRight, rearLeft, rearRight}, stereo), {{1, 0, less, 0}, {0, 1, 0, less}});
    expectNear(gainsOf({frontLeft, frontRight, frontCenter, rearCenter}, stereo),
               {{1, 0, less, 0.5}, {0, 1, less, 0.5}});
    expectNear(gainsOf(surround71, surround51), {{1, 0, 0, 0, 0, 0, 0, 0},
                                                 {0, 1, 0, 0, 0, 0, 0, 0},
                                                 {0, 0, 1, 0, 0, 0, 0, 0},
                                                 {0, 0, 0, 1, 0, 0, 0, 0},
                                                 {0, 0, 0, 0, 1, 0, less, 0},
                                                 {0, 0, 0, 0, 0, 1, 0, less}});
    expectNear(gainsOf({frontLeft, frontRight, frontCenter, lowFrequency, rearCenter, sideLeft, sideRight}, surround51),
               {{1, 0, 0, 0, 0, 0, 0},
                {0, 1, 0, 0, 0, 0, 0},
                {0, 0, 1, 0, 0, 0, 0},
                {0, 0, 0, 1, 0, 0, 0},
                {0, 0, 0, 0, less, 1, 0},
                {0, 0, 0, 0, less, 0, 1}});
}

TEST(ChannelMatrix, GoesByNumberWhereAChannelHasNoNameOrNoPlace) {
    const Gains straight{{1, 0, 0}, {0, 1, 0}};
    expectNear(gainsOf({frontLeft, frontRight, unknown}, stereo), straight);
    expectNear(gainsOf({frontLeft, frontLeft, frontRight}, stereo), straight);
    expectNear(gainsOf({frontLeft, frontRight, frontCenter}, {unknown, unknown}), straight);
    expectNear(gainsOf({frontLeft, frontRight, frontCenter}, {lowFrequency, rearCenter}), straight);
    expectNear(gainsOf({unknown, unknown, unknown, unknown}, {unknown}), {{0.25, 0.25, 0.25, 0.25}});
    EXPECT_TRUE(ChannelMatrix({unknown, unknown}, stereo, Downmix::scaled).isByNumber());
    EXPECT_FALSE(ChannelMatrix(surround51, stereo, Downmix::scaled).isByNumber());
}

TEST(ChannelMatrix, HasASingleChannelHeardInAll) { expectNear(gainsOf({mono}, surround51), Gains(6, {1})); }

TEST(ChannelMatrix, TellsWhereChannelsOnlyChangePlaces) {
    const auto isPermutation = [](const ChannelPositions& from, const ChannelPositions& to) {
        return ChannelMatrix(from, to, Downmix::scaled).isPermutation();
    };
    EXPECT_TRUE(isPermutation(surround51, surround51));
    EXPECT_TRUE(isPermutation(surround51, surround51OfAlsa));
    EXPECT_TRUE(isPermutation(surround51Side, surround51OfAlsa)) << "at the rear what is meant for the side";
    EXPECT_TRUE(isPermutation(stereo, surround51)) << "the others are silent";
    EXPECT_FALSE(isPermutation(surround51, stereo));
    EXPECT_FALSE(isPermutation({frontLeft, frontRight, lowFrequency}, stereo)) << "one is lost";
    EXPECT_FALSE(isPermutation({mono}, stereo));
}

TEST(ChannelMatrix, MixesPlanes) {
    const std::vector<std::vector<float>> inputs{{1.0F, 2.0F}, {10.0F, 20.0F}, {100.0F, 200.0F}};
    const float* const from[]{inputs[0].data(), inputs[1].data(), inputs[2].data()};
    float left[]{9.0F, 9.0F};
    float right[]{9.0F, 9.0F};
    float* const to[]{left, right};
    ChannelMatrix({frontLeft, frontRight, frontCenter}, stereo, Downmix::unscaled).mix(from, to, 2);
    EXPECT_THAT(left, ::testing::Pointwise(::testing::FloatNear(1e-4F), {71.710678F, 143.421356F}));
    EXPECT_THAT(right, ::testing::Pointwise(::testing::FloatNear(1e-4F), {80.710678F, 161.421356F}));
}

} // namespace
