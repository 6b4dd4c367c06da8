#include "tools/braq/shared/Nearest.h"

#include <gtest/gtest.h>

namespace {

const std::vector<std::string> words{"devices", "meter", "play", "record", "info"};

TEST(Nearest, FindsWhatWasMistyped) {
    EXPECT_EQ(nearest("plya", words), "play");
    EXPECT_EQ(nearest("paly", words), "play");
    EXPECT_EQ(nearest("pay", words), "play");
    EXPECT_EQ(nearest("plaay", words), "play");
    EXPECT_EQ(nearest("device", words), "devices");
    EXPECT_EQ(nearest("recrod", words), "record");
    EXPECT_EQ(nearest("reocdr", words), "record");
    EXPECT_EQ(nearest("ifno", words), "info");
    EXPECT_EQ(nearest("rec", words), "record") << "nothing else begins so";
}

TEST(Nearest, FindsNothingInWhatIsFarFromAll) {
    EXPECT_EQ(nearest("song.flac", words), std::nullopt);
    EXPECT_EQ(nearest("help", words), std::nullopt);
    EXPECT_EQ(nearest("x", words), std::nullopt);
    EXPECT_EQ(nearest("", words), std::nullopt);
    EXPECT_EQ(nearest("play", {}), std::nullopt);
    EXPECT_EQ(nearest("in", {"info", "inspect"}), std::nullopt) << "two begin so, and neither is near";
}

} // namespace
