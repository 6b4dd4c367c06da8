#include "BRAQAudio/platform/foundation/NSException.h"

#include <gtest/gtest.h>

TEST(Foundation_NSException, IsAStandardExceptionWhoseWhatIsTheReason) {
    try {
        throw NSException(NSInvalidArgumentException, "too short", {{"length", std::int64_t{3}}});
    } catch (const std::exception& exception) {
        EXPECT_STREQ(exception.what(), "too short");
        const auto& raised = dynamic_cast<const NSException&>(exception);
        EXPECT_EQ(raised.name(), "NSInvalidArgumentException");
        EXPECT_EQ(raised.reason(), "too short");
        EXPECT_EQ(std::get<std::int64_t>(raised.userInfo().at("length")), 3);
    }
}

TEST(Foundation_NSException, ACopyKeepsEverything) {
    const NSException copy = NSException("name", "reason", {{"key", 0.5}});
    EXPECT_EQ(copy.name(), "name");
    EXPECT_STREQ(copy.what(), "reason");
    EXPECT_EQ(std::get<double>(copy.userInfo().at("key")), 0.5);
}
