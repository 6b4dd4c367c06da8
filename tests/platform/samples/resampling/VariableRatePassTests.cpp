#include "tests/platform/samples/resampling/Tones.h"

#include <gtest/gtest.h>

#include <limits>
#include <numeric>

namespace {

using braq::VariableRateConverter;
using braq::tests::FunctionSource;
using braq::tests::numberedFrames;
using braq::tests::Planes;
using braq::tests::render;

using braq::tests::frameRate;

/// @return whether frames `first` to `last` are the source's own, from `start` on
bool areUntouched(const Planes& out, std::size_t first, std::size_t last, SInt64 start) {
    for (std::size_t i = first; i < last; ++i) {
        const auto frame =
            static_cast<float>(static_cast<double>(2 * (start + static_cast<SInt64>(i - first))) * 0x1p-24);
        if (out[0][i] != frame || out[1][i] != frame + 0x1p-24F) {
            return false;
        }
    }
    return true;
}

/// @return the source's frame that is at `index`, where frames are untouched
SInt64 frameAt(const Planes& out, std::size_t index) {
    return std::lround(static_cast<double>(out[0][index]) * 0x1p23);
}

TEST(UnitsResampling_VariableRateConverter, PassesFramesAtRatio1UntouchedAndPullsNoMoreThanItRenders) {
    VariableRateConverter converter(2, 64, 4096, frameRate);
    FunctionSource source = numberedFrames();
    Planes out;
    SInt64 rendered = 0;
    for (const UInt32 frames : {1U, 512U, 16U, 4096U, 333U}) {
        render(converter, source, out, frames, 1, frames);
        rendered += frames;
        EXPECT_EQ(source.pulled, rendered);
        EXPECT_EQ(converter.heldFrames(), 0);
    }
    EXPECT_EQ(source.pulls, 5U);
    EXPECT_TRUE(areUntouched(out, 0, out[0].size(), 0));
}

TEST(UnitsResampling_VariableRateConverter, PassesWhatIsNoSoundAtRatio1) {
    const std::vector<float> odd = {std::numeric_limits<float>::denorm_min(), -0.0F,
                                    std::numeric_limits<float>::infinity(), std::numeric_limits<float>::max(), 1e-30F};
    FunctionSource source([&](UInt32, SInt64 frame) { return odd[static_cast<std::size_t>(frame) % odd.size()]; });
    VariableRateConverter converter(2, 64, 4096, frameRate);
    Planes out;
    render(converter, source, out, 1000, 1);
    for (std::size_t i = 0; i < out[0].size(); ++i) {
        ASSERT_EQ(out[0][i], odd[i % odd.size()]);
        ASSERT_EQ(std::signbit(out[0][i]), std::signbit(odd[i % odd.size()]));
    }
}

TEST(UnitsResampling_VariableRateConverter, PullsInSlicesOfAtMostTheLargest) {
    for (const double ratio : {0.5, 1.0, 1.5, 8.0}) {
        VariableRateConverter converter(2, 64, 100, frameRate);
        FunctionSource source = numberedFrames();
        Planes out;
        render(converter, source, out, 4096, ratio, 4096);
        EXPECT_LE(source.largestPull, 100U) << ratio;
        EXPECT_GT(source.largestPull, 50U) << ratio;
    }
}

TEST(UnitsResampling_VariableRateConverter, PullsWhatARenderNeedsInFewSlices) {
    VariableRateConverter converter(2, 64, 4096, frameRate);
    FunctionSource source = numberedFrames();
    Planes out;
    render(converter, source, out, 5120, 0.9);
    source.pulls = 0;
    render(converter, source, out, 512, 0.9);
    EXPECT_LE(source.pulls, 3U);
}

class UnitsResampling_VariableRateReturn : public testing::TestWithParam<double> {};

TEST_P(UnitsResampling_VariableRateReturn, IsUntouchedAgainWithoutDelayWithin100Milliseconds) {
    const double ratio = GetParam();
    VariableRateConverter converter(2, 64, 4096, frameRate);
    FunctionSource source = numberedFrames();
    Planes out;
    render(converter, source, out, 1000, 1);
    render(converter, source, out, 10000, ratio);
    constexpr UInt32 patience = 4800;
    render(converter, source, out, patience, 1);
    const std::size_t first = out[0].size();
    render(converter, source, out, 10000, 1);
    EXPECT_TRUE(areUntouched(out, first, out[0].size(), frameAt(out, first)));
    // No delay: what was pulled ahead has been delivered, and from then on a frame is pulled for a frame that is heard.
    EXPECT_EQ(converter.heldFrames(), 0);
    EXPECT_EQ(frameAt(out, out[0].size() - 1), source.pulled - 1);
}

INSTANTIATE_TEST_SUITE_P(Ratios, UnitsResampling_VariableRateReturn,
                         testing::Values(1.0 / 32, 0.5, 0.999, 0.9999999, 1.0000001, 1.001, 48000.0 / 44100, 2.0, 5.0,
                                         32.0),
                         [](const auto& instance) { return "From" + std::to_string(instance.index); });

TEST(UnitsResampling_VariableRateConverter, IsUntouchedAgainWithin100MillisecondsAtALowRate) {
    VariableRateConverter converter(2, 64, 4096, 8000);
    FunctionSource source = numberedFrames();
    Planes out;
    render(converter, source, out, 4000, 1.37);
    render(converter, source, out, 800, 1);
    const std::size_t first = out[0].size();
    render(converter, source, out, 4000, 1);
    EXPECT_TRUE(areUntouched(out, first, out[0].size(), frameAt(out, first)));
}

TEST(UnitsResampling_VariableRateConverter, DrainsWhatWasPulledAndThenNothing) {
    for (const double ratio : {0.25, 0.9, 1.0, 1.3, 7.0}) {
        const double cyclesPerFrame = 0.01;
        FunctionSource source = braq::tests::turningTone(cyclesPerFrame);
        VariableRateConverter converter(2, 64, 4096, frameRate);
        Planes out;
        render(converter, source, out, 5000, ratio);
        const double held = converter.heldFrames();
        EXPECT_NEAR(static_cast<double>(source.pulled) - held, 5000 * ratio, 1e-3) << ratio;
        Planes tail(2, std::vector<float>(20000));
        std::vector<float*> planes = {tail[0].data(), tail[1].data()};
        UInt32 drained = 0;
        for (UInt32 count = 100; count == 100; drained += count) {
            planes = {tail[0].data() + drained, tail[1].data() + drained};
            count = converter.drain(100, planes.data(), ratio);
        }
        EXPECT_NEAR(drained, std::ceil(held / ratio), 1) << ratio;
        EXPECT_EQ(converter.drain(100, planes.data(), ratio), 0U);
        EXPECT_EQ(converter.heldFrames(), 0);
        // All but the last frames, which ring towards the silence behind them, are the tone as it went on.
        const SInt64 ringing = 150 + static_cast<SInt64>(200 / ratio);
        for (SInt64 i = 0; i < static_cast<SInt64>(drained) - ringing; ++i) {
            const double expected =
                std::sin(braq::tests::twoPi * cyclesPerFrame * ratio * static_cast<double>(5000 + i));
            ASSERT_NEAR(static_cast<double>(tail[0][static_cast<std::size_t>(i)]), expected, 1e-3)
                << ratio << ", " << i;
        }
    }
}

TEST(UnitsResampling_VariableRateConverter, DrainsWhatWasPulledAheadAtRatio1Untouched) {
    FunctionSource source = numberedFrames();
    VariableRateConverter converter(2, 64, 4096, frameRate);
    Planes out;
    render(converter, source, out, 2000, 2);
    Planes tail(2, std::vector<float>(4000));
    std::vector<float*> planes = {tail[0].data(), tail[1].data()};
    const UInt32 drained = converter.drain(4000, planes.data(), 1);
    EXPECT_LT(drained, 400U);
    EXPECT_EQ(converter.drain(1, planes.data(), 1), 0U);
    EXPECT_EQ(converter.heldFrames(), 0);
}

TEST(UnitsResampling_VariableRateConverter, DrainsNothingWhereNothingWasPulled) {
    VariableRateConverter converter(2, 64, 4096, frameRate);
    Planes out(2, std::vector<float>(10, 7.0F));
    std::vector<float*> planes = {out[0].data(), out[1].data()};
    EXPECT_EQ(converter.drain(10, planes.data(), 1), 0U);
    EXPECT_EQ(converter.drain(10, planes.data(), 0.5), 0U);
    EXPECT_EQ(out[0][0], 7.0F);
}

TEST(UnitsResampling_VariableRateConverter, BeginsAgainLikeTheFirstTimeWhenReset) {
    for (const double ratio : {0.7, 1.0, 1.7}) {
        VariableRateConverter converter(2, 64, 4096, frameRate);
        FunctionSource source = braq::tests::turningTone(0.02);
        Planes first;
        render(converter, source, first, 5000, ratio);
        converter.reset();
        EXPECT_EQ(converter.heldFrames(), 0);
        FunctionSource again = braq::tests::turningTone(0.02);
        Planes second;
        render(converter, again, second, 5000, ratio);
        EXPECT_EQ(first, second) << ratio;
        EXPECT_EQ(source.pulled, again.pulled);
    }
}

TEST(UnitsResampling_VariableRateConverter, KeepsToTheNearestRatioThatItIsFor) {
    const auto speedAt = [&](double ratio) {
        VariableRateConverter converter(2, 2, 4096, frameRate);
        FunctionSource source = numberedFrames();
        Planes out;
        render(converter, source, out, 3000, ratio);
        return (static_cast<double>(source.pulled) - converter.heldFrames()) / 3000;
    };
    EXPECT_NEAR(speedAt(2), 2, 1e-5);
    EXPECT_NEAR(speedAt(50), 2, 1e-5);
    EXPECT_NEAR(speedAt(0), 1.0 / 4096, 1e-5);
    EXPECT_NEAR(speedAt(-3), 1.0 / 4096, 1e-5);
    EXPECT_NEAR(speedAt(std::numeric_limits<double>::quiet_NaN()), 1.0 / 4096, 1e-5);
    EXPECT_NEAR(speedAt(std::numeric_limits<double>::infinity()), 2, 1e-5);
}

TEST(UnitsResampling_VariableRateConverter, JumpsToAnotherRatioWithoutLosingAFrame) {
    VariableRateConverter converter(2, 64, 4096, frameRate);
    FunctionSource source([](UInt32, SInt64 frame) { return static_cast<float>(frame); });
    Planes out;
    render(converter, source, out, 3000, 1.0);
    double next = 3000.0; // position of the next frame
    for (const double ratio : {0.5, 2.0, 0.91875, 1.0, 1.25}) {
        converter.jump();
        const std::size_t first = out[0].size();
        render(converter, source, out, 3000, ratio);
        EXPECT_NEAR(out[0][first], next, 0.6) << ratio;
        EXPECT_NEAR(out[0][first + 2], static_cast<double>(out[0][first]) + 2 * ratio, 0.1) << "without a glide";
        next = static_cast<double>(out[0].back()) + ratio;
        EXPECT_NEAR(next, static_cast<double>(out[0][first]) + 3000 * ratio, 0.5) << ratio;
    }
}

} // namespace
