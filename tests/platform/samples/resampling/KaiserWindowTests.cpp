#include "platform/samples/resampling/KaiserWindow.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace {

using braq::KaiserWindow;
using braq::sinc;

/// What a filter of `taps` taps, which cuts off at a quarter of the rate, lets through at a frequency. @return decibels
double responseOf(double attenuation, int taps, double frequency) {
    const KaiserWindow window(attenuation);
    double response = 0;
    for (int i = 0; i < taps; ++i) {
        const double distance = i - (taps - 1) / 2.0;
        const double tap = sinc(distance / 2) / 2 * window.at(distance / ((taps - 1) / 2.0));
        response += tap * std::cos(2 * std::numbers::pi * frequency * distance);
    }
    return 20 * std::log10(std::fabs(response));
}

TEST(UnitsResampling_KaiserWindow, IsOneInTheMiddleAndTheSameOnBothSides) {
    const KaiserWindow window(100);
    EXPECT_EQ(window.at(0), 1);
    for (double place = 0.1, last = 1; place < 1; place += 0.1) {
        EXPECT_EQ(window.at(place), window.at(-place));
        EXPECT_LT(window.at(place), last);
        last = window.at(place);
    }
}

TEST(UnitsResampling_KaiserWindow, IsNothingBeyondItsEnds) {
    const KaiserWindow window(100);
    EXPECT_GT(window.at(1), 0);
    EXPECT_EQ(window.at(1.0001), 0);
    EXPECT_EQ(window.at(-1.0001), 0);
}

TEST(UnitsResampling_KaiserWindow, MakesFiltersThatAttenuateAsFarFromTheirCutOffAsTheFormulaSays) {
    for (const double attenuation : {60.0, 90.0, 118.0}) {
        for (const int taps : {51, 97}) {
            const double width = (attenuation - 7.95) / (14.36 * (taps - 1)) / 2;
            for (double frequency = 0.25 + width; frequency <= 0.5; frequency += 0.001) {
                ASSERT_LT(responseOf(attenuation, taps, frequency), 2 - attenuation)
                    << attenuation << " dB, " << taps << " taps, " << frequency;
            }
            EXPECT_GT(responseOf(attenuation, taps, 0.25 + width * 0.9), -attenuation);
            EXPECT_NEAR(responseOf(attenuation, taps, 0.25 - width), 0, 0.01);
        }
    }
}

TEST(UnitsResampling_KaiserWindow, SincVanishesAtAllWholeNumbersButZero) {
    EXPECT_EQ(sinc(0), 1);
    for (int i = 1; i < 50; ++i) {
        EXPECT_NEAR(sinc(i), 0, 1e-15);
        EXPECT_EQ(sinc(-i), sinc(i));
    }
    EXPECT_NEAR(sinc(0.5), 2 / std::numbers::pi, 1e-15);
}

} // namespace
