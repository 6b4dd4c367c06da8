#include "platform/samples/resampling/Interpolator.h"
#include "tests/platform/samples/resampling/Streams.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>

namespace {

using braq::blockFrames;
using braq::FramePosition;
using braq::Interpolator;
using braq::LowPassTable;
using braq::StreamBlock;
using braq::StreamWindow;
using braq::tests::blockAfter;
using braq::tests::FunctionFeed;
using braq::tests::numberOf;

/// Reads a tone of its own for each channel, and follows the places that are read.
class UnitsResampling_Interpolator : public testing::TestWithParam<std::size_t> {
  protected:
    static double toneAt(std::size_t channel, double frame) {
        return std::sin((0.4 + 0.3 * static_cast<double>(channel)) * frame);
    }
    void readAndCheck(double first, double last) {
        const StreamBlock block = blockAfter(mPlace, first, last);
        mPlace = block.end;
        mWindow.extendTo(block.end.frame + 1 + LowPassTable::reach, block.start.frame + 1 - LowPassTable::reach, mFeed);
        std::array<std::array<float, blockFrames>, 5> out{};
        const std::array<float*, 5> planes = {out[0].data(), out[1].data(), out[2].data(), out[3].data(),
                                              out[4].data()};
        mInterpolator.read(block, mWindow, planes.data());
        const double slope = (last - first) / blockFrames;
        for (std::size_t channel = 0; channel < mChannels; ++channel) {
            for (UInt32 n = 0; n < blockFrames; ++n) {
                const double place = numberOf(block.start) + n * (first + slope * n / 2);
                ASSERT_NEAR(static_cast<double>(out[channel][n]), toneAt(channel, place), 3e-6) << channel << ", " << n;
            }
        }
        for (std::size_t channel = mChannels; channel < out.size(); ++channel) {
            EXPECT_EQ(out[channel], (std::array<float, blockFrames>{}));
        }
    }

    const std::size_t mChannels = GetParam();
    FunctionFeed mFeed{mChannels, toneAt};
    StreamWindow mWindow{static_cast<UInt32>(mChannels), 300};
    Interpolator mInterpolator{static_cast<UInt32>(mChannels)};
    FramePosition mPlace{LowPassTable::reach, braq::oneFrame / 3};
};

TEST_P(UnitsResampling_Interpolator, ReadsAtThePlacesThatSteadyRatiosLeadTo) {
    for (const double ratio : {1.0, 1.0 / 7, 0.5, 0.01, 0.9999}) {
        for (int i = 0; i < 30; ++i) {
            readAndCheck(ratio, ratio);
        }
    }
}

TEST_P(UnitsResampling_Interpolator, FollowsSlopes) {
    for (int i = 0; i < 10; ++i) {
        readAndCheck(0.2, 1);
        readAndCheck(1, 0.2);
        readAndCheck(0.2, 0.20001);
        readAndCheck(0.1, 0.00025);
    }
}

INSTANTIATE_TEST_SUITE_P(Channels, UnitsResampling_Interpolator, testing::Values(1, 2, 3, 5),
                         [](const auto& instance) { return std::to_string(instance.param); });

} // namespace
