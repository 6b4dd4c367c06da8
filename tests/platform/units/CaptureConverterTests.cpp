#include "platform/units/CaptureConverter.h"

#include "tests/support/RealtimeGuard.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace {

constexpr Float64 rates[]{8000.0, 11025.0, 32000.0, 44100.0, 48000.0, 88200.0, 96000.0, 192000.0};

/// Feeds silence in blocks of changing sizes. @return frames given out
UInt64 feed(braq::CaptureConverter& converter, UInt32 frames, UInt32 mostAtOnce) {
    constexpr unsigned seed = 7;
    std::minstd_rand random(seed);
    std::uniform_int_distribution<UInt32> sizes(1, mostAtOnce);
    const std::vector<float> silence(mostAtOnce);
    std::vector<float> sink(converter.mostFrames(mostAtOnce));
    const float* const from[]{silence.data(), silence.data()};
    float* const to[]{sink.data(), sink.data()};
    UInt64 given = 0;
    braq::tests::runRealtime([&] {
        for (UInt32 done = 0, now = 0; done < frames; done += now) {
            now = std::min(sizes(random), frames - done);
            given += converter.convert(from, now, to, static_cast<UInt32>(sink.size()));
        }
    });
    return given;
}

TEST(Units_CaptureConverter, KeepsTheRealtimeRulesInBlocksOfAnySize) {
    for (const Float64 from : rates) {
        for (const Float64 to : rates) {
            for (const UInt32 mostAtOnce : {40U, 600U, 8192U}) {
                braq::CaptureConverter converter(2, from, to);
                const auto frames = static_cast<UInt32>(from);
                const auto given = static_cast<Float64>(feed(converter, frames, mostAtOnce));
                EXPECT_LE(given, to + 1.0) << from << " to " << to;
                EXPECT_GE(given, 0.8 * to) << from << " to " << to << ": what it holds back is short";
            }
        }
    }
}

TEST(Units_CaptureConverter, GoesOnAndEndsWithTheLengthThatItTook) {
    const std::vector<float> silence(512);
    const float* const last[]{silence.data(), silence.data()};
    for (const Float64 from : rates) {
        for (const Float64 to : rates) {
            for (const UInt32 mostAtOnce : {1U, 600U}) {
                braq::CaptureConverter converter(2, from, to);
                converter.goOn();
                const auto frames = static_cast<UInt32>(from / 4);
                const UInt64 given = feed(converter, frames, mostAtOnce);
                const auto rest = converter.drain(last, 512);
                ASSERT_EQ(rest.size(), 2U);
                EXPECT_EQ(rest[0].size(), rest[1].size());
                EXPECT_NEAR(static_cast<Float64>(given + rest[0].size()), frames * to / from, 0.5)
                    << from << " to " << to;
            }
        }
    }
}

TEST(Units_CaptureConverter, BeginsAsIfThereHadBeenTheSameBefore) {
    const std::vector<float> constant(512, 1.0F);
    const float* const from = constant.data();
    for (const Float64 rate : rates) {
        braq::CaptureConverter converter(1, rate, 44100.0);
        converter.goOn();
        std::vector<float> out(converter.mostFrames(512));
        float* const to = out.data();
        UInt32 given = 0;
        while (given == 0) {
            given = converter.convert(&from, 512, &to, static_cast<UInt32>(out.size()));
        }
        for (UInt32 frame = 0; frame < given; ++frame) {
            ASSERT_NEAR(out[frame], 1.0F, 0.01F) << rate << " at " << frame;
        }
    }
}

TEST(Units_CaptureConverter, BeginsAnewAfterAReset) {
    braq::CaptureConverter converter(1, 48000.0, 44100.0);
    const std::vector<float> loud(4096, 1.0F);
    const std::vector<float> silence(4096);
    std::vector<float> out(converter.mostFrames(4096));
    const float* from = loud.data();
    float* const to = out.data();
    for (int block = 0; block < 4; ++block) {
        converter.convert(&from, 4096, &to, static_cast<UInt32>(out.size()));
    }
    converter.reset();
    from = silence.data();
    UInt64 given = 0;
    for (int block = 0; block < 12; ++block) {
        const UInt32 now = converter.convert(&from, 4096, &to, static_cast<UInt32>(out.size()));
        for (UInt32 frame = 0; frame < now; ++frame) {
            ASSERT_EQ(out[frame], 0.0F);
        }
        given += now;
    }
    EXPECT_GT(given, 40000U);
}

} // namespace
