#include "tests/platform/files/ReadFile.h"
#include "tests/support/AsNobody.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/NumberedFiles.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <cmath>

namespace {

using namespace braq::tests;
using ::testing::Contains;
using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::SizeIs;

class FileReader_BadFiles : public ::testing::Test {
  protected:
    std::filesystem::path file(const std::string& name) const { return mFolder.path() / name; }
    std::filesystem::path folder() const { return mFolder.path(); }
    // Of a file of the project, changed.
    std::filesystem::path changed(const std::string& name, const std::string& bytes) const {
        writeBytes(file(name), bytes);
        return file(name);
    }
    std::filesystem::path cut(const std::string& name, double part) const {
        const std::string bytes = bytesOf(audioFile(name));
        return changed(name, bytes.substr(0, static_cast<std::size_t>(static_cast<double>(bytes.size()) * part)));
    }

  private:
    TemporaryFolder mFolder;
};

TEST_F(FileReader_BadFiles, AreRefusedWithTheirNameInWhatIsLogged) {
    const CapturedLog log;
    for (const char* name :
         {"bad-empty.wav", "bad-header-only.wav", "bad-no-moov.m4a", "bad-noise.mp3", "bad-text.wav"}) {
        EXPECT_EQ(statusOfOpening(audioFile(name)), kAudioFileInvalidFileError) << name;
    }
    EXPECT_THAT(log.lines(), Contains(HasSubstr("bad-no-moov.m4a"))) << "what has no index is said to have none";
    EXPECT_THAT(log.lines(), Each(HasSubstr("bad-")));
}

TEST_F(FileReader_BadFiles, AreNotFoundWhereThereAreNone) {
    EXPECT_EQ(statusOfOpening(file("none.wav")), kAudioFileFileNotFoundError);
    EXPECT_EQ(statusOfOpening(file("none/none.wav")), kAudioFileFileNotFoundError);
    EXPECT_EQ(statusOfOpening(audioFile("lossy-cbr.mp3") / "none.wav"), kAudioFileFileNotFoundError);
    EXPECT_EQ(statusOfOpening(""), kAudioFileFileNotFoundError);
}

TEST_F(FileReader_BadFiles, MayHaveLongNames) {
    EXPECT_EQ(statusOfOpening(file(std::string(4000, 'x'))), kAudioFileFileNotFoundError);
    EXPECT_EQ(statusOfOpening(std::string(100000, 'x')), kAudioFileFileNotFoundError);
    // One that is allowed, made of folders.
    std::filesystem::path deep = folder();
    while (deep.string().size() < 3700) {
        deep /= std::string(200, 'd');
    }
    std::filesystem::create_directories(deep);
    const auto good = deep / "good.wav";
    std::filesystem::copy_file(audioFile("mono-22k-16.wav"), good);
    EXPECT_EQ(ReadFile(good).length(), 88200);
    const CapturedLog log;
    const auto bad = deep / "bad.m4a";
    std::filesystem::copy_file(audioFile("bad-no-moov.m4a"), bad);
    EXPECT_EQ(statusOfOpening(bad), kAudioFileInvalidFileError);
    EXPECT_THAT(log.lines(), Each(HasSubstr(bad.string())));
}

TEST_F(FileReader_BadFiles, AreNeitherFoldersNorDevicesNorPipes) {
    EXPECT_EQ(statusOfOpening(folder()), kAudioFileUnspecifiedError);
    EXPECT_EQ(statusOfOpening("/dev/zero"), kAudioFileUnspecifiedError);
    EXPECT_EQ(statusOfOpening("/dev/null"), kAudioFileUnspecifiedError);
    ASSERT_EQ(::mkfifo(file("pipe.wav").c_str(), 0600), 0);
    EXPECT_EQ(statusOfOpening(file("pipe.wav")), kAudioFileUnspecifiedError); // and nobody waits for a writer
}

TEST_F(FileReader_BadFiles, AreRefusedWithoutPermission) {
    const auto path = file("secret.wav");
    std::filesystem::copy_file(audioFile("mono-22k-16.wav"), path);
    ASSERT_EQ(::chmod(path.c_str(), 0), 0);
    ASSERT_EQ(::chmod(folder().c_str(), 0755), 0); // so that it is the file that is refused
    const AsNobody nobody;
    EXPECT_EQ(statusOfOpening(path), kAudioFilePermissionsError);
}

TEST_F(FileReader_BadFiles, OpenNoOtherFile) {
    const std::string wave = audioFile("mono-22k-16.wav").string();
    for (const std::string& text :
         {"#EXTM3U\n#EXTINF:4,\n" + wave + "\n", "ffconcat version 1.0\nfile '" + wave + "'\n", wave,
          "[playlist]\nFile1=" + wave + "\nNumberOfEntries=1\n",
          R"(<?xml version="1.0"?><MPD xmlns="urn:mpeg:dash:schema:mpd:2011"><BaseURL>)" + wave + "</BaseURL></MPD>"}) {
        const CapturedLog log;
        EXPECT_EQ(statusOfOpening(changed("list.wav", text)), kAudioFileInvalidFileError) << text;
    }
}

std::string bigEndianNumber(std::size_t value, int bytes) {
    std::string text;
    for (int i = bytes - 1; i >= 0; --i) {
        text += static_cast<char>(value >> (8 * i));
    }
    return text;
}

// Puts a reference to another file in the place of the one that says that a movie's samples are in the movie. The samples
// come first in such files, so that their places stay what they are.
std::string withSamplesElsewhere(std::string movie, const std::string& path) {
    // What a reference of this kind has before its list of names: volume, file, and much that does not count here.
    std::string alias(150, '\0');
    alias += bigEndianNumber(2, 2) + bigEndianNumber(path.size(), 2) + path +
             (path.size() % 2 == 0 ? "" : std::string(1, '\0'));
    alias += bigEndianNumber(0xFFFF, 2) + bigEndianNumber(0, 2);
    const std::string inMovie = bigEndianNumber(12, 4) + "url " + bigEndianNumber(1, 4);
    const std::string elsewhere = bigEndianNumber(12 + alias.size(), 4) + "alis" + bigEndianNumber(0, 4) + alias;
    const std::size_t place = movie.find(inMovie);
    for (const char* atom : {"moov", "trak", "mdia", "minf", "dinf", "dref"}) {
        const std::size_t size = movie.rfind(atom, place) - 4;
        std::size_t bytes = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            bytes = bytes << 8 | static_cast<unsigned char>(movie[size + i]);
        }
        movie.replace(size, 4, bigEndianNumber(bytes + alias.size(), 4));
    }
    return movie.replace(place, inMovie.size(), elsewhere);
}

