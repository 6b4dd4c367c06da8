#include "tools/braq/play/FilesToPlay.h"

#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

class Tool_FilesToPlay : public testing::Test {
  protected:
    std::string path(const std::string& name) const { return (folder.path() / name).string(); }
    std::string write(const std::string& name, const std::string& text = "") const {
        fs::create_directories(fs::path(path(name)).parent_path());
        std::ofstream(path(name), std::ios::binary) << text;
        return path(name);
    }
    /// Without the folder of the test in front.
    std::vector<std::string> found(const std::vector<std::string>& arguments) const {
        const auto found = filesToPlay(arguments);
        EXPECT_THAT(found.troubles, IsEmpty());
        std::vector<std::string> names;
        for (const auto& file : found.files) {
            names.push_back(fs::path(file).lexically_relative(folder.path()).string());
        }
        return names;
    }

    braq::tests::TemporaryFolder folder;
};

TEST_F(Tool_FilesToPlay, FilesAreTheyThemselves) {
    const auto found = filesToPlay({"/no/such/song.flac", "b.wav", "a.wav", "./-"});
    EXPECT_THAT(found.files, ElementsAre("/no/such/song.flac", "b.wav", "a.wav", "./-"));
    EXPECT_THAT(found.troubles, IsEmpty());
}

TEST_F(Tool_FilesToPlay, AHyphenIsTheStandardInputUnlessAListNamesIt) {
    EXPECT_THAT(filesToPlay({"-"}).files, ElementsAre("/dev/stdin"));
    EXPECT_THAT(found({write("list.m3u", "-\n")}), ElementsAre("-"));
}

TEST_F(Tool_FilesToPlay, AFolderIsTheAudioFilesInItInTheOrderOfTheirNames) {
    for (const char* name : {"a/10.flac", "a/2.flac", "a/B.WAV", "a/cover.jpg", "a/.hidden.wav", "a/disc 2/01.mp3",
                             "a/disc 10/01.mp3", "a/.hidden/x.wav", "a/x.m3u", "a/1.ogg"}) {
        write(name);
    }
    EXPECT_THAT(found({path("a")}),
                ElementsAre("a/1.ogg", "a/2.flac", "a/10.flac", "a/B.WAV", "a/disc 2/01.mp3", "a/disc 10/01.mp3"));
}

TEST_F(Tool_FilesToPlay, ALinkBackIntoAFolderEndsThere) {
    write("a/1.wav");
    fs::create_directory_symlink(path("a"), path("a/again"));
    EXPECT_THAT(found({path("a")}), ElementsAre("a/1.wav"));
    fs::create_directory_symlink(path("a"), path("link"));
    EXPECT_THAT(found({path("link")}), ElementsAre("link/1.wav")) << "one that is named is followed";
}

TEST_F(Tool_FilesToPlay, AListIsItsLines) {
    write("music/1.wav");
    const auto list = write("music/list.m3u8", "\xef\xbb\xbf#EXTM3U\r\n#EXTINF:1,One\r\n1.wav\r\n\r\n"
                                               "  ../other.flac \r\n/elsewhere/x.ogg\nfile:///tmp/a%20b.wav\n1.wav");
    const auto found = filesToPlay({list});
    EXPECT_THAT(found.files, ElementsAre(path("music/1.wav"), path("music/../other.flac"), "/elsewhere/x.ogg",
                                         "/tmp/a b.wav", path("music/1.wav")));
    EXPECT_THAT(found.troubles, IsEmpty());
}

TEST_F(Tool_FilesToPlay, AListWithKeysIsInTheOrderOfItsNumbers) {
    const auto list = write("list.PLS", "[playlist]\nNumberOfEntries=3\nFile10=c.wav\nFile2=b=2.wav\nTitle2=B\n"
                                        "file1=a.wav\nLength1=-1\nFiles=no.wav\nFile=no.wav\nVersion=2\n");
    EXPECT_THAT(found({list}), ElementsAre("a.wav", "b=2.wav", "c.wav"));
}

TEST_F(Tool_FilesToPlay, AListMayNameFoldersAndComeFromAnotherSystem) {
    write("album/1.wav");
    write("album/2.wav");
    EXPECT_THAT(found({write("list.m3u", "album\nalbum\\2.wav\n")}),
                ElementsAre("album/1.wav", "album/2.wav", "album/2.wav"));
}

TEST_F(Tool_FilesToPlay, WhatHoldsNothingIsToldOf) {
    fs::create_directory(path("empty"));
    write("pictures/cover.jpg");
    const auto found = filesToPlay({path("empty"), "a.wav", path("pictures"), path("none.m3u"),
                                    write("empty.m3u", "#EXTM3U\n"), write("empty.pls", "[playlist]\n")});
    EXPECT_THAT(found.files, ElementsAre("a.wav"));
    EXPECT_THAT(found.troubles, ElementsAre(path("empty") + ": there are no audio files in this folder",
                                            path("pictures") + ": there are no audio files in this folder",
                                            path("none.m3u") + ": No such file or directory",
                                            path("empty.m3u") + ": there are no files in this list",
                                            path("empty.pls") + ": there are no files in this list"));
}

TEST_F(Tool_FilesToPlay, NumbersInNamesCountAsSuch) {
    EXPECT_TRUE(comesBefore("2", "10"));
    EXPECT_FALSE(comesBefore("10", "2"));
    EXPECT_TRUE(comesBefore("a2b", "a10a"));
    EXPECT_TRUE(comesBefore("Track 9", "track 10"));
    EXPECT_TRUE(comesBefore("99999999999999999999998", "99999999999999999999999"));
    EXPECT_TRUE(comesBefore("a", "ab"));
    EXPECT_FALSE(comesBefore("a", "a"));
    EXPECT_NE(comesBefore("01", "1"), comesBefore("1", "01")) << "one of them is first";
    EXPECT_NE(comesBefore("A", "a"), comesBefore("a", "A"));
}

} // namespace
