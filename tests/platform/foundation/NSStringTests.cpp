#include "BRAQAudio/platform/foundation/NSString.h"

#include "BRAQAudio/platform/foundation/NSException.h"
#include "tests/platform/foundation/GermanLocale.h"

#include <gtest/gtest.h>

#include <locale.h>

#include <cstdio>

TEST(Foundation_NSString, FormatsAsPrintfDoes) {
    EXPECT_EQ(NSStringWithFormat("%d %s %.2f %4.4s|%5d|%-5d|%%", -3, "text", 44100.0, "abcdef", 7, 8),
              "-3 text 44100.00 abcd|    7|8    |%");
    EXPECT_EQ(NSStringWithFormat("%s", ""), "");
}

TEST(Foundation_NSString, TextsMayHaveAnyLength) {
    for (const std::size_t length : {255U, 256U, 257U, 4096U, 1U << 20}) {
        const std::string text(length, 'x');
        EXPECT_EQ(NSStringWithFormat("<%s>", text.c_str()), '<' + text + '>');
    }
}

TEST(Foundation_NSString, KeepsZeroCharacters) { EXPECT_EQ(NSStringWithFormat("a%cb", 0), std::string("a\0b", 3)); }

TEST(Foundation_NSString, KeepsTheBytesOfUTF8) {
    EXPECT_EQ(NSStringWithFormat("%s|%.2s", "Gerät ♪", "ü"), "Gerät ♪|ü");
}

TEST(Foundation_NSString, ADecimalPointStaysAPointWhereTheUsersLanguageHasAComma) {
    const GermanLocale german;
    ASSERT_TRUE(german.isInForce());
    char asGerman[16];
    std::snprintf(asGerman, sizeof asGerman, "%.1f", 0.5);
    ASSERT_STREQ(asGerman, "0,5"); // the locale is there and has a comma
    EXPECT_EQ(NSStringWithFormat("%.2f", 44100.0), "44100.00");
    std::snprintf(asGerman, sizeof asGerman, "%.1f", 0.5);
    EXPECT_STREQ(asGerman, "0,5"); // and is in force again
}

TEST(Foundation_NSString, ALocaleOfTheCallingThreadIsInForceAgainAfterwards) {
    const locale_t mine = ::newlocale(LC_ALL_MASK, "C.UTF-8", nullptr);
    ASSERT_NE(mine, nullptr);
    const locale_t previous = ::uselocale(mine);
    EXPECT_EQ(NSStringWithFormat("%.1f", 0.5), "0.5");
    EXPECT_EQ(::uselocale(nullptr), mine);
    EXPECT_THROW(static_cast<void>(NSStringWithFormat("%ls", L"\u00e4")), NSException);
    EXPECT_EQ(::uselocale(nullptr), mine);
    ::uselocale(previous);
    ::freelocale(mine);
}

TEST(Foundation_NSString, AnArgumentWithoutATextIsRaised) {
    try {
        static_cast<void>(NSStringWithFormat("<%ls>", L"\u00e4"));
        FAIL() << "nothing was raised";
    } catch (const NSException& exception) {
        EXPECT_EQ(exception.name(), NSInvalidArgumentException);
    }
}
