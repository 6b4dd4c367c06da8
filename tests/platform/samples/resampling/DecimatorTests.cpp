#include "platform/samples/resampling/Decimator.h"
#include "tests/platform/samples/resampling/Streams.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

namespace {

using braq::blockFrames;
using braq::Decimator;
using braq::FramePosition;
using braq::StreamBlock;
using braq::StreamWindow;
using braq::tests::blockAfter;
using braq::tests::FunctionFeed;
using braq::tests::numberOf;

using Samples = std::vector<std::vector<float>>;

/// What is made of a stream, and where its frames lie in it.
struct Made {
    Samples samples;
    std::vector<double> places;
};

/// @param ratios at the ends of the blocks, the first one also at its start
Made decimate(std::size_t channels, FunctionFeed::Function function, const std::vector<double>& ratios) {
    FunctionFeed feed(channels, std::move(function));
    StreamWindow window(static_cast<UInt32>(channels), 400);
    Decimator decimator(static_cast<UInt32>(channels));
    Made made{Samples(channels), {}};
    FramePosition place{0, braq::oneFrame / 5};
    double ratio = ratios.front();
    for (std::size_t i = 0; i < ratios.size(); ++i) {
        const StreamBlock block = blockAfter(place, ratio, ratios[i]);
        window.extendTo(block.endFrame(), block.firstFrame(), feed);
        decimator.add(block, window);
        if (i > 0) {
            std::vector<float*> planes;
            for (auto& plane : made.samples) {
                plane.resize(plane.size() + blockFrames);
                planes.push_back(plane.data() + plane.size() - blockFrames);
            }
            decimator.copy(planes.data());
        }
        for (UInt32 n = 0; n < blockFrames; ++n) {
            made.places.push_back(numberOf(block.placeOf(n)));
        }
        place = block.end;
        ratio = ratios[i];
    }
    return made;
}

/// Blocks until all that is given has both its sides.
constexpr std::size_t settled = blockFrames;

class UnitsResampling_Decimator : public testing::TestWithParam<std::size_t> {};

TEST_P(UnitsResampling_Decimator, KeepsTonesInTheirPlacesAtSteadyRatios) {
    const auto toneAt = [](std::size_t channel, double frame) {
        return std::sin((0.3 + 0.2 * static_cast<double>(channel)) * frame);
    };
    for (const double ratio : {1.0, 1.0001, 48000.0 / 44100, 1.5, 1.999, 2.0}) {
        const Made made = decimate(GetParam(), toneAt, std::vector<double>(20, ratio));
        for (std::size_t channel = 0; channel < GetParam(); ++channel) {
            for (std::size_t i = settled; i < made.samples[channel].size(); ++i) {
                ASSERT_NEAR(static_cast<double>(made.samples[channel][i]), toneAt(channel, made.places[i]), 5e-6)
                    << ratio << ", " << channel << ", " << i;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Channels, UnitsResampling_Decimator, testing::Values(1, 2, 3, 5),
                         [](const auto& instance) { return std::to_string(instance.param); });

TEST(UnitsResampling_Decimator, KeepsTonesInTheirPlacesOnSlopes) {
    const auto toneAt = [](std::size_t, double frame) { return std::sin(0.5 * frame); };
    std::vector<double> ratios;
    for (int i = 0; i < 60; ++i) {
        ratios.push_back(1.5 + 0.5 * std::sin(i * 0.2));
    }
    const Made made = decimate(1, toneAt, ratios);
    for (std::size_t i = settled; i < made.samples[0].size(); ++i) {
        ASSERT_NEAR(static_cast<double>(made.samples[0][i]), toneAt(0, made.places[i]), 2e-4) << i;
    }
}

TEST(UnitsResampling_Decimator, LetsNothingThroughThatTheRatioCannotHold) {
    for (const double ratio : {1.2, 1.5, 2.0}) {
        for (const double timesHighest : {1.082, 1.1, 1.17, 1.5, 1.9}) {
            const double radians = std::numbers::pi * timesHighest / ratio;
            if (radians > 0.95 * std::numbers::pi) {
                continue;
            }
            const Made made = decimate(
                1, [&](std::size_t, double frame) { return std::sin(radians * frame); },
                std::vector<double>(20, ratio));
            float loudest = 0;
            for (std::size_t i = settled; i < made.samples[0].size(); ++i) {
                loudest = std::max(loudest, std::fabs(made.samples[0][i]));
            }
            EXPECT_LT(20 * std::log10(static_cast<double>(loudest)), -114) << ratio << ", " << timesHighest;
        }
    }
}

TEST(UnitsResampling_Decimator, BeginsInSilenceWhenCleared) {
    StreamWindow window(1, 400);
    FunctionFeed feed(1, [](std::size_t, double) { return 1.0; });
    Decimator decimator(1);
    const StreamBlock block = blockAfter({}, 2, 2);
    window.extendTo(block.endFrame(), 0, feed);
    decimator.add(block, window);
    decimator.clear();
    std::array<float, blockFrames> out{};
    const std::array<float*, 1> planes = {out.data()};
    window.begin();
    FunctionFeed silence(1, [](std::size_t, double) { return 0.0; });
    window.extendTo(block.endFrame(), 0, silence);
    for (int i = 0; i < 3; ++i) {
        decimator.add(block, window);
        decimator.copy(planes.data());
        EXPECT_EQ(out, (std::array<float, blockFrames>{})) << i;
    }
}

} // namespace
