#include "platform/samples/resampling/FrameHistory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

namespace {

using braq::FrameHistory;
using testing::Each;
using testing::ElementsAre;

/// Counts.
struct Counter {
    static void pull(void* context, UInt32 frames, float* const* planes) noexcept {
        auto& counter = *static_cast<Counter*>(context);
        for (UInt32 i = 0; i < frames; ++i) {
            planes[0][i] = static_cast<float>(++counter.last);
        }
        counter.slices.push_back(frames);
    }
    int last = 0;
    std::vector<UInt32> slices;
};

class UnitsResampling_FrameHistory : public testing::Test {
  protected:
    std::vector<float> framesFrom(SInt64 frame, UInt32 count) const {
        std::vector<float> frames(count + 1, -1);
        float* const plane = frames.data();
        mHistory.copy(frame, count, &plane, 1);
        frames.erase(frames.begin());
        return frames;
    }

    FrameHistory mHistory{1, 16, 5};
    Counter mCounter;
};

TEST_F(UnitsResampling_FrameHistory, IsSilentBeforeTheFirstFrame) {
    mHistory.setSource(&Counter::pull, &mCounter);
    mHistory.extendTo(3);
    EXPECT_THAT(framesFrom(-2, 5), ElementsAre(0, 0, 1, 2, 3));
}

TEST_F(UnitsResampling_FrameHistory, PullsInSlicesAndKeepsTheLastFrames) {
    mHistory.setSource(&Counter::pull, &mCounter);
    mHistory.extendTo(12);
    EXPECT_THAT(mCounter.slices, ElementsAre(5, 5, 2));
    mHistory.extendTo(11);
    EXPECT_EQ(mHistory.end(), 12);
    mHistory.extendTo(20);
    EXPECT_THAT(framesFrom(14, 6), ElementsAre(15, 16, 17, 18, 19, 20));
    EXPECT_THAT(framesFrom(4, 3), ElementsAre(5, 6, 7));
}

TEST_F(UnitsResampling_FrameHistory, KeepsACopyOfWhatIsPulledPastIt) {
    mHistory.setSource(&Counter::pull, &mCounter);
    mHistory.extendTo(2);
    std::array<float, 40> out{};
    float* const plane = out.data();
    mHistory.pullInto(7, &plane);
    EXPECT_EQ(out[0], 3);
    EXPECT_EQ(out[6], 9);
    EXPECT_EQ(mHistory.end(), 9);
    EXPECT_THAT(framesFrom(0, 9), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9));
    mHistory.pullInto(40, &plane);
    EXPECT_EQ(mHistory.end(), 49);
    EXPECT_EQ(mHistory.soundEnd(), 49);
    EXPECT_THAT(framesFrom(46, 3), ElementsAre(47, 48, 49));
}

TEST_F(UnitsResampling_FrameHistory, GoesOnInSilenceWithoutASource) {
    mHistory.setSource(&Counter::pull, &mCounter);
    mHistory.extendTo(10);
    mHistory.setSource(nullptr, nullptr);
    mHistory.extendTo(20);
    EXPECT_EQ(mHistory.end(), 20);
    EXPECT_EQ(mHistory.soundEnd(), 10);
    EXPECT_THAT(framesFrom(8, 4), ElementsAre(9, 10, 0, 0));
}

TEST_F(UnitsResampling_FrameHistory, HoldsNothingOfTheEarlierStreamWhenCleared) {
    mHistory.setSource(&Counter::pull, &mCounter);
    mHistory.extendTo(10);
    mHistory.clear();
    EXPECT_EQ(mHistory.end(), 0);
    EXPECT_EQ(mHistory.soundEnd(), 0);
    EXPECT_THAT(framesFrom(-16, 16), Each(0));
}

} // namespace
