#include "platform/samples/resampling/StreamWindow.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using braq::StreamWindow;

/// Numbers its frames; the second channel's are negative.
class NumberFeed final : public braq::FrameFeed {
  public:
    void read(UInt32 frames, float* const* planes) noexcept override {
        for (UInt32 i = 0; i < frames; ++i, ++given) {
            planes[0][i] = static_cast<float>(given);
            planes[1][i] = -static_cast<float>(given);
        }
    }
    SInt64 given = 0;
};

class UnitsResampling_StreamWindow : public testing::Test {
  protected:
    void expectFrames(SInt64 first, SInt64 end) const {
        for (SInt64 frame = first; frame < end; ++frame) {
            ASSERT_EQ(*mWindow.at(0, frame), static_cast<float>(frame));
            ASSERT_EQ(*mWindow.at(1, frame), -static_cast<float>(frame));
        }
        EXPECT_EQ(mWindow.at(0, first) + (end - 1 - first), mWindow.at(0, end - 1)) << "not in one piece";
    }

    StreamWindow mWindow{2, 100};
    NumberFeed mFeed;
};

TEST_F(UnitsResampling_StreamWindow, ReadsNoMoreThanIsWantedButInMultiples) {
    mWindow.extendTo(1, 0, mFeed);
    EXPECT_EQ(mFeed.given, StreamWindow::readAtOnce);
    mWindow.extendTo(StreamWindow::readAtOnce, 0, mFeed);
    EXPECT_EQ(mFeed.given, StreamWindow::readAtOnce);
    mWindow.extendTo(StreamWindow::readAtOnce + 1, 0, mFeed);
    EXPECT_EQ(mFeed.given, 2 * StreamWindow::readAtOnce);
    expectFrames(0, 2 * StreamWindow::readAtOnce);
}

TEST_F(UnitsResampling_StreamWindow, HoldsAllFramesFromTheOnesThatAreKept) {
    SInt64 end = 0;
    for (const SInt64 way : {50, 34, 1, 60, 60, 16, 3, 60, 60, 60}) {
        end += way;
        const SInt64 kept = std::max<SInt64>(end - 80, 0);
        mWindow.extendTo(end, kept, mFeed);
        expectFrames(kept, end);
    }
}

TEST_F(UnitsResampling_StreamWindow, BeginsAgainWithAnotherStream) {
    mWindow.extendTo(90, 0, mFeed);
    mWindow.extendTo(120, 90, mFeed);
    mFeed.given = 0;
    mWindow.begin();
    mWindow.extendTo(90, 0, mFeed);
    expectFrames(0, 90);
}

} // namespace
