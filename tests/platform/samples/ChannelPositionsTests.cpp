#include "platform/samples/ChannelPositions.h"
#include "tests/platform/samples/Layouts.h"

#include <gmock/gmock.h>

namespace {

using namespace braq;
using namespace braq::tests;
using ::testing::Each;
using ::testing::ElementsAre;

TEST(ChannelPositions, AreTheUsualOnesOfSoManyChannels) {
    EXPECT_THAT(usualPositions(1), ElementsAre(mono));
    EXPECT_THAT(usualPositions(2), ElementsAre(frontLeft, frontRight));
    EXPECT_THAT(usualPositions(3), ElementsAre(frontLeft, frontRight, lowFrequency));
    EXPECT_THAT(usualPositions(4), ElementsAre(frontLeft, frontRight, rearLeft, rearRight));
    EXPECT_THAT(usualPositions(5), ElementsAre(frontLeft, frontRight, frontCenter, rearLeft, rearRight));
    EXPECT_EQ(usualPositions(6), surround51);
    EXPECT_THAT(usualPositions(7),
                ElementsAre(frontLeft, frontRight, frontCenter, lowFrequency, rearCenter, sideLeft, sideRight));
    EXPECT_EQ(usualPositions(8), surround71);
    for (const UInt32 channels : {0U, 9U, 64U}) {
        EXPECT_EQ(usualPositions(channels).size(), channels);
        EXPECT_THAT(usualPositions(channels), Each(unknown));
    }
}

TEST(ChannelPositions, AreKnownWhereEachChannelHasOneOfItsOwn) {
    for (const Layout& layout : usualLayouts()) {
        EXPECT_TRUE(areKnown(layout.positions)) << layout.name;
    }
    EXPECT_FALSE(areKnown({}));
    EXPECT_FALSE(areKnown({unknown}));
    EXPECT_FALSE(areKnown({frontLeft, unknown}));
    EXPECT_FALSE(areKnown({frontLeft, frontLeft}));
}

TEST(ChannelPositions, AreTheValuesOfTheirEnumeration) {
    EXPECT_TRUE(isChannelPosition(unknown));
    EXPECT_TRUE(isChannelPosition(frontRightOfCenter));
    EXPECT_FALSE(isChannelPosition(static_cast<BRAQChannelPosition>(13)));
    EXPECT_FALSE(isChannelPosition(static_cast<BRAQChannelPosition>(0xFFFFFFFF)));
}

} // namespace
