#include "tests/platform/hardware/drivers/pipewire/NumberedCycles.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

// The comparison that other tests rely on can fail.

namespace {

using braq::tests::expectNumberedRounds;
using braq::tests::numberedSample;

std::vector<Float32> frames(UInt64 first, UInt64 end) {
    std::vector<Float32> samples;
    for (UInt64 frame = first; frame < end; ++frame) {
        samples.push_back(numberedSample(frame, 0));
    }
    return samples;
}

std::vector<Float32> operator+(std::vector<Float32> one, const std::vector<Float32>& other) {
    one.insert(one.end(), other.begin(), other.end());
    return one;
}

std::vector<Float32> silence(std::size_t count) { return std::vector<Float32>(count, 0.0F); }

const auto whole = silence(3) + frames(0, 10) + silence(2) + frames(0, 5) + silence(1);
const auto withSilence = silence(3) + frames(0, 4) + silence(2) + frames(4, 10);
const auto withAGap = frames(0, 4) + frames(6, 10);
const auto withoutAnEnd = frames(0, 8) + silence(4) + frames(0, 5);
const auto withMore = frames(0, 10) + silence(1) + frames(0, 1);
const auto withAnotherSample = frames(0, 3) + std::vector<Float32>{0.9F} + frames(4, 10);

TEST(NumberedCycles, AreExpectedWithoutAGapUnlessSomethingWasLost) {
    expectNumberedRounds(whole, 1, {10, 5});
    EXPECT_FATAL_FAILURE(expectNumberedRounds(withSilence, 1, {10}), "silent");
    expectNumberedRounds(withSilence, 1, {10}, {.played = 2});
    EXPECT_FATAL_FAILURE(expectNumberedRounds(withSilence, 1, {10}, {.played = 1}), "silent");
    EXPECT_FATAL_FAILURE(expectNumberedRounds(withSilence, 1, {10}, {.recorded = 2}), "silent");
    EXPECT_FATAL_FAILURE(expectNumberedRounds(withAGap, 1, {10}), "missing");
    expectNumberedRounds(withAGap, 1, {10}, {.recorded = 2});
    expectNumberedRounds(withAGap, 1, {10}, {.played = 2});
    EXPECT_FATAL_FAILURE(expectNumberedRounds(withAGap, 1, {10}, {.recorded = 1}), "missing");
    EXPECT_FATAL_FAILURE(expectNumberedRounds(withoutAnEnd, 1, {10, 5}), "missing");
    expectNumberedRounds(withoutAnEnd, 1, {10, 5}, {.recorded = 2});
    EXPECT_NONFATAL_FAILURE(expectNumberedRounds(withMore, 1, {10}, {.played = 10}), "after the end");
    EXPECT_FATAL_FAILURE(expectNumberedRounds(withAnotherSample, 1, {10}), "");
}

} // namespace
