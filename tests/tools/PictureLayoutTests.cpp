#include "tools/braq/info/PictureLayout.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

TEST(PictureSize, IsWidthTimesHeight) {
    const auto size = pictureSizeFrom("1200x400");
    ASSERT_TRUE(size);
    EXPECT_EQ(size->width, 1200);
    EXPECT_EQ(size->height, 400);
    EXPECT_TRUE(pictureSizeFrom("320x120"));
    EXPECT_TRUE(pictureSizeFrom("20000x20000"));
}

TEST(PictureSize, IsNothingElse) {
    for (const char* const text :
         {"", "x", "1200", "1200x", "x400", "1200x400x", "1200 x 400", "1200X400", "-1200x400", "1200.5x400", "319x120",
          "320x119", "20001x400", "400x20001", "0x0", "99999999999x400"}) {
        EXPECT_FALSE(pictureSizeFrom(text)) << text;
    }
}

TEST(PictureLayout, IsAsHighAsItsChannelsNeed) {
    EXPECT_EQ(PictureLayout(std::nullopt, 2).size.width, 1200);
    EXPECT_EQ(PictureLayout(std::nullopt, 2).size.height, 400);
    EXPECT_LT(PictureLayout(std::nullopt, 1).size.height, 400);
    EXPECT_GT(PictureLayout(std::nullopt, 6).size.height, 800);
}

TEST(PictureLayout, PutsTheLanesBelowEachOther) {
    for (const std::size_t channels : {1U, 2U, 6U, 17U}) {
        const PictureLayout layout(PictureSize{800, 500}, channels);
        EXPECT_GT(layout.laneTop(0), 0.0);
        for (std::size_t channel = 1; channel < channels; ++channel) {
            EXPECT_GT(layout.laneTop(channel), layout.laneTop(channel - 1) + layout.laneHeight) << "they have a gap";
        }
        EXPECT_NEAR(layout.laneTop(channels - 1) + layout.laneHeight, layout.bottom(), 1e-6);
        EXPECT_LT(layout.bottom(), 500.0);
        EXPECT_GT(layout.columns(), 500);
    }
}

TEST(PictureLayout, RefusesLanesThatNobodySees) {
    EXPECT_NO_THROW(PictureLayout(std::nullopt, 64));
    EXPECT_NO_THROW(PictureLayout(smallestPicture, 2));
    EXPECT_THROW(PictureLayout(smallestPicture, 8), std::runtime_error);
    EXPECT_THROW(PictureLayout(PictureSize{800, 400}, 40), std::runtime_error);
}

} // namespace
