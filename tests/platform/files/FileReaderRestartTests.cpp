#include "tests/platform/files/ReadFile.h"
#include "tests/support/NumberedFiles.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

// Files long enough for decoders that start anew from time to time, or need not: every frame is the same from wherever it is
// come to.

namespace {

using namespace braq::tests;

// Where decoders start anew, in frames of the packets.
constexpr SInt64 aacStretch = SInt64{1536} * 1024;
constexpr SInt64 opusStretch = SInt64{36} * 48000;
constexpr SInt64 longestPriming = 4096;

class FileReader_Restarts : public testing::Test {
  protected:
    // 80 seconds.
    static void SetUpTestSuite() {
        folder = std::make_unique<TemporaryFolder>();
        encode(audioFile("reference-44k-stereo-16.wav"), "-filter_complex aloop=loop=19:size=176400",
               folder->path() / "source.wav");
        encode(folder->path() / "source.wav",
               {{"-c:a aac", folder->path() / "aac.m4a"},
                {"-ar 48000 -c:a libopus -b:a 96k", folder->path() / "music.opus"},
                {"-ar 48000 -c:a libopus -b:a 64k", folder->path() / "music.mp4"},
                {"-ar 48000 -ac 1 -c:a libopus -b:a 12k -application voip", folder->path() / "speech.opus"},
                {"-ar 48000 -ac 1 -t 7 -c:a libopus -b:a 64k", folder->path() / "part-music.opus"},
                {"-ar 48000 -ac 1 -t 5 -c:a libopus -b:a 12k -application voip", folder->path() / "part-speech.opus"}});
        std::string list = "ffconcat version 1.0\n";
        for (int i = 0; i < 7; ++i) {
            list += "file part-music.opus\nfile part-speech.opus\n";
        }
        writeBytes(folder->path() / "mixed.txt", list);
        encode(folder->path() / "mixed.txt", "-c copy", folder->path() / "mixed.opus");
    }
    static void TearDownTestSuite() { folder.reset(); }

    static void expectSameFramesFromAnywhere(const std::string& name, SInt64 stretch) {
        SCOPED_TRACE(name);
        const std::filesystem::path path = folder->path() / name;
        const Sound all = ReadFile(path).readRest();
        ASSERT_GT(frames(all), 2 * stretch);
        ReadFile file(path);
        std::mt19937 random(static_cast<unsigned>(name.size()));
        std::uniform_int_distribution<SInt64> anywhere(0, frames(all) - 1);
        std::uniform_int_distribution<SInt64> nearby(-longestPriming, longestPriming);
        std::vector<SInt64> places;
        for (int i = 0; i < 20; ++i) {
            places.push_back(anywhere(random));
            places.push_back(stretch * (1 + i % 2) + nearby(random));
        }
        for (const SInt64 place : places) {
            constexpr UInt32 count = 10000;
            ASSERT_EQ(largestDifference(file.readAt(place, count), part(all, place, count)), 0) << "at " << place;
        }
    }

    static inline std::unique_ptr<TemporaryFolder> folder;
};

TEST_F(FileReader_Restarts, DeliverTheSameFramesOfAacFromAnywhere) {
    expectSameFramesFromAnywhere("aac.m4a", aacStretch);
}

TEST_F(FileReader_Restarts, DeliverTheSameFramesOfOpusMusicFromAnywhere) {
    expectSameFramesFromAnywhere("music.opus", opusStretch);
    expectSameFramesFromAnywhere("music.mp4", opusStretch);
}

TEST_F(FileReader_Restarts, DeliverTheSameFramesOfOpusSpeechFromAnywhere) {
    expectSameFramesFromAnywhere("speech.opus", opusStretch);
}

TEST_F(FileReader_Restarts, DeliverTheSameFramesOfOpusMusicAndSpeechInTurnsFromAnywhere) {
    expectSameFramesFromAnywhere("mixed.opus", opusStretch);
}

// What a decoder without restarts delivers: nothing is lost by starting anew, but for what speech keeps of its past.
TEST_F(FileReader_Restarts, AreNotThereInOpusMusic) {
    const Sound all = ReadFile(folder->path() / "music.opus").readRest();
    const std::vector<Float32> expected = decodedByCommand(folder->path() / "music.opus", folder->path());
    ASSERT_GE(static_cast<SInt64>(expected.size()), 2 * frames(all));
    double difference = 0;
    for (std::size_t i = 0; i < all[0].size(); ++i) {
        for (std::size_t channel = 0; channel < 2; ++channel) {
            difference = std::max<double>(difference, std::abs(all[channel][i] - expected[2 * i + channel]));
        }
    }
    EXPECT_LE(difference, commandTolerance);
}

} // namespace
