#include "platform/foundation/LocaleDirectory.h"

#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstdio>

TEST(Foundation_LocaleDirectory, CodeOfTheProgramIsInTheProgramsFile) {
    const auto* code = reinterpret_cast<const void*>(&braq::fileOfCode);
    EXPECT_EQ(braq::fileOfCode(code), std::filesystem::canonical("/proc/self/exe"));
    EXPECT_EQ(braq::fileOfProgram(), std::filesystem::canonical("/proc/self/exe"));
}

TEST(Foundation_LocaleDirectory, CodeOfASharedLibraryIsInTheLibrarysFile) {
    void* library = ::dlopen("libc.so.6", RTLD_LAZY | RTLD_NOLOAD);
    ASSERT_NE(library, nullptr);
    const auto file = braq::fileOfCode(::dlsym(library, "qsort"));
    EXPECT_TRUE(std::filesystem::is_regular_file(file)) << file;
    EXPECT_EQ(file.filename().string().substr(0, 4), "libc");
    ::dlclose(library);
}

TEST(Foundation_LocaleDirectory, AnAddressOfNoCodeHasNoFile) {
    const int onTheStack = 0;
    EXPECT_EQ(braq::fileOfCode(&onTheStack), "");
}

TEST(Foundation_LocaleDirectory, LiesInShareBesideTheFolderOfTheFile) {
    EXPECT_EQ(braq::localeDirectoryBeside("/opt/player/bin/player", "player"), "/opt/player/share/player/locale");
}

TEST(Foundation_LocaleDirectory, TheLibrarysIsBesideItWhereThatFolderExistsElseTheInstalledOne) {
    const braq::tests::TemporaryFolder folder;
    const auto library = folder.path() / "lib" / "library.so";
    const std::filesystem::path installed = "/usr/share/Library-2/locale";
    std::filesystem::create_directories(folder.path() / "share/Library-1/locale"); // of another version
    EXPECT_EQ(braq::libraryLocaleDirectory(library, installed), installed);
    std::filesystem::create_directories(folder.path() / "share/Library-2/locale");
    EXPECT_EQ(braq::libraryLocaleDirectory(library, installed), folder.path() / "share/Library-2/locale");
    EXPECT_EQ(braq::libraryLocaleDirectory("", installed), installed);
}
