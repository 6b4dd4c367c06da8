#include "BRAQAudio/platform/foundation/NSURL.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

TEST(Foundation_URL, OfAPathKeepsThePathAndEncodesTheText) {
    const auto url = NSURL::fileURLWithPath("/music/Björk 100%#1?.wav");
    EXPECT_TRUE(url->isFileURL());
    EXPECT_EQ(url->path(), "/music/Björk 100%#1?.wav");
    EXPECT_EQ(url->absoluteString(), "file:///music/Bj%C3%B6rk%20100%25%231%3F.wav");
}

TEST(Foundation_URL, OfARelativePathLiesInTheWorkingDirectory) {
    const auto url = NSURL::fileURLWithPath("a b.wav");
    EXPECT_EQ(url->path(), std::filesystem::current_path().string() + "/a b.wav");
}

TEST(Foundation_URL, DecodesAWrittenFileURL) {
    for (const char* text : {"file:///tmp/a%20b%C3%A4.wav", "file://localhost/tmp/a%20b%c3%a4.wav",
                             "FILE:/tmp/a%20b%C3%A4.wav", "file:///tmp/a%20b%C3%A4.wav#t=3"}) {
        const auto url = NSURL::urlWithString(text);
        ASSERT_NE(url, nullptr) << text;
        EXPECT_TRUE(url->isFileURL()) << text;
        EXPECT_EQ(url->path(), "/tmp/a bä.wav") << text;
        EXPECT_EQ(url->absoluteString(), text);
    }
}

TEST(Foundation_URL, DecodesTheLastCharacter) { EXPECT_EQ(NSURL::urlWithString("file:///%41%42")->path(), "/AB"); }

TEST(Foundation_URL, KnowsWhatIsNoLocalFile) {
    for (const char* text : {"http://example.org/a.wav", "file://server/share/a.wav", "file:relative.wav",
                             "data:audio/wav;base64,AAAA", "file:///tmp/a%00b.wav"}) {
        const auto url = NSURL::urlWithString(text);
        ASSERT_NE(url, nullptr) << text;
        EXPECT_FALSE(url->isFileURL()) << text;
        EXPECT_EQ(url->path(), "") << text;
    }
}

TEST(Foundation_URL, OfAPathThatNoFileCanHaveIsNoFileURL) {
    const auto url = NSURL::fileURLWithPath(std::string("/tmp/a.wav\0.txt", 15));
    EXPECT_FALSE(url->isFileURL());
    EXPECT_EQ(url->path(), "");
    EXPECT_EQ(url->absoluteString(), "file:///tmp/a.wav%00.txt");
}

TEST(Foundation_URL, IsNotMadeOfWhatIsNoURL) {
    for (const char* text :
         {"", "/tmp/a.wav", ":x", "1ab:x", "file:///a%2", "file:///a%", "file:///a%zz", "no scheme:x"}) {
        EXPECT_EQ(NSURL::urlWithString(text), nullptr) << text;
    }
}

TEST(Foundation_URL, EqualsOneThatIsWrittenTheSame) {
    const auto one = NSURL::fileURLWithPath("/tmp/a.wav");
    EXPECT_TRUE(one->isEqual(NSURL::urlWithString("file:///tmp/a.wav").get()));
    EXPECT_FALSE(one->isEqual(NSURL::fileURLWithPath("/tmp/b.wav").get()));
    EXPECT_FALSE(one->isEqual(nullptr));
}

} // namespace
