#include "BRAQAudio/platform/foundation/NSBundle.h"

#include "tests/platform/foundation/Catalogue.h"
#include "tests/platform/foundation/GermanLocale.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

const std::string table = "StreamDescription";

std::filesystem::path folderOfProgram() { return std::filesystem::canonical("/proc/self/exe").parent_path(); }

/// Makes a bundle's directory that says `text` for "key" in German.
void writeCatalogue(const std::filesystem::path& directory, const std::string& name, const std::string& text) {
    const auto folder = directory / "de" / "LC_MESSAGES";
    std::filesystem::create_directories(folder);
    const auto source = folder / (name + ".po");
    std::ofstream(source) << "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=ISO-8859-1\\n\"\n"
                          << "msgid \"key\"\nmsgstr \"" << text << "\"\n";
    const auto catalogue = folder / (name + ".mo");
    ASSERT_EQ(std::system(("msgfmt -o '" + catalogue.string() + "' '" + source.string() + "'").c_str()), 0);
}

} // namespace

TEST(Foundation_NSBundle, AMissingEntryYieldsItsKey) {
    const GermanLocale german;
    ASSERT_TRUE(german.isInForce());
    EXPECT_EQ(NSBundle::libraryBundle()->localizedString("no such key", table), "no such key");
    EXPECT_EQ(NSBundle::libraryBundle()->localizedString("bit", "NoSuchTable"), "bit");
    EXPECT_EQ(NSBundle::libraryBundle()->localizedString("bit"), "bit");
    EXPECT_EQ(NSBundle::libraryBundle()->localizedString("bit", ""), "bit");
    EXPECT_EQ(NSBundle::bundleWithLocaleDirectory("/no/such/folder")->localizedString("bit", table), "bit");
}

TEST(Foundation_NSBundle, AnEmptyKeyYieldsItselfAndNotTheHeaderOfTheTable) {
    const GermanLocale german;
    ASSERT_TRUE(german.isInForce());
    EXPECT_EQ(NSBundle::libraryBundle()->localizedString("", table), "");
}

TEST(Foundation_NSBundle, AProgramThatSetsNoLocaleSeesTheKeys) {
    EXPECT_EQ(NSBundle::libraryBundle()->localizedString("aligned-high", table), "aligned-high");
}

TEST(Foundation_NSBundle, TheLibrarysBundleIsFoundBesideTheFolderOfItsCode) {
    const std::filesystem::path found = NSBundle::libraryBundle()->localeDirectory();
    EXPECT_EQ(found.filename(), "locale");
    EXPECT_TRUE(found.parent_path().filename().string().starts_with("BRAQAudio-")) << found;
    EXPECT_EQ(found.parent_path().parent_path(), folderOfProgram().parent_path() / "share");
    EXPECT_EQ(NSBundle::libraryBundle(), NSBundle::libraryBundle());
}

TEST(Foundation_NSBundle, TheMainBundleIsTheProgramsOwn) {
    EXPECT_EQ(NSBundle::mainBundle()->localeDirectory(), folderOfProgram().parent_path() / "share" /
                                                             std::filesystem::canonical("/proc/self/exe").filename() /
                                                             "locale");
    EXPECT_EQ(NSBundle::mainBundle()->localizedString("Device not running"), "Device not running");
}

TEST(Foundation_NSBundle, TheLibrarysOwnTextsComeInGerman) {
    const GermanLocale german;
    ASSERT_TRUE(german.isInForce());
    const auto bundle = NSBundle::libraryBundle();
    EXPECT_EQ(bundle->localizedString("ch", table), "Kan");
    EXPECT_EQ(bundle->localizedString("signed-integer", table), "Ganzzahl-mit-Vorzeichen");
    EXPECT_EQ(bundle->localizedString("aligned-high", table), "linksbündig");
}

TEST(Foundation_NSBundle, TextsAreUTF8WhateverTheTableIsWrittenIn) {
    const braq::tests::TemporaryFolder folder;
    writeCatalogue(folder.path(), "Latin", "B\xFCndel");
    const GermanLocale german;
    ASSERT_TRUE(german.isInForce());
    EXPECT_EQ(NSBundle::bundleWithLocaleDirectory(folder.path())->localizedString("key", "Latin"), "Bündel");
}

TEST(Foundation_NSBundle, TextsAreUTF8WhateverTheLocaleIsEncodedIn) {
    const GermanLocale german("ISO-8859-1");
    ASSERT_TRUE(german.isInForce());
    EXPECT_EQ(NSBundle::libraryBundle()->localizedString("aligned-high", table), "linksbündig");
}

TEST(Foundation_NSBundle, TablesOfOneNameInTwoBundlesDoNotDisturbEachOther) {
    const braq::tests::TemporaryFolder one;
    const braq::tests::TemporaryFolder two;
    writeCatalogue(one.path(), "Shared", "eins");
    writeCatalogue(two.path(), "Shared", "zwei");
    const GermanLocale german;
    ASSERT_TRUE(german.isInForce());
    std::atomic<int> wrong = 0;
    const auto look = [&](const braq::tests::TemporaryFolder& folder, const std::string& text) {
        const auto bundle = NSBundle::bundleWithLocaleDirectory(folder.path());
        for (int round = 0; round < 50; ++round) {
            wrong += bundle->localizedString("key", "Shared") != text ? 1 : 0;
        }
    };
    std::thread other(look, std::cref(one), "eins");
    look(two, "zwei");
    other.join();
    EXPECT_EQ(wrong, 0);
}
