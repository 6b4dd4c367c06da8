#include "BRAQAudio/platform/foundation/BRAQStatus.h"
#include "BRAQAudio/platform/foundation/NSBundle.h"
#include "BRAQAudio/platform/types.h"

#include "tests/platform/foundation/Catalogue.h"
#include "tests/platform/foundation/GermanLocale.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

using testing::Contains;
using testing::UnorderedElementsAreArray;

namespace {

const std::vector<std::string> streamDescriptionKeys = {
    "ch",         "bit",           "hz",     "floating-point", "signed-integer", "unsigned-integer",
    "big-endian", "little-endian", "packed", "aligned-high",   "aligned-low"};

std::filesystem::path source(const std::string& table, const std::string& name) {
    return std::filesystem::path(BRAQ_TRANSLATIONS) / table / name;
}

/// The first group of every match in the sources below a folder of the project.
std::vector<std::string> foundInSources(const std::string& folder, const char* pattern) {
    const std::regex expression(pattern);
    std::vector<std::string> found;
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(std::filesystem::path(BRAQ_TRANSLATIONS) / ".." / folder)) {
        if (!entry.is_regular_file()) {
            continue;
        }
        std::ifstream stream(entry.path());
        const std::string text(std::istreambuf_iterator<char>(stream), {});
        for (std::sregex_iterator match(text.begin(), text.end(), expression); match != std::sregex_iterator();
             ++match) {
            found.push_back((*match)[1]);
        }
    }
    return found;
}

/// The value of a status as a header writes it: a number, or four quoted characters.
OSStatus statusOf(const std::string& value) {
    static const std::regex quoted("[\"']([^\"']+)[\"']");
    std::string code;
    for (std::sregex_iterator match(value.begin(), value.end(), quoted); match != std::sregex_iterator(); ++match) {
        code += (*match)[1];
    }
    UInt32 status = 0;
    for (const char character : code) {
        status = status << 8U | static_cast<unsigned char>(character);
    }
    EXPECT_TRUE(code.empty() || code.size() == 4) << value;
    return code.empty() ? std::stoi(value) : static_cast<OSStatus>(status);
}

/// Every status that the headers name.
std::vector<OSStatus> knownStatuses() {
    std::vector<OSStatus> statuses;
    for (const std::string& value : foundInSources("include", "OSStatus,? k\\w+(?: =|,)\\s*([^;]*);")) {
        statuses.push_back(statusOf(value));
    }
    return statuses;
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
    const auto entries = catalogueEntries(source("StreamDescription", "StreamDescription.pot"));
    EXPECT_THAT(keysOf(entries), UnorderedElementsAreArray(streamDescriptionKeys));
    for (const auto& [key, text] : entries) {
        EXPECT_EQ(text, "") << key;
    }
}

TEST(Foundation_Translations, GermanHasEveryKeyOfTheTemplateAndTheProgramSeesItsTexts) {
    const GermanLocale german;
    ASSERT_TRUE(german.isInForce());
    const auto entries = catalogueEntries(source("StreamDescription", "de.po"));
    EXPECT_THAT(keysOf(entries), UnorderedElementsAreArray(streamDescriptionKeys));
    for (const auto& [key, text] : entries) {
        EXPECT_NE(text, "") << key;
        EXPECT_NE(text, key);
        EXPECT_EQ(text.find(' '), std::string::npos) << key << ": spaces separate the words of the description";
        EXPECT_EQ(NSBundle::libraryBundle()->localizedString(key, "StreamDescription"), text);
    }
}

TEST(Foundation_Translations, EveryStatusOfTheHeadersIsInTheTemplateAndInGerman) {
    const auto statuses = knownStatuses();
    EXPECT_GT(statuses.size(), 50U);
    const auto texts = catalogueEntries(source("StatusDescription", "StatusDescription.pot"));
    const auto entries = catalogueEntries(source("StatusDescription", "de.po"));
    for (const OSStatus status : statuses) {
        const std::string words = BRAQStatusDescription(status);
        EXPECT_TRUE(texts.contains(words)) << status << ": " << words;
        const GermanLocale german;
        EXPECT_EQ(BRAQStatusDescription(status), entries.contains(words) ? entries.at(words) : "") << status;
    }
    const GermanLocale german;
    ASSERT_TRUE(german.isInForce());
    EXPECT_EQ(BRAQStatusDescription(-12345), "unbekannter Fehler -12345");
}

TEST(Foundation_Translations, GermanHasEveryKeyOfTheStatusTemplateAndOthersAreNotThere) {
    const auto texts = catalogueEntries(source("StatusDescription", "StatusDescription.pot"));
    const auto entries = catalogueEntries(source("StatusDescription", "de.po"));
    EXPECT_THAT(keysOf(entries), UnorderedElementsAreArray(keysOf(texts)));
    for (const auto& [key, text] : entries) {
        EXPECT_NE(text, "") << key;
        EXPECT_NE(text, key);
        EXPECT_EQ(text.find_first_of(".%"), std::string::npos) << "a phrase without formats: " << text;
    }
}

TEST(Foundation_Translations, EveryReasonOfTheLibraryIsInTheStatusTemplate) {
    const auto keys = keysOf(catalogueEntries(source("StatusDescription", "StatusDescription.pot")));
    std::vector<std::string> reasons = foundInSources("platform", "noteOwnReason\\(\"([^\"]+)\"");
    for (const char* const pattern :
         {"Reason = \"([^\"]+)\"", "noteOwnReason\\([^;]*\\? \"([^\"]+)\"", "noteOwnReason\\([^;]*: \"([^\"]+)\""}) {
        const auto more = foundInSources("platform", pattern);
        EXPECT_FALSE(more.empty()) << pattern;
        reasons.insert(reasons.end(), more.begin(), more.end());
    }
    EXPECT_GT(reasons.size(), 7U);
    for (const std::string& reason : reasons) {
        EXPECT_THAT(keys, Contains(reason));
    }
}

TEST(Foundation_Translations, SayTheSameAsTheSystemOfAFileThatIsNotThereOrForbidden) {
    EXPECT_EQ(BRAQStatusDescription(-43), "no such file or directory");
    EXPECT_STRCASEEQ(std::strerror(ENOENT), BRAQStatusDescription(-43).c_str());
    EXPECT_STRCASEEQ(std::strerror(EACCES), BRAQStatusDescription(statusOf("'prm?'")).c_str());
}
