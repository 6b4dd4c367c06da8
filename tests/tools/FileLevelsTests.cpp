#include "tools/braq/info/FileLevels.h"
#include "tools/braq/terminal/LevelText.h"

#include "tests/tools/Silence.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

namespace {

using tool_test::silence;

void add(FileLevels& levels, const std::vector<float>& samples) {
    const float* const planes[] = {samples.data()};
    levels.add(planes, samples.size());
}

TEST(FileLevels, OfASineAreItsAmplitudeAndThreeDecibelsLess) {
    FileLevels levels(1);
    std::vector<float> sine(4800);
    for (std::size_t i = 0; i < sine.size(); ++i) {
        sine[i] = static_cast<float>(0.5 * std::sin(2.0 * std::numbers::pi * static_cast<double>(i) / 48.0));
    }
    add(levels, sine);
    EXPECT_NEAR(levels.levels()[0].peak, -6.0206, 0.001);
    EXPECT_NEAR(levels.levels()[0].rms, -9.0309, 0.001);
}

TEST(FileLevels, AreThoseOfAllBlocks) {
    FileLevels levels(1);
    add(levels, {-1.0F, 1.0F});
    add(levels, {0.0F, 0.0F});
    EXPECT_DOUBLE_EQ(levels.levels()[0].peak, 0.0);
    EXPECT_NEAR(levels.levels()[0].rms, -3.0103, 0.001);
}

TEST(FileLevels, KeepChannelsApart) {
    FileLevels levels(2);
    const float loud[] = {2.0F};
    const float silent[] = {0.0F};
    const float* const planes[] = {loud, silent};
    levels.add(planes, 1);
    EXPECT_NEAR(levels.levels()[0].peak, 6.0206, 0.001);
    EXPECT_EQ(levels.levels()[1].peak, silence);
    EXPECT_EQ(levels.levels()[1].rms, silence);
}

TEST(FileLevels, OfNothingAreSilence) {
    const FileLevels levels(1);
    EXPECT_EQ(levels.levels()[0].peak, silence);
    EXPECT_EQ(levels.levels()[0].rms, silence);
}

TEST(FileLevels, LeaveOutWhatIsNoFiniteNumberAndCountIt) {
    FileLevels levels(1);
    add(levels, {std::numeric_limits<float>::quiet_NaN(), 0.5F, std::numeric_limits<float>::infinity(), -0.5F,
                 -std::numeric_limits<float>::infinity()});
    EXPECT_NEAR(levels.levels()[0].peak, -6.0206, 0.001);
    EXPECT_NEAR(levels.levels()[0].rms, -6.0206, 0.001);
    EXPECT_EQ(levels.samplesLeftOut(), 3U);
}

TEST(LevelText, HasOneDecimal) {
    EXPECT_EQ(levelText(-12.34), "-12.3");
    EXPECT_EQ(levelText(0.0), "0.0");
    EXPECT_EQ(levelText(-0.0003), "0.0") << "not -0.0";
    EXPECT_EQ(levelText(2.96), "3.0");
    EXPECT_EQ(levelText(-120.0), "-120.0");
}

TEST(LevelText, SaysThatThereIsNothing) {
    EXPECT_EQ(levelText(silence), "-inf");
    EXPECT_EQ(levelText(-250.0), "-inf");
    EXPECT_EQ(levelText(std::numeric_limits<double>::quiet_NaN()), "-inf");
}

} // namespace
