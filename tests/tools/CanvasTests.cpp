#include "tools/braq/info/Canvas.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

constexpr Font font{12.0, Weight::normal};

TEST(Canvas, ShortensALineUntilItFits) {
    Canvas canvas(100, 20);
    const std::string line = "A long title – with wide signs, 長い題名";
    EXPECT_EQ(canvas.shortened(line, font, canvas.widthOf(line, font)), line);
    for (double width = 20.0; width < canvas.widthOf(line, font); width += 7.0) {
        const std::string shortened = canvas.shortened(line, font, width);
        EXPECT_LE(canvas.widthOf(shortened, font), width);
        ASSERT_TRUE(shortened.ends_with("…"));
        const std::string kept = shortened.substr(0, shortened.size() - std::string("…").size());
        EXPECT_TRUE(line.starts_with(kept));
        // It ends between two characters: what follows is not the rest of one.
        EXPECT_NE(static_cast<unsigned char>(line[kept.size()]) & 0xC0U, 0x80U);
    }
}

TEST(Canvas, ShortensToNothingButTheEllipsis) {
    Canvas canvas(100, 20);
    EXPECT_EQ(canvas.shortened("title", font, 1.0), "…");
}

TEST(Canvas, IsAPNGFile) {
    const Canvas canvas(3, 2);
    EXPECT_EQ(canvas.asPNG().substr(0, 8), "\x89PNG\r\n\x1A\n");
}

TEST(Canvas, SaysWhenItCannotBeDrawn) {
    EXPECT_THROW(Canvas(-1, 10).asPNG(), std::runtime_error);
    Canvas canvas(10, 10);
    canvas.write("\xFF", font, {0}, 0.0, 5.0, Anchor::left);
    EXPECT_THROW(canvas.asPNG(), std::runtime_error);
}

} // namespace
