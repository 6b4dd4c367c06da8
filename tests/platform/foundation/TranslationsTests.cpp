#include "BRAQAudio/platform/foundation/NSBundle.h"

#include "tests/platform/foundation/Catalogue.h"
#include "tests/platform/foundation/GermanLocale.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using testing::UnorderedElementsAreArray;

namespace {

const std::vector<std::string> streamDescriptionKeys = {
    "ch",         "bit",           "hz",     "floating-point", "signed-integer", "unsigned-integer",
    "big-endian", "little-endian", "packed", "aligned-high",   "aligned-low"};

std::filesystem::path source(const std::string& name) {
    return std::filesystem::path(BRAQ_TRANSLATIONS) / "StreamDescription" / name;
}

std::vector<std::string> keysOf(const std::map<std::string, std::string>& entries) {
    std::vector<std::string> keys;
    keys.reserve(entries.size());
    for (const auto& [key, text] : entries) {
        keys.push_back(key);
    }
    return keys;
}

} // namespace

TEST(Foundation_Translations, TheTemplateHasExactlyTheKeysThatAreLookedUp) {
    const auto entries = catalogueEntries(source("StreamDescription.pot"));
    EXPECT_THAT(keysOf(entries), UnorderedElementsAreArray(streamDescriptionKeys));
    for (const auto& [key, text] : entries) {
        EXPECT_EQ(text, "") << key;
    }
}

TEST(Foundation_Translations, GermanHasEveryKeyOfTheTemplateAndTheProgramSeesItsTexts) {
    const GermanLocale german;
    ASSERT_TRUE(german.isInForce());
    const auto entries = catalogueEntries(source("de.po"));
    EXPECT_THAT(keysOf(entries), UnorderedElementsAreArray(streamDescriptionKeys));
    for (const auto& [key, text] : entries) {
        EXPECT_NE(text, "") << key;
        EXPECT_NE(text, key);
        EXPECT_EQ(text.find(' '), std::string::npos) << key << ": spaces separate the words of the description";
        EXPECT_EQ(NSBundle::libraryBundle()->localizedString(key, "StreamDescription"), text);
    }
}