TEST_F(FileReader_BadFiles, AreMoviesOfSamplesElsewhere) {
    for (const char* codec : {"pcm_s16le", "aac"}) {
        const auto movie = file("movie.mov");
        encode(audioFile("mono-22k-16.wav"), std::string("-c:a ") + codec, movie);
        ASSERT_EQ(ReadFile(movie).length(), 88200);
        const CapturedLog log;
        const auto path = changed("elsewhere.mov", withSamplesElsewhere(bytesOf(movie), movie.string()));
        EXPECT_EQ(statusOfOpening(path), kAudioFileInvalidFileError);
        EXPECT_THAT(log.lines(), Contains(HasSubstr("external")));
    }
}

TEST_F(FileReader_BadFiles, PlayUpToWhereTheyAreCut) {
    struct Case {
        const char* name;
        SInt64 least; // frames of about half of the file
        SInt64 most;
    };
    for (const Case& expected :
         {Case{"reference-44k-stereo-16.wav", 88000, 88200}, Case{"same-as-reference-16.aiff", 88000, 88200},
          Case{"same-as-reference-16.flac", 70000, 110000}, Case{"lossy-cbr.mp3", 80000, 90000},
          Case{"lossy-vbr.mp3", 60000, 110000}, Case{"lossy-aac.aac", 70000, 110000},
          Case{"lossy-vorbis.ogg", 60000, 110000}, Case{"lossy-opus.opus", 70000, 120000}}) {
        SCOPED_TRACE(expected.name);
        const Sound whole = ReadFile(audioFile(expected.name)).readRest();
        ReadFile file(cut(expected.name, 0.5));
        EXPECT_GE(file.length(), expected.least);
        EXPECT_LE(file.length(), expected.most);
        const Sound all = file.readRest();
        EXPECT_EQ(frames(all), file.length());
        EXPECT_EQ(largestDifference(all, part(whole, 0, frames(all))), 0);
        const SInt64 late = file.length() - 1000;
        EXPECT_EQ(largestDifference(file.readAt(late, 5000), part(whole, late, 1000)), 0);
    }
}

