#include "platform/samples/resampling/LowPassTable.h"

#include "platform/samples/resampling/KaiserWindow.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace {

using braq::FixedFrames;
using braq::LowPassTable;
using braq::oneFrame;

/// Taps around a place `fraction` behind a frame.
std::vector<float> tapsAround(FixedFrames fraction) {
    const LowPassTable::Place place = LowPassTable::shared().at(fraction);
    std::vector<float> taps(LowPassTable::taps);
    for (SInt64 tap = 0; tap < LowPassTable::taps; tap += 4) {
        braq::store4(place.tapsAt(tap), &taps[static_cast<std::size_t>(tap)]);
    }
    return taps;
}

double distanceOf(std::size_t tap, FixedFrames fraction) {
    return static_cast<double>(tap) + 1 - LowPassTable::reach - braq::framesOf(fraction);
}

/// Four places in each row, the same ones in none.
constexpr SInt64 places = LowPassTable::phases * 4;
constexpr FixedFrames fractionOf(SInt64 place) { return place * (oneFrame / places) + place * 12345; }

/// What the filter lets through of a frequency, of all its images or of none. @return decibels
double responseAt(double cyclesPerFrame) {
    double response = 0;
    for (SInt64 i = 0; i < places; ++i) {
        const FixedFrames fraction = i * (oneFrame / places) + oneFrame / places / 3;
        const std::vector<float> taps = tapsAround(fraction);
        for (std::size_t tap = 0; tap < taps.size(); ++tap) {
            const double turns = cyclesPerFrame * distanceOf(tap, fraction);
            response += static_cast<double>(taps[tap]) * std::cos(2 * std::numbers::pi * turns) / places;
        }
    }
    return 20 * std::log10(std::fabs(response));
}

TEST(UnitsResampling_LowPassTable, KeepsWhatItIsToKeep) {
    for (const double frequency : {0.0, 0.1, 0.3, 0.4, 0.45, 0.46}) {
        EXPECT_NEAR(responseAt(frequency), 0, 1e-4) << frequency;
    }
    EXPECT_NEAR(responseAt(0.5), -6, 0.1);
}

TEST(UnitsResampling_LowPassTable, LetsNothingThroughThatFramesCannotHold) {
    for (double frequency = 0.54; frequency < 3; frequency += 0.0173) {
        ASSERT_LT(responseAt(frequency), -116) << frequency;
    }
}

TEST(UnitsResampling_LowPassTable, IsTheFilterBetweenItsRowsToo) {
    const braq::KaiserWindow window(118);
    double furthest = 0;
    for (SInt64 place = 0; place < places; ++place) {
        const std::vector<float> taps = tapsAround(fractionOf(place));
        for (std::size_t tap = 0; tap < taps.size(); ++tap) {
            const double distance = distanceOf(tap, fractionOf(place));
            const double expected = braq::sinc(distance) * window.at(distance / LowPassTable::reach);
            furthest = std::max(furthest, std::fabs(static_cast<double>(taps[tap]) - expected));
        }
    }
    EXPECT_LT(furthest, 3e-7);
}

TEST(UnitsResampling_LowPassTable, IsTheSameOnBothSides) {
    for (SInt64 place = 1; place < places; ++place) {
        const std::vector<float> taps = tapsAround(fractionOf(place));
        const std::vector<float> mirrored = tapsAround(oneFrame - fractionOf(place));
        for (std::size_t tap = 0; tap < taps.size(); ++tap) {
            ASSERT_NEAR(taps[tap], mirrored[taps.size() - 1 - tap], 3e-7F) << place << ", " << tap;
        }
    }
}

TEST(UnitsResampling_LowPassTable, IsNothingInItsMargins) {
    for (SInt64 place = 0; place < places; ++place) {
        const LowPassTable::Place around = LowPassTable::shared().at(fractionOf(place));
        for (SInt64 i = 0; i < LowPassTable::margin; i += 4) {
            ASSERT_EQ(braq::sumOf(around.tapsAt(i - LowPassTable::margin)), 0);
            ASSERT_EQ(braq::sumOf(around.tapsAt(i + LowPassTable::taps)), 0);
        }
    }
}

} // namespace
