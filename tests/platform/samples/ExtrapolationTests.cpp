#include "platform/samples/Extrapolation.h"

#include <gmock/gmock.h>

#include <cmath>
#include <random>
#include <vector>

namespace {

using braq::extrapolate;

TEST(Samples_Extrapolation, ContinuesTones) {
    for (const double step : {0.05, 0.14, 0.8, 2.0}) { // radians from frame to frame
        const auto toneAt = [&](std::size_t frame) {
            return static_cast<float>(std::sin(step * static_cast<double>(frame) + 1.0));
        };
        std::vector<float> known;
        for (std::size_t frame = 0; frame < 400; ++frame) {
            known.push_back(toneAt(frame));
        }
        std::vector<float> following(16);
        extrapolate(known, following);
        for (std::size_t frame = 0; frame < following.size(); ++frame) {
            EXPECT_NEAR(following[frame], toneAt(400 + frame), 0.01) << step << " at " << frame;
        }
    }
}

TEST(Samples_Extrapolation, NeverGrows) {
    constexpr unsigned seed = 7;
    std::minstd_rand random(seed);
    std::uniform_real_distribution<float> any(-1.0F, 1.0F);
    for (std::size_t length = 1; length < 300; length += 7) {
        std::vector<float> known(length);
        std::ranges::generate(known, [&] { return any(random); });
        std::vector<float> following(20'000);
        extrapolate(known, following);
        EXPECT_THAT(following, testing::Each(testing::AllOf(testing::Ge(-4.0F), testing::Le(4.0F)))) << length;
        EXPECT_LT(std::fabs(following.back()), 0.1F) << length;
    }
}

TEST(Samples_Extrapolation, ContinuesSilenceAndNothingWithSilence) {
    std::vector<float> following(10, 99.0F);
    extrapolate(std::vector<float>(100), following);
    EXPECT_THAT(following, testing::Each(0.0F));
    std::ranges::fill(following, 99.0F);
    extrapolate({}, following);
    EXPECT_THAT(following, testing::Each(0.0F));
}

} // namespace
