#include "tests/platform/samples/resampling/Tones.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using braq::VariableRateConverter;
using braq::tests::fitSine;
using braq::tests::FittedSine;
using braq::tests::FunctionSource;
using braq::tests::Planes;
using braq::tests::render;
using braq::tests::turningTone;

constexpr double largestRatio = 64;
constexpr UInt32 largestPull = 4096;
constexpr double sourceRate = 48000;

std::string nameOf(double ratio) {
    std::string name = "Ratio" + std::to_string(ratio);
    std::replace(name.begin(), name.end(), '.', '_');
    return name;
}

/// The sound of a tone at a steady ratio.
Planes renderTone(double hertz, double ratio, UInt32 frames) {
    VariableRateConverter converter(2, largestRatio, largestPull, sourceRate / ratio);
    FunctionSource source = turningTone(hertz / sourceRate);
    Planes out;
    render(converter, source, out, frames, ratio);
    return out;
}

class UnitsResampling_VariableRateQuality : public testing::TestWithParam<double> {
  protected:
    static void expectPure(double hertz) {
        const double ratio = GetParam();
        const double cyclesPerFrame = hertz / sourceRate;
        const Planes out = renderTone(hertz, ratio, 24000);
        const FittedSine sine = fitSine(out[0], cyclesPerFrame * ratio, 4000);
        EXPECT_GE(sine.snr, 110);
        EXPECT_NEAR(sine.amplitude, 1, 1e-3);
        // In frames of the source: where the sound is, against where it should be.
        EXPECT_NEAR(sine.phase / cyclesPerFrame, 0, 1e-5);
    }
};

TEST_P(UnitsResampling_VariableRateQuality, KeepsALowTonePureAndInItsPlace) { expectPure(997); }

TEST_P(UnitsResampling_VariableRateQuality, KeepsAHighTonePureAndInItsPlaceWhereTheRateCanHoldIt) {
    if (15000 > 0.45 * sourceRate / GetParam()) {
        EXPECT_LE(sourceRate / GetParam(), 15000 / 0.45);
        return;
    }
    expectPure(15000);
}

INSTANTIATE_TEST_SUITE_P(Ratios, UnitsResampling_VariableRateQuality,
                         testing::Values(1.0 / 32, 0.5, 0.75, 44100.0 / 48000, 1.0, 1.0001, 48000.0 / 44100, 1.25, 1.5,
                                         1.9, 2.0, 2.1, 3.0, 4.0, 4.5, 8.0),
                         [](const auto& instance) { return nameOf(instance.param); });

TEST(UnitsResampling_VariableRateConverter, KeepsALowTonePureAt32TimesTheSpeed) {
    constexpr double hertz = 300; // 997 Hz would be above what the rendered rate can hold
    const Planes out = renderTone(hertz, 32, 12000);
    const FittedSine sine = fitSine(out[0], hertz / sourceRate * 32, 2000);
    EXPECT_GE(sine.snr, 110);
    EXPECT_NEAR(sine.phase / (hertz / sourceRate), 0, 1e-3);
}

TEST(UnitsResampling_VariableRateConverter, LeavesNothingOfWhatTheRateCannotHold) {
    for (const double ratio : {1.0884, 1.5, 1.9, 2.0, 2.1, 3.0, 4.0, 8.0, 31.0, 32.0}) {
        for (const double timesHighest : {1.1, 1.45, 1.9}) {
            const double hertz = timesHighest * sourceRate / 2 / ratio;
            if (hertz > 0.45 * sourceRate) {
                continue;
            }
            const Planes out = renderTone(hertz, ratio, 3000);
            float loudest = 0;
            for (std::size_t i = 500; i < out[0].size(); ++i) {
                loudest = std::max(loudest, std::fabs(out[0][i]));
            }
            EXPECT_LT(20 * std::log10(static_cast<double>(loudest)), -110)
                << "ratio " << ratio << ", " << hertz << " Hz";
        }
    }
}

TEST(UnitsResampling_VariableRateConverter, BeginsWithTheFirstFrameAsIfSilenceWereBeforeIt) {
    // A bump around frame 100, all of which is in the band: what is heard at a place is the bump's value there.
    const auto bump = [](double frame) { return std::exp(-(frame - 100) * (frame - 100) / 200); };
    for (const double ratio : {0.3, 0.9, 1.0, 1.1, 1.9, 2.5}) {
        FunctionSource source([&](UInt32, SInt64 frame) { return bump(static_cast<double>(frame)); });
        VariableRateConverter converter(2, largestRatio, largestPull, sourceRate);
        Planes out;
        render(converter, source, out, 600, ratio, 100);
        for (std::size_t i = 0; i < out[0].size(); ++i) {
            ASSERT_NEAR(static_cast<double>(out[0][i]), bump(static_cast<double>(i) * ratio), 3e-4)
                << ratio << ", " << i;
        }
    }
}

TEST(UnitsResampling_VariableRateConverter, GivesTheSameSamplesInRendersOfAnySize) {
    for (const double ratio : {0.5, 44100.0 / 48000, 1.0, 48000.0 / 44100, 3.0}) {
        Planes expected;
        for (const UInt32 atOnce : {512U, 1U, 16U, 37U, 4096U}) {
            VariableRateConverter converter(2, largestRatio, largestPull, sourceRate);
            FunctionSource source = turningTone(0.0213);
            Planes out;
            render(converter, source, out, 8192, ratio, atOnce);
            if (expected.empty()) {
                expected = out;
            }
            ASSERT_EQ(out, expected) << "ratio " << ratio << ", " << atOnce << " frames at once";
        }
    }
}

TEST(UnitsResampling_VariableRateConverter, ConvertsEachOfManyChannelsLikeAnyOther) {
    for (const UInt32 channels : {1U, 3U, 8U}) {
        FunctionSource source([](UInt32 channel, SInt64 frame) {
            return (channel + 1) * std::sin(0.1 * static_cast<double>(frame)) / 8;
        });
        source.channels = channels;
        VariableRateConverter converter(channels, largestRatio, largestPull, sourceRate);
        Planes out;
        render(converter, source, out, 2000, 1.3);
        for (UInt32 channel = 0; channel < channels; ++channel) {
            for (std::size_t i = 200; i < out[0].size(); ++i) {
                const double expected = (channel + 1) * std::sin(0.13 * static_cast<double>(i)) / 8;
                ASSERT_NEAR(static_cast<double>(out[channel][i]), expected, 2e-4) << channel << ", " << i;
            }
        }
    }
}

} // namespace
