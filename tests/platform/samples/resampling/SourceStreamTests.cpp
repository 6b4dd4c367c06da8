#include "platform/samples/resampling/SourceStream.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace {

using braq::FrameHistory;
using braq::FramePosition;
using braq::oneFrame;
using braq::SourceStream;

/// A low tone, which all levels keep, with one frame that is something else.
struct Source {
    static double toneAt(SInt64 frame) { return std::cos(0.005 * static_cast<double>(frame)); }
    static void pull(void* context, UInt32 frames, float* const* planes) noexcept {
        auto& source = *static_cast<Source*>(context);
        for (UInt32 i = 0; i < frames; ++i, ++source.pulled) {
            const bool isOdd = source.pulled == source.oddFrame;
            planes[0][i] = isOdd ? source.odd : static_cast<float>(toneAt(source.pulled));
        }
    }
    SInt64 pulled = 0;
    SInt64 oddFrame = -1;
    float odd = 0;
};

class UnitsResampling_SourceStream : public testing::Test {
  protected:
    std::vector<float> read(UInt32 frames) {
        std::vector<float> samples(frames);
        float* const plane = samples.data();
        mStream.read(frames, &plane);
        return samples;
    }

    FrameHistory mHistory{1, 65536, 4096};
    Source mSource;
    SourceStream mStream{mHistory, 1, 4};
};

class UnitsResampling_SourceStreamLevel : public UnitsResampling_SourceStream,
                                          public testing::WithParamInterface<int> {};

TEST_P(UnitsResampling_SourceStreamLevel, GivesFramesWhereItSaysThatTheyAre) {
    const int level = GetParam();
    const SInt64 spread = SInt64{1} << level;
    mHistory.setSource(&Source::pull, &mSource);
    for (const SInt64 start : {20000, 20001, 23456}) {
        constexpr SInt64 lead = 50;
        mStream.begin(level, {start, 0}, lead);
        const FramePosition place = mStream.placeOf({start, 0});
        ASSERT_TRUE(place.isWhole());
        ASSERT_GE(place.frame, lead);
        const std::vector<float> samples = read(1000);
        for (SInt64 n = -lead; place.frame + n < 1000; ++n) {
            ASSERT_NEAR(static_cast<double>(samples[static_cast<std::size_t>(place.frame + n)]),
                        Source::toneAt(start + n * spread), 3e-6 * (level + 1))
                << start << ", " << n;
        }
    }
}

TEST_P(UnitsResampling_SourceStreamLevel, TellsPlacesBetweenItsFramesExactly) {
    const int level = GetParam();
    const SInt64 spread = SInt64{1} << level;
    mStream.begin(level, {1000, oneFrame / 4}, 10);
    const FramePosition first = mStream.placeOf({1000, 0});
    for (SInt64 frame = -5; frame < 100; ++frame) {
        const FramePosition place = mStream.placeOf({1000 + frame, oneFrame / 2});
        const FramePosition expected = first.movedBy((frame * oneFrame + oneFrame / 2) / spread);
        ASSERT_EQ(place.frame, expected.frame) << frame;
        ASSERT_EQ(place.fraction, expected.fraction) << frame;
    }
    const FramePosition muchLater = mStream.placeOf({1000 + (SInt64{1} << 40) * spread, 0});
    EXPECT_EQ(muchLater.frame, first.frame + (SInt64{1} << 40));
    EXPECT_EQ(muchLater.fraction, first.fraction);
}

TEST_P(UnitsResampling_SourceStreamLevel, GivesTheSameInPiecesOfAnySize) {
    mHistory.setSource(&Source::pull, &mSource);
    mStream.begin(GetParam(), {5000, 0}, 10);
    const std::vector<float> expected = read(512);
    mStream.begin(GetParam(), {5000, 0}, 10);
    read(512); // what was kept of the earlier reading is gone from here on
    const std::vector<float> further = read(512);
    mStream.begin(GetParam(), {5000, 0}, 10);
    std::vector<float> pieces;
    for (const UInt32 frames : {16U, 48U, 64U, 80U, 304U, 512U}) {
        const std::vector<float> piece = read(frames);
        pieces.insert(pieces.end(), piece.begin(), piece.end());
    }
    EXPECT_EQ(std::vector<float>(pieces.begin() + 512, pieces.end()), further);
    EXPECT_EQ(std::vector<float>(pieces.begin() + 300, pieces.begin() + 512),
              std::vector<float>(expected.begin() + 300, expected.end()));
}

INSTANTIATE_TEST_SUITE_P(Levels, UnitsResampling_SourceStreamLevel, testing::Values(0, 1, 2, 3, 4),
                         [](const auto& instance) { return std::to_string(instance.param); });

TEST_F(UnitsResampling_SourceStream, MakesSilenceOfWhatCannotBeComputedWith) {
    using Limits = std::numeric_limits<float>;
    for (const float odd :
         {Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity(), -1e38F, Limits::denorm_min(), -1e-30F}) {
        for (const SInt64 place : {0, 1, 3, 17}) {
            mHistory.clear();
            mSource = {0, 100 + place, odd};
            mHistory.setSource(&Source::pull, &mSource);
            mStream.begin(0, {100, 0}, 0);
            const std::vector<float> samples = read(18);
            for (SInt64 i = 0; i < 18; ++i) {
                const float expected = i == place ? 0.0F : static_cast<float>(Source::toneAt(100 + i));
                ASSERT_EQ(samples[static_cast<std::size_t>(i)], expected) << odd << ", " << place << ", " << i;
            }
        }
    }
}

} // namespace
