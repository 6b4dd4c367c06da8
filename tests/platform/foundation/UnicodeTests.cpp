#include "platform/foundation/Unicode.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

using braq::utf16FromUTF8;
using braq::utf8FromUTF16;
using braq::wellFormedUTF8;

TEST(Foundation_Unicode, ConvertsEveryCodePointBothWays) {
    for (char32_t point = 0; point <= 0x10FFFF; ++point) {
        if (point >= 0xD800 && point <= 0xDFFF) {
            continue;
        }
        const std::u16string expected = point < 0x10000
                                            ? std::u16string{static_cast<char16_t>(point)}
                                            : std::u16string{static_cast<char16_t>(0xD7C0 + (point >> 10)),
                                                             static_cast<char16_t>(0xDC00 | (point & 0x3FF))};
        const std::string utf8 = utf8FromUTF16(expected);
        ASSERT_EQ(utf8.size(), point < 0x80      ? 1U
                               : point < 0x800   ? 2U
                               : point < 0x10000 ? 3U
                                                 : 4U)
            << static_cast<unsigned long>(point);
        ASSERT_EQ(utf16FromUTF8(utf8), expected) << static_cast<unsigned long>(point);
        ASSERT_EQ(wellFormedUTF8(utf8), utf8) << static_cast<unsigned long>(point);
    }
}

TEST(Foundation_Unicode, KnownTextsOfEachLength) {
    EXPECT_EQ(utf16FromUTF8("a\u00fc\u266a\U0001F3B5"), u"a\u00fc\u266a\U0001F3B5");
    EXPECT_EQ(utf8FromUTF16(u"a\u00fc\u266a\U0001F3B5"), "a\xC3\xBC\xE2\x99\xAA\xF0\x9F\x8E\xB5");
    EXPECT_EQ(utf16FromUTF8(""), u"");
    EXPECT_EQ(utf8FromUTF16(u""), "");
    EXPECT_EQ(utf16FromUTF8(std::string_view("\0", 1)), std::u16string(1, u'\0'));
}

TEST(Foundation_Unicode, IllFormedUTF8BecomesReplacementsAndTheRestIsKept) {
    const std::vector<std::pair<std::string, std::u16string>> cases = {
        {"a\x80z", u"a\uFFFDz"},                           // continues nothing
        {"a\xFFz", u"a\uFFFDz"},                           // never occurs
        {"\xC0\xAF", u"\uFFFD\uFFFD"},                     // overlong
        {"\xE0\x9F\xBF", u"\uFFFD\uFFFD\uFFFD"},           // overlong
        {"\xF0\x8F\xBF\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD"}, // overlong
        {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},           // a surrogate
        {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"}, // above U+10FFFF
        {"\xC3", u"\uFFFD"},                               // cut off
        {"\xE2\x99", u"\uFFFD"},
        {"\xF0\x9F\x8E", u"\uFFFD"},
        {"\xE2\x99z", u"\uFFFDz"},
        {"\xF0\x9F\xC3\xBC", u"\uFFFD\u00fc"},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(utf16FromUTF8(text), expected) << testing::PrintToString(text);
        EXPECT_EQ(wellFormedUTF8(text), utf8FromUTF16(expected)) << testing::PrintToString(text);
    }
}

TEST(Foundation_Unicode, UnpairedSurrogatesBecomeReplacements) {
    EXPECT_EQ(utf8FromUTF16(std::u16string{u'a', char16_t{0xD83C}}), "a\uFFFD");
    EXPECT_EQ(utf8FromUTF16(std::u16string{char16_t{0xD83C}, u'z'}), "\uFFFDz");
    EXPECT_EQ(utf8FromUTF16(std::u16string{char16_t{0xDFB5}, u'z'}), "\uFFFDz");
    EXPECT_EQ(utf8FromUTF16(std::u16string{char16_t{0xD83C}, char16_t{0xD83C}, char16_t{0xDFB5}}), "\uFFFD\U0001F3B5");
}