TEST_F(FileReader_BadFiles, PlayUpToWhereTheyAreCutWhenTheTablesComeFirst) {
    for (const char* codec : {"aac", "alac"}) {
        encode(audioFile("reference-44k-stereo-16.wav"), std::string("-movflags +faststart -c:a ") + codec,
               file("first.m4a"));
        const Sound whole = ReadFile(file("first.m4a")).readRest();
        const std::string bytes = bytesOf(file("first.m4a"));
        ReadFile half(changed("half.m4a", bytes.substr(0, bytes.size() / 2)));
        EXPECT_GT(half.length(), 50000);
        EXPECT_LT(half.length(), 120000);
        EXPECT_EQ(largestDifference(half.readRest(), part(whole, 0, half.length())), 0);
    }
}

TEST_F(FileReader_BadFiles, IsTheTruncatedOneOfTheProjectUpToItsLastWholePacket) {
    ReadFile file(audioFile("bad-truncated.flac"));
    const Sound whole = ReadFile(audioFile("reference-44k-stereo-16.wav")).readRest();
    EXPECT_EQ(file.length(), 8192);
    EXPECT_EQ(largestDifference(file.readRest(), part(whole, 0, 8192)), 0);
}

TEST_F(FileReader_BadFiles, OfAnyCutLengthAreRefusedOrPlayWhatTheyHave) {
    const CapturedLog log;
    for (const char* name :
         {"reference-44k-stereo-16.wav", "same-as-reference-16.caf", "same-as-reference-16.flac",
          "same-as-reference-alac.m4a", "lossy-cbr.mp3", "lossy-aac.aac", "lossy-vorbis.ogg", "lossy-opus.opus"}) {
        SCOPED_TRACE(name);
        const std::string bytes = bytesOf(audioFile(name));
        for (std::size_t length = 1; length < 20000; length += length < 200 ? 3 : 977) {
            std::unique_ptr<braq::FileReader> reader;
            const auto path = changed("cut", bytes.substr(0, length));
            if (braq::FileReader::open(path.string(), reader) == 0) {
                ReadFile file(path);
                EXPECT_EQ(frames(file.readRest()), file.length()) << length;
            }
        }
    }
}

