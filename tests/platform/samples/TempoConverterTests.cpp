#include "platform/samples/TempoConverter.h"

#include "tests/platform/samples/resampling/Tones.h"
#include "tests/support/RealtimeGuard.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <thread>

namespace {

using braq::TempoConverter;
using braq::TimeStretcher;
using braq::tests::FunctionSource;
using braq::tests::largestStep;
using braq::tests::numberedFrames;
using braq::tests::pathOf;
using braq::tests::Planes;
using braq::tests::render;
using braq::tests::runRealtime;
using braq::tests::turningTone;

using braq::tests::frameRate;
constexpr double tone = 997 / frameRate;
constexpr UInt32 largestPull = 4096;

/// What is drained, at that tempo.
Planes drained(TempoConverter& converter, UInt32 channels, double tempo) {
    Planes all(channels);
    for (UInt32 count = 512; count == 512;) {
        Planes part(channels, std::vector<float>(512));
        std::vector<float*> planes;
        for (auto& plane : part) {
            planes.push_back(plane.data());
        }
        count = converter.drain(512, planes.data(), tempo);
        for (UInt32 channel = 0; channel < channels; ++channel) {
            all[channel].insert(all[channel].end(), part[channel].begin(), part[channel].begin() + count);
        }
    }
    return all;
}

class Samples_Tempo : public testing::TestWithParam<double> {
  protected:
    TempoConverter converter{2, frameRate, largestPull};
    Planes out;
};

TEST_P(Samples_Tempo, LeavesThePitchWithinACent) {
    FunctionSource source = turningTone(tone);
    render(converter, source, out, 480'000, GetParam());
    constexpr std::size_t settled = 4800;
    const auto path = pathOf(out, tone).positions;
    const double pitch = (path.back() - path[settled]) / static_cast<double>(path.size() - 1 - settled);
    EXPECT_LT(std::fabs(1200 * std::log2(pitch)), 1.0) << "cents";
    EXPECT_LE(largestStep(out[0]), 1.01 * 2 * std::sin(std::numbers::pi * tone));
}

TEST_P(Samples_Tempo, LastsAsLongAsTheSource) {
    for (const UInt32 frames : {100U, 3000U, 50'000U}) {
        FunctionSource source([](UInt32, SInt64) { return 0.5; });
        out = {};
        render(converter, source, out, frames, GetParam());
        const auto all = out[0].size() + drained(converter, 2, GetParam())[0].size();
        EXPECT_NEAR(static_cast<double>(all), static_cast<double>(source.pulled) / GetParam(), 1.0) << frames;
        EXPECT_EQ(converter.heldFrames(), 0.0);
    }
}

// In a batch, sounds follow one another as in the source.
TEST_P(Samples_Tempo, PlaysSoundsInTheMiddleWhenItSays) {
    constexpr SInt64 period = 14'400; // frames from one to the next
    FunctionSource source([](UInt32, SInt64 frame) {
        const SInt64 inside = frame % period;
        return inside < 480 ? std::sin(0.2 * static_cast<double>(inside)) : 0.0;
    });
    constexpr UInt32 cycle = 64;
    TimeStretcher stretcher(1, frameRate);
    stretcher.setTempo(GetParam());
    const double batch = stretcher.batch();
    const double overlap = 0.008 * frameRate;
    const double search = 0.009 * frameRate;
    const double farthest = (batch + overlap) * std::fabs(GetParam() - 1) / 2 + search; // source frames
    double sum = 0;
    int count = 0;
    int quiet = 0;
    for (int round = 0; round < 20'000; ++round) {
        const double before = static_cast<double>(source.pulled) - converter.framesAhead();
        out = {};
        render(converter, source, out, cycle, GetParam());
        const auto loud = std::ranges::find_if(out[0], [](float sample) { return std::fabs(sample) > 0.1F; });
        if (loud == out[0].end()) {
            ++quiet;
        } else if (std::exchange(quiet, 0) > 30) {
            const double place = (before + static_cast<double>(loud - out[0].begin()) * GetParam()) / period;
            const double away = (place - std::round(place)) * period;
            EXPECT_LT(std::fabs(away), farthest) << "in round " << round;
            sum += away;
            ++count;
        }
    }
    ASSERT_GT(count, 20);
    EXPECT_LT(std::fabs(sum / count), farthest / 2) << "in the middle";
}

TEST_P(Samples_Tempo, KnowsWhatItHolds) {
    FunctionSource source = turningTone(tone);
    for (int i = 1; i <= 500; ++i) {
        render(converter, source, out, 256, GetParam());
        EXPECT_NEAR(static_cast<double>(source.pulled) - converter.heldFrames(), i * 256 * GetParam(), 0.01) << i;
        EXPECT_LT(converter.heldFrames(), 0.25 * frameRate);
    }
}

TEST_P(Samples_Tempo, MakesTheSameInRendersOfAnySize) {
    FunctionSource source = turningTone(tone);
    render(converter, source, out, 96'000, GetParam(), 1000);
    for (const UInt32 atOnce : {64U, 333U, 4096U}) {
        TempoConverter other(2, frameRate, largestPull);
        FunctionSource again = turningTone(tone);
        Planes same;
        render(other, again, same, 96'000, GetParam(), atOnce);
        EXPECT_TRUE(same == out) << atOnce;
    }
}

TEST_P(Samples_Tempo, IsSwitchedOnAndOffWithoutAClick) {
    FunctionSource source = turningTone(tone);
    for (int round = 0; round < 10; ++round) {
        render(converter, source, out, 5000 + 77U * static_cast<UInt32>(round), 1.0);
        render(converter, source, out, round % 2 == 0 ? 20'000U : 300U, GetParam());
    }
    EXPECT_LE(largestStep(out[0]), 1.1 * 2 * std::sin(std::numbers::pi * tone));
    EXPECT_LE(largestStep(out[1]), 1.1 * 2 * std::sin(std::numbers::pi * tone));
    EXPECT_LT(pathOf(out, tone, 10).largestLevelError, 0.05) << "nor a dip";
}

TEST_P(Samples_Tempo, GoesOnWithTheSourceAsItIsAtOne) {
    FunctionSource source = numberedFrames();
    render(converter, source, out, 30'000, GetParam());
    const double before = static_cast<double>(source.pulled) - converter.heldFrames();
    out = {};
    render(converter, source, out, 30'000, 1.0);
    const auto frameOf = [](float sample) { return static_cast<double>(sample) * 0x1p23; };
    constexpr std::size_t joined = 480;
    EXPECT_NEAR(frameOf(out[0][joined]), before + static_cast<double>(joined), 0.008 * frameRate);
    for (std::size_t i = joined + 1; i < out[0].size(); ++i) {
        ASSERT_EQ(frameOf(out[0][i]), frameOf(out[0][i - 1]) + 1) << i;
    }
}

TEST_P(Samples_Tempo, KeepsTheRealTimeRules) {
    struct Ramp {
        static void pull(void* context, UInt32 frames, float* const* planes) noexcept {
            auto& ramp = *static_cast<Ramp*>(context);
            for (UInt32 i = 0; i < frames; ++i, ++ramp.pulled) {
                for (UInt32 channel = 0; channel < ramp.channels; ++channel) {
                    planes[channel][i] = static_cast<float>((ramp.pulled * (channel + 1)) % 200) * 0.01F - 1.0F;
                }
            }
        }
        UInt32 channels;
        UInt64 pulled = 0;
    };
    for (const double rate : {8000.0, 48'000.0, 192'000.0, 384'000.0}) {
        for (const UInt32 channels : {1U, 2U, TimeStretcher::mostChannels}) {
            TempoConverter any(channels, rate, 512);
            Ramp ramp{channels};
            Planes room(channels, std::vector<float>(4096));
            std::vector<float*> planes;
            for (auto& plane : room) {
                planes.push_back(plane.data());
            }
            runRealtime([&] {
                for (const double tempo : {GetParam(), 1.0, 0.25, 4.0, GetParam(), 0.9, 1.0}) {
                    for (const UInt32 frames : {1U, 64U, 4096U, 4096U, 4096U, 4096U, 300U}) {
                        any.render(frames, planes.data(), tempo, &Ramp::pull, &ramp);
                    }
                }
                any.render(64, planes.data(), GetParam(), &Ramp::pull, &ramp);
                while (any.drain(512, planes.data(), GetParam()) == 512) {
                }
                any.render(64, planes.data(), GetParam(), &Ramp::pull, &ramp);
                any.reset();
                any.render(64, planes.data(), GetParam(), &Ramp::pull, &ramp);
            });
            EXPECT_GT(ramp.pulled, 20'000 * GetParam());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Tempos, Samples_Tempo, testing::Values(0.25, 0.5, 0.8, 1.25, 1.5, 2.0, 3.0, 4.0),
                         [](const auto& tempo) {
                             return "Percent" + std::to_string(static_cast<int>(std::lround(tempo.param * 100)));
                         });

TEST(Samples_TempoOne, PassesTheSourceAsItIsAndPullsNothingAhead) {
    TempoConverter converter(2, frameRate, 100);
    FunctionSource source = numberedFrames();
    Planes out;
    render(converter, source, out, 5000, 1.0, 333);
    EXPECT_EQ(source.pulled, 5000);
    EXPECT_EQ(source.largestPull, 100U);
    for (std::size_t i = 0; i < out[0].size(); ++i) {
        ASSERT_EQ(out[0][i], static_cast<float>(static_cast<double>(2 * i) * 0x1p-24));
    }
}

TEST(Samples_TempoOne, LeavesNumbersThatAreNearlyZeroToTheProgram) {
    const auto half = [] {
        volatile double smallest = 2 * std::numeric_limits<double>::denorm_min();
        return smallest / 2;
    };
    EXPECT_GT(half(), 0.0) << "as the thread that loads the library computes";
    double inThread = 0.0;
    std::thread([&] { inThread = half(); }).join();
    EXPECT_GT(inThread, 0.0);
}

TEST(Samples_TempoChanges, AreSmoothAndLoseNothing) {
    TempoConverter converter(2, frameRate, largestPull);
    FunctionSource source = turningTone(tone);
    Planes out;
    double passed = 0;
    for (int i = 0; i < 1500; ++i) {
        const double tempo = 1.2 + std::sin(i * 0.01);
        render(converter, source, out, 256, tempo);
        passed += 256 * tempo;
    }
    EXPECT_LE(largestStep(out[0]), 1.01 * 2 * std::sin(std::numbers::pi * tone));
    EXPECT_NEAR(static_cast<double>(source.pulled) - converter.heldFrames(), passed, 0.1 * frameRate)
        << "a tempo is heard as much later";
}

} // namespace
