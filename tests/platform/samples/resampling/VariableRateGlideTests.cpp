#include "tests/platform/samples/resampling/Tones.h"

#include <gtest/gtest.h>

#include <ostream>

namespace {

using braq::VariableRateConverter;
using braq::tests::FunctionSource;
using braq::tests::Path;
using braq::tests::pathOf;
using braq::tests::Planes;
using braq::tests::render;
using braq::tests::turningTone;

using braq::tests::frameRate;
constexpr double lowTone = 997 / frameRate;

/// Wishes for a ratio, one a render of 128 frames.
using Wishes = std::function<double(int render)>;

struct Glide {
    const char* name;
    Wishes wishes;
    double largest; ///< of the ratios
};

void PrintTo(const Glide& glide, std::ostream* stream) { *stream << glide.name; }

double octavesUp(double octaves) { return std::pow(2, octaves); }

const Glide glides[] = {
    {"StepUpFrom1", [](int i) { return i < 30 ? 1.0 : 2.0; }, 2},
    {"StepDownFrom1AndBack", [](int i) { return i < 30 || i > 90 ? 1.0 : 0.5; }, 1},
    {"StepUpFrom1AndBack", [](int i) { return i < 30 || i > 90 ? 1.0 : 1.7; }, 1.7},
    {"StepAcross1", [](int i) { return i < 60 ? 0.5 : 2.0; }, 2},
    {"StepBackAcross1", [](int i) { return i < 60 ? 2.0 : 0.5; }, 2},
    {"SmallStep", [](int i) { return i < 60 ? 0.9 : 0.91; }, 0.91},
    {"SlowGlideUp", [](int i) { return 0.5 * octavesUp(std::clamp((i - 20) / 100.0, 0.0, 2.0)); }, 2},
    {"SlowGlideDown", [](int i) { return 2 * octavesUp(-std::clamp((i - 20) / 100.0, 0.0, 2.0)); }, 2},
    {"QuickGlideUp", [](int i) { return 0.5 * octavesUp(std::clamp((i - 20) / 4.0, 0.0, 2.0)); }, 2},
    {"RestAt1OnTheWayUp",
     [](int i) { return 0.5 * octavesUp(i < 100 ? std::min(i / 80.0, 1.0) : std::min(i / 100.0, 2.0)); }, 2},
    {"RestAt1OnTheWayDown",
     [](int i) { return 2 * octavesUp(i < 200 ? -std::min(i / 80.0, 1.0) : -std::min(i / 200.0, 2.0)); }, 2},
    {"Exactly1ForOneRender", [](int i) { return i == 100 ? 1.0 : 0.8 + i * 0.002; }, 1.6},
    {"WaverAbout1", [](int i) { return 1 + 0.003 * std::sin(i * 0.7); }, 1.003},
    {"NowAndThen1", [](int i) { return i % 3 == 0   ? 1.0
                                       : i % 3 == 1 ? 1.3
                                                    : 0.8; }, 1.3},
    {"WaverWidelyAbout1", [](int i) { return 1 + 0.3 * std::sin(i * 0.2); }, 1.3},
    {"AcrossAllOctaves", [](int i) { return octavesUp(2 + 4 * std::sin(i * 0.03)); }, 64},
    {"StepAcrossManyOctaves", [](int i) { return i % 100 < 50 ? 0.5 : 16; }, 16},
    {"AcrossOctaves", [](int i) { return octavesUp(1.5 + 2 * std::sin(i * 0.03)); }, octavesUp(3.5)},
};

class UnitsResampling_VariableRateGlide : public testing::TestWithParam<Glide> {
  protected:
    static constexpr int renders = 300;

    static double highestTone() { return 0.4 / GetParam().largest; }

    /// Renders a tone; after each render notes where the converter says that it is.
    void glide(double cyclesPerFrame) {
        VariableRateConverter converter(2, 64, 4096, frameRate);
        FunctionSource source = turningTone(cyclesPerFrame);
        for (int i = 0; i < renders; ++i) {
            render(converter, source, mOut, 128, GetParam().wishes(i));
            mTold.push_back(static_cast<double>(source.pulled) - converter.heldFrames());
        }
    }

    void expectNoClick(double cyclesPerFrame) {
        glide(cyclesPerFrame);
        constexpr std::size_t settled = 500;
        const double steepest = 2 * std::sin(std::numbers::pi * cyclesPerFrame * GetParam().largest);
        EXPECT_LE(braq::tests::largestStep(mOut[0], settled), 1.01 * steepest);
        EXPECT_LE(braq::tests::largestStep(mOut[1], settled), 1.01 * steepest);
        const Path path = pathOf(mOut, cyclesPerFrame, settled);
        // Sine and cosine stay on their circle: nothing is left out, repeated or added.
        EXPECT_LT(path.largestLevelError, 1e-3);
        EXPECT_LT(path.largestRatioStep, 0.01 * GetParam().largest);
    }

