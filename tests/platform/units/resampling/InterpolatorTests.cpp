#include "platform/units/resampling/Interpolator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace {

using braq::FixedFrames;
using braq::framesOf;
using braq::Interpolator;
using braq::oneFrame;

/// A sine that begins at its first frame.
class SineFeed final : public braq::FrameFeed {
  public:
    static constexpr double radians = 0.3;
    const float* const* next(UInt32& frames) noexcept override {
        frames = std::min<UInt32>(frames, 50);
        for (UInt32 i = 0; i < frames; ++i, ++given) {
            mPlane[i] = static_cast<float>(std::sin(radians * static_cast<double>(given)));
        }
        return mPlanes.data();
    }
    SInt64 given = 0;

  private:
    std::array<float, 50> mPlane{};
    const std::array<const float*, 1> mPlanes{mPlane.data()};
};

/// Reads and follows the places that are read.
class UnitsResampling_Interpolator : public testing::Test {
  protected:
    void moveInto(FixedFrames place) {
        mFeed.given = 0;
        mInterpolator.moveInto(place, mFeed);
        mPlace = framesOf(place);
    }
    void readAndCheck(UInt32 count, FixedFrames first, FixedFrames last) {
        std::array<float, Interpolator::largestBlock> out{};
        float* const plane = out.data();
        mInterpolator.read(count, first, last, &plane, mFeed);
        const double slope = framesOf(last - first) / count;
        for (UInt32 n = 0; n < count; ++n) {
            const double place = mPlace + n * (framesOf(first) + slope * n / 2);
            ASSERT_NEAR(static_cast<double>(out[n]), std::sin(SineFeed::radians * place), 2e-4) << n;
        }
        mPlace += count * framesOf(first + last) / 2;
        ASSERT_NEAR(static_cast<double>(mFeed.given) - framesOf(mInterpolator.ahead()), mPlace, 1e-9);
    }

    Interpolator mInterpolator{1};
    SineFeed mFeed;
    double mPlace = 0;
};

TEST_F(UnitsResampling_Interpolator, ReadsAtThePlacesThatItsStepsLeadTo) {
    moveInto(100 * oneFrame + oneFrame / 3);
    for (const FixedFrames step : {oneFrame, oneFrame / 7, oneFrame / 2, oneFrame / 100, oneFrame - 1}) {
        for (int i = 0; i < 30; ++i) {
            readAndCheck(64, step, step);
        }
    }
}

TEST_F(UnitsResampling_Interpolator, FollowsSlopesExactly) {
    moveInto(Interpolator::reach * oneFrame);
    constexpr FixedFrames grain = FixedFrames{2} * Interpolator::largestBlock;
    const FixedFrames low = oneFrame / 5 / grain * grain;
    for (int i = 0; i < 30; ++i) {
        readAndCheck(128, low, oneFrame);
        readAndCheck(128, oneFrame, low);
        readAndCheck(128, low, low);
        readAndCheck(64, low, low + 12345 * grain);
        readAndCheck(64, low + 12345 * grain, low);
        readAndCheck(1, oneFrame / 3, oneFrame / 3);
        readAndCheck(128, low, low);
        readAndCheck(128, low, oneFrame);
        readAndCheck(128, oneFrame, oneFrame);
    }
}

TEST_F(UnitsResampling_Interpolator, ForgetsTheStreamThatItMovesAwayFrom) {
    moveInto(Interpolator::reach * oneFrame);
    for (FixedFrames part = 0; part < 20; ++part) {
        readAndCheck(100, oneFrame - 5 * part, oneFrame - 5 * part);
        moveInto(Interpolator::reach * oneFrame + part * (oneFrame / 20));
    }
}

TEST_F(UnitsResampling_Interpolator, ReadsNoFurtherAheadThanItSays) {
    moveInto(Interpolator::reach * oneFrame);
    for (int i = 0; i < 200; ++i) {
        readAndCheck(64, oneFrame * 3 / 4, oneFrame * 3 / 4);
        ASSERT_LE(mInterpolator.ahead(), (Interpolator::lookahead + 1) * oneFrame);
        ASSERT_GE(mInterpolator.ahead(), (Interpolator::lookahead - 2) * oneFrame);
    }
}

} // namespace