TEST_F(FileReader_BadFiles, ThatShrinkWhileTheyAreReadYieldFewerFramesAndOneLine) {
    for (const char* name :
         {"reference-44k-stereo-16.wav", "same-as-reference-16.flac", "same-as-reference-alac.m4a", "lossy-aac.m4a",
          "lossy-cbr.mp3", "lossy-aac.aac", "lossy-vorbis.ogg", "lossy-opus.opus"}) {
        SCOPED_TRACE(name);
        const bool isFlac = std::string(name).ends_with("flac"); // more of it than the reader has in memory at once
        encode(audioFile(name), isFlac ? "-filter_complex [0][0][0][0]concat=n=4:v=0:a=1" : "-c copy", file(name));
        const auto path = file(name);
        const CapturedLog log;
        ReadFile file(path);
        EXPECT_EQ(frames(file.read(1000)), 1000);
        std::filesystem::resize_file(path, 10000);
        EXPECT_LT(frames(file.readRest()), file.length() - 1000);
        EXPECT_EQ(frames(file.readAt(file.length() - 500, 500)), 0);
        EXPECT_EQ(frames(file.read(500)), 0);
        ASSERT_THAT(log.errors(), SizeIs(1));
        EXPECT_THAT(log.errors().front(), HasSubstr(path.string()));
    }
}

TEST_F(FileReader_BadFiles, ThatVanishWhileTheyAreReadArePlayedToTheEnd) {
    const auto path = changed("vanishes.flac", bytesOf(audioFile("same-as-reference-16.flac")));
    ReadFile file(path);
    std::filesystem::remove(path);
    EXPECT_EQ(frames(file.readRest()), 176400);
}

// What is lost is silence; everything else is where it was.
TEST_F(FileReader_BadFiles, KeepTheirPlacesAroundDamage) {
    for (const char* name : {"same-as-reference-16.flac", "same-as-reference-alac.m4a", "lossy-vorbis.ogg"}) {
        SCOPED_TRACE(name);
        std::string bytes = bytesOf(audioFile(name));
        const Sound whole = ReadFile(audioFile(name)).readRest();
        const auto middle = static_cast<std::ptrdiff_t>(bytes.size() / 2);
        std::fill(bytes.begin() + middle, bytes.begin() + middle + 12000, '\x55');
        const CapturedLog log;
        ReadFile file(changed(name, bytes));
        EXPECT_EQ(file.length(), 176400);
        const Sound damaged = file.readRest();
        ASSERT_EQ(frames(damaged), 176400);
        EXPECT_EQ(largestDifference(part(damaged, 0, 40000), part(whole, 0, 40000)), 0);
        EXPECT_EQ(largestDifference(part(damaged, 130000, 46400), part(whole, 130000, 46400)), 0);
        EXPECT_GT(largestDifference(damaged, whole), 0.01);
        EXPECT_THAT(log.errors(), SizeIs(1));
        for (const SInt64 place : {30000, 88200, 150000}) {
            EXPECT_EQ(largestDifference(file.readAt(place, 3000), part(damaged, place, 3000)), 0) << place;
        }
        EXPECT_THAT(log.errors(), SizeIs(1));
    }
}

TEST_F(FileReader_BadFiles, AreNotThoseThatAreEmptyButWhole) {
    encode(audioFile("mono-22k-16.wav"), "-t 0", file("empty.wav"));
    const CapturedLog log; // libav warns that there is nothing to look at
    ReadFile empty(file("empty.wav"));
    EXPECT_EQ(empty.length(), 0);
    EXPECT_EQ(frames(empty.read(100)), 0);
}

TEST_F(FileReader_BadFiles, MayHaveAnyName) {
    const auto path = changed("sound.txt", bytesOf(audioFile("lossy-cbr.mp3")));
    EXPECT_EQ(ReadFile(path).reader().fileType(), kAudioFileMP3Type);
}

TEST_F(FileReader_BadFiles, MayBeginAndEndWithTags) {
    const std::string sound = bytesOf(audioFile("lossy-aac.aac"));
    const std::string leading = std::string("ID3\4\0\0\0\0\2\0", 10) + std::string(256, '\xFF');
    const std::string trailing = "TAG" + std::string(125, '\xFF');
    const auto path = changed("tagged.aac", leading + sound + trailing);
    const Sound whole = ReadFile(audioFile("lossy-aac.aac")).readRest();
    EXPECT_EQ(largestDifference(ReadFile(path).readRest(), whole), 0);
}

} // namespace