    Planes mOut;
    std::vector<double> mTold;
};

TEST_P(UnitsResampling_VariableRateGlide, MakesNoClick) { expectNoClick(std::min(lowTone, highestTone())); }

TEST_P(UnitsResampling_VariableRateGlide, MakesNoClickOfTheHighestToneThatIsKeptThroughout) {
    expectNoClick(highestTone());
}

TEST_P(UnitsResampling_VariableRateGlide, TellsWhereItIs) {
    const double cyclesPerFrame = std::min(lowTone, highestTone());
    glide(cyclesPerFrame);
    const Path path = pathOf(mOut, cyclesPerFrame);
    for (std::size_t i = 4; i < mTold.size(); ++i) {
        // The frame after the last one of the render, on a straight line from the last two.
        const double* const last = &path.positions[(i + 1) * 128 - 1];
        ASSERT_NEAR(2 * last[0] - last[-1], mTold[i], 0.03) << "render " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Glides, UnitsResampling_VariableRateGlide, testing::ValuesIn(glides),
                         [](const auto& instance) { return instance.param.name; });

TEST(UnitsResampling_VariableRateConverter, LeavesNoImageOnTheWayDownAndUp) {
    // Near the highest frequency that the source holds: out of what is kept where the ratio is above 1, all of it below.
    constexpr double highTone = 0.45;
    VariableRateConverter converter(2, 64, 4096, frameRate);
    FunctionSource source = turningTone(highTone);
    Planes out;
    std::vector<double> places;
    for (int i = 0; i < 600; ++i) {
        render(converter, source, out, 64, octavesUp(std::sin(i * 0.05)));
        places.push_back(static_cast<double>(source.pulled) - converter.heldFrames());
    }
    const auto levelAt = [&](std::size_t n) {
        return std::hypot(static_cast<double>(out[0][n]), static_cast<double>(out[1][n]));
    };
    int blocksBelow1 = 0;
    for (std::size_t block = 20; block < places.size(); ++block) {
        const double ratio = (places[block] - places[block - 1]) / 64;
        blocksBelow1 = ratio < 0.99 ? blocksBelow1 + 1 : 0;
        for (std::size_t n = block * 64; n < (block + 1) * 64; ++n) {
            ASSERT_LT(levelAt(n), 1.01) << n;
            if (blocksBelow1 > 1) {
                ASSERT_NEAR(levelAt(n), 1, 1e-3) << n;
            }
        }
    }
}

TEST(UnitsResampling_VariableRateConverter, GlidesWhereABlockTakesAnOctave) {
    for (const double rate : {1000.0, 8000.0}) {
        VariableRateConverter converter(2, 64, 4096, rate);
        FunctionSource source = turningTone(0.0005);
        Planes out;
        for (const double ratio : {0.5, 60.0, 0.01, 1.0, 60.0, 1.9, 0.3, 5.0, 0.1}) {
            render(converter, source, out, 3000, ratio);
        }
        // Where slopes as steep as these meet, the ratio bends sharply.
        EXPECT_LT(pathOf(out, 0.0005, 300).largestLevelError, 3e-3) << rate;
    }
}

TEST(UnitsResampling_VariableRateConverter, GoesAsFarAsItsRatiosAddUpTo) {
    // Steps are slopes of some 12 ms an octave, half of which is missed on the way up and won on the way down.
    VariableRateConverter converter(2, 64, 4096, frameRate);
    FunctionSource source = turningTone(lowTone);
    Planes out;
    double wished = 0;
    for (int i = 0; i < 200; ++i) {
        const double ratio = 0.75 + 0.25 * std::sin(i * 0.05) + (i > 100 ? 0.5 : 0);
        render(converter, source, out, 512, ratio);
        wished += 512 * ratio;
    }
    EXPECT_NEAR(pathOf(out, lowTone).positions.back(), wished, 600);
}

TEST(UnitsResampling_VariableRateConverter, DoesNotDriftAtARatioThatHasNoExactNumber) {
    for (const double ratio : {44100.0 / 48000, 48000.0 / 44100, 1.0 / 3, 8.0 / 3}) {
        VariableRateConverter converter(2, 64, 4096, frameRate);
        FunctionSource source = turningTone(0.02);
        Planes out;
        constexpr UInt32 frames = 150000;
        render(converter, source, out, frames, ratio, 4096);
        EXPECT_NEAR(pathOf(out, 0.02).positions.back(), (frames - 1) * ratio, 1e-4) << ratio;
        EXPECT_NEAR(static_cast<double>(source.pulled) - converter.heldFrames(), frames * ratio, 1e-6) << ratio;
    }
}

TEST(UnitsResampling_VariableRateConverter, ReachesAnotherRatioInAbout12MillisecondsAnOctave) {
    VariableRateConverter converter(2, 64, 4096, frameRate);
    FunctionSource source = turningTone(0.02);
    Planes out;
    render(converter, source, out, 6400, 0.5);
    render(converter, source, out, 6400, 0.9);
    const Path path = pathOf(out, 0.02);
    const auto ratioAt = [&](std::size_t i) { return path.positions[i] - path.positions[i - 1]; };
    EXPECT_NEAR(ratioAt(6400), 0.5, 1e-3);
    EXPECT_NEAR(ratioAt(6400 + 64 + 288), 0.67, 0.05);
    EXPECT_NEAR(ratioAt(6400 + 128 + 640), 0.9, 1e-3);
}

} // namespace
