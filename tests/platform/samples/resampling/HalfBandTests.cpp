#include "platform/samples/resampling/HalfBand.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

using braq::HalfBand;
using braq::HalfBandStream;

/// A cosine at half its rate. @param frequency of the higher rate's cycles a sample
std::vector<float> halved(HalfBand kind, double frequency, UInt32 blocks, UInt32 atOnce) {
    HalfBandStream stream;
    std::vector<float> out;
    std::vector<float> in(std::size_t{2} * atOnce);
    SInt64 next = 0;
    for (UInt32 i = 0; i < blocks; ++i) {
        std::generate(in.begin(), in.end(), [&] {
            const double sample = std::cos(2 * std::numbers::pi * frequency * static_cast<double>(next++));
            return static_cast<float>(sample);
        });
        out.resize(out.size() + atOnce);
        stream.halve(kind, atOnce, in.data(), out.data() + out.size() - atOnce);
    }
    return out;
}

double largestOf(const std::vector<float>& samples, std::size_t first) {
    float largest = 0;
    for (std::size_t i = first; i < samples.size(); ++i) {
        largest = std::max(largest, std::fabs(samples[i]));
    }
    return static_cast<double>(largest);
}

void expectKept(HalfBand kind, const std::vector<double>& frequencies) {
    for (const double frequency : frequencies) {
        const std::vector<float> out = halved(kind, frequency, 20, 64);
        for (std::size_t m = HalfBandStream::memory; m < out.size(); ++m) {
            const double place = 2 * static_cast<double>(m) - HalfBandStream::delay;
            ASSERT_NEAR(static_cast<double>(out[m]), std::cos(2 * std::numbers::pi * frequency * place), 5e-6)
                << frequency;
        }
    }
}

void expectRemoved(HalfBand kind, const std::vector<double>& frequencies) {
    for (const double frequency : frequencies) {
        const double largest = largestOf(halved(kind, frequency, 20, 64), HalfBandStream::memory);
        EXPECT_LT(20 * std::log10(largest), -115) << frequency;
    }
}

TEST(UnitsResampling_HalfBand, KeepsWhatItIsToKeepInItsPlace) {
    expectKept(HalfBand::steep, {0.0, 0.01, 0.1, 0.2, 0.2295});
    expectKept(HalfBand::gentle, {0.0, 0.01, 0.1, 0.145});
}

TEST(UnitsResampling_HalfBand, LetsNothingThroughThatTheLowerRateCannotHold) {
    expectRemoved(HalfBand::steep, {0.2705, 0.3, 0.35, 0.41, 0.5});
    expectRemoved(HalfBand::gentle, {0.355, 0.37, 0.41, 0.5});
}

TEST(UnitsResampling_HalfBand, KeepsEnoughToBeHalvedAgain) {
    // What the steep filter behind it lets through must come from there, not from what lies above the lower rate.
    const double passed = 1.082 * 0.125;
    expectKept(HalfBand::gentle, {passed});
    expectRemoved(HalfBand::gentle, {0.5 - passed});
}

TEST(UnitsResampling_HalfBand, GivesTheSameInPiecesOfAnySize) {
    for (const HalfBand kind : {HalfBand::steep, HalfBand::gentle}) {
        const std::vector<float> expected = halved(kind, 0.11, 20, 64);
        for (const UInt32 atOnce : {1U, 2U, 5U, 10U, 16U, 40U}) {
            EXPECT_EQ(halved(kind, 0.11, 1280 / atOnce, atOnce), expected) << atOnce;
        }
    }
}

} // namespace
