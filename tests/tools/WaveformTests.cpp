#include "tools/braq/info/Waveform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <numeric>

namespace {

using Samples = std::vector<float>;

/// Hands over samples of one channel in blocks.
void addInBlocks(Waveform& waveform, const Samples& samples, std::size_t block) {
    for (std::size_t first = 0; first < samples.size(); first += block) {
        const float* const planes[] = {samples.data() + first};
        waveform.add(planes, std::min(block, samples.size() - first));
    }
}

Samples rising(std::size_t count) {
    Samples samples(count);
    std::iota(samples.begin(), samples.end(), 1.0F);
    return samples;
}

TEST(Tool_Waveform, HasTheLowestAndTheHighestSampleAndTheRootMeanSquareOfEachColumn) {
    Waveform waveform(1, 8, 2);
    addInBlocks(waveform, {0.5F, -0.25F, 0.0F, 0.0F, 1.0F, -1.0F, 1.0F, -1.0F}, 8);
    const auto& columns = waveform.columnsOf(0);
    ASSERT_EQ(columns.size(), 2U);
    EXPECT_EQ(columns[0].lowest, -0.25F);
    EXPECT_EQ(columns[0].highest, 0.5F);
    EXPECT_DOUBLE_EQ(columns[0].rms() * columns[0].rms(), (0.25 + 0.0625) / 4.0);
    EXPECT_EQ(columns[1].lowest, -1.0F);
    EXPECT_EQ(columns[1].highest, 1.0F);
    EXPECT_DOUBLE_EQ(columns[1].rms(), 1.0);
}

TEST(Tool_Waveform, DoesNotDependOnBlocks) {
    const Samples samples = rising(1000);
    Waveform whole(1, samples.size(), 37);
    addInBlocks(whole, samples, samples.size());
    for (const std::size_t block : {1U, 7U, 256U, 999U}) {
        Waveform waveform(1, samples.size(), 37);
        addInBlocks(waveform, samples, block);
        for (std::size_t i = 0; i < 37; ++i) {
            const auto& one = waveform.columnsOf(0)[i];
            const auto& other = whole.columnsOf(0)[i];
            EXPECT_EQ(one.lowest, other.lowest) << i;
            EXPECT_EQ(one.highest, other.highest) << i;
            EXPECT_EQ(one.samples, other.samples) << i;
            EXPECT_DOUBLE_EQ(one.rms(), other.rms()) << i;
        }
    }
}

TEST(Tool_Waveform, LeavesNoFrameOut) {
    const std::size_t frames = 1009;
    const std::size_t columns = 100;
    Waveform waveform(1, frames, columns);
    addInBlocks(waveform, rising(frames), 64);
    float next = 1.0F;
    for (const auto& column : waveform.columnsOf(0)) {
        EXPECT_LE(column.lowest, next) << "a gap";
        next = column.highest + 1.0F;
    }
    EXPECT_EQ(next, static_cast<float>(frames + 1));
}

TEST(Tool_Waveform, OfFewFramesShowsEachInSeveralColumns) {
    Waveform waveform(1, 2, 5);
    addInBlocks(waveform, {0.25F, -0.5F}, 1);
    const auto& columns = waveform.columnsOf(0);
    EXPECT_EQ(columns[0].highest, 0.25F);
    EXPECT_EQ(columns[1].lowest, 0.25F);
    EXPECT_EQ(columns[2].lowest, -0.5F) << "in the middle there are both";
    EXPECT_EQ(columns[2].highest, 0.25F);
    EXPECT_EQ(columns[3].highest, -0.5F);
    EXPECT_EQ(columns[4].highest, -0.5F);
}

TEST(Tool_Waveform, KeepsChannelsApart) {
    Waveform waveform(2, 1, 1);
    const float left = 0.5F;
    const float right = -0.5F;
    const float* const planes[] = {&left, &right};
    waveform.add(planes, 1);
    EXPECT_EQ(waveform.channels(), 2U);
    EXPECT_EQ(waveform.columnsOf(0)[0].lowest, 0.5F);
    EXPECT_EQ(waveform.columnsOf(1)[0].highest, -0.5F);
}

TEST(Tool_Waveform, LeavesOutWhatIsNoNumberAndWhatIsBeyondItsFrames) {
    constexpr float infinite = std::numeric_limits<float>::infinity();
    Waveform waveform(1, 4, 1);
    addInBlocks(waveform, {std::numeric_limits<float>::quiet_NaN(), 0.5F, infinite, 0.25F, 9.0F, 9.0F}, 3);
    const auto& column = waveform.columnsOf(0)[0];
    EXPECT_EQ(column.samples, 2U);
    EXPECT_EQ(column.lowest, 0.25F);
    EXPECT_EQ(column.highest, 0.5F);
}

TEST(Tool_Waveform, OfNoFramesIsEmpty) {
    Waveform waveform(1, 0, 3);
    addInBlocks(waveform, {1.0F}, 1);
    for (const auto& column : waveform.columnsOf(0)) {
        EXPECT_EQ(column.samples, 0U);
        EXPECT_EQ(column.rms(), 0.0);
    }
}

TEST(Tool_Waveform, OfAFileThatClaimsTooMuchIsDrawnAsFarAsItIsThere) {
    Waveform waveform(1, std::numeric_limits<std::uint64_t>::max(), 20000);
    addInBlocks(waveform, rising(100), 10);
    EXPECT_EQ(waveform.columnsOf(0)[0].samples, 100U);
    EXPECT_EQ(waveform.columnsOf(0)[1].samples, 0U);
}

} // namespace
