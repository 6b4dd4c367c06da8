#include "tools/braq/shared/ReplaceFile.h"

#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace {

namespace fs = std::filesystem;

class Tool_ReplaceFile : public testing::Test {
  protected:
    std::string pathOf(const std::string& name) const { return (folder.path() / name).string(); }
    static std::string contentOf(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static void write(const std::string& path, const std::string& text) {
        std::ofstream(path, std::ios::binary) << text;
    }
    std::ptrdiff_t filesInFolder() const {
        return std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator());
    }

    braq::tests::TemporaryFolder folder;
};

TEST_F(Tool_ReplaceFile, MakesANewFile) {
    replaceFile(pathOf("new"), std::string("a\0b", 3));
    EXPECT_EQ(contentOf(pathOf("new")), std::string("a\0b", 3));
    EXPECT_EQ(filesInFolder(), 1);
}

TEST_F(Tool_ReplaceFile, TakesThePlaceAndThePermissionsOfAnOldOne) {
    write(pathOf("old"), "something longer");
    fs::permissions(pathOf("old"), fs::perms::owner_read | fs::perms::group_read);
    checkReplaceable(pathOf("old"));
    replaceFile(pathOf("old"), "new");
    EXPECT_EQ(contentOf(pathOf("old")), "new");
    EXPECT_EQ(fs::status(pathOf("old")).permissions(), fs::perms::owner_read | fs::perms::group_read);
    EXPECT_EQ(filesInFolder(), 1);
}

TEST_F(Tool_ReplaceFile, LeavesAloneWhatIsNoRegularFile) {
    write(pathOf("target"), "kept");
    fs::create_symlink("target", pathOf("link"));
    fs::create_symlink("nowhere", pathOf("dangling"));
    fs::create_directory(pathOf("folder"));
    for (const std::string name : {"link", "dangling", "folder"}) {
        EXPECT_THROW(checkReplaceable(pathOf(name)), std::runtime_error) << name;
        EXPECT_THROW(replaceFile(pathOf(name), "x"), std::runtime_error) << name;
    }
    EXPECT_THROW(checkReplaceable("/dev/null"), std::runtime_error);
    EXPECT_TRUE(fs::is_symlink(pathOf("link")));
    EXPECT_TRUE(fs::is_directory(pathOf("folder")));
    EXPECT_EQ(contentOf(pathOf("target")), "kept");
    EXPECT_EQ(filesInFolder(), 4);
}

TEST_F(Tool_ReplaceFile, SaysBeforehandThatThereIsNoSuchFolder) {
    EXPECT_THROW(checkReplaceable(pathOf("none/new")), std::runtime_error);
    EXPECT_THROW(replaceFile(pathOf("none/new"), "x"), std::runtime_error);
    EXPECT_NO_THROW(checkReplaceable(pathOf("new")));
    EXPECT_EQ(filesInFolder(), 0) << "nothing is made for the check";
}

TEST_F(Tool_ReplaceFile, TakesANameWithoutAFolder) {
    const fs::path before = fs::current_path();
    fs::current_path(folder.path());
    EXPECT_NO_THROW(checkReplaceable("here"));
    EXPECT_NO_THROW(replaceFile("here", "x"));
    fs::current_path(before);
    EXPECT_EQ(contentOf(pathOf("here")), "x");
}

} // namespace
