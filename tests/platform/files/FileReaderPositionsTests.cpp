#include "platform/files/writing/FileWriter.h"
#include "platform/samples/ChannelMatrix.h"
#include "tests/platform/files/ReadFile.h"
#include "tests/platform/files/Recordings.h"
#include "tests/platform/samples/Layouts.h"
#include "tests/support/NumberedFiles.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

namespace {

using namespace braq;
using namespace braq::tests;
using ::testing::AnyOf;
using ::testing::IsEmpty;

// Channel maps and layouts in the words of the ffmpeg command.
struct Case {
    std::string map;
    std::string layout;
    ChannelPositions positions;
};

const std::vector<Case>& cases() {
    static const std::vector<Case> all{
        {"0|1", "stereo", stereo},
        {"0|1|2", "2.1", {frontLeft, frontRight, lowFrequency}},
        {"0|1|2", "3.0", {frontLeft, frontRight, frontCenter}},
        {"0|1|2|3", "quad", {frontLeft, frontRight, rearLeft, rearRight}},
        {"0|1|2|3", "quad(side)", {frontLeft, frontRight, sideLeft, sideRight}},
        {"0|1|2|3", "4.0", {frontLeft, frontRight, frontCenter, rearCenter}},
        {"0|1|2|3|4", "5.0", {frontLeft, frontRight, frontCenter, rearLeft, rearRight}},
        {"0|1|2|3|4", "5.0(side)", {frontLeft, frontRight, frontCenter, sideLeft, sideRight}},
        {"0|1|2|3|4|5", "5.1", surround51},
        {"0|1|2|3|4|5", "5.1(side)", surround51Side},
        {"0|1|2|3|4|5|0", "6.1", {frontLeft, frontRight, frontCenter, lowFrequency, rearCenter, sideLeft, sideRight}},
        {"0|1|2|3|4|5|0|1", "7.1", surround71},
        {"0|1|2|3|4|5|0|1",
         "FL+FR+FC+LFE+BL+BR+FLC+FRC", // has no name that is the same in all versions
         {frontLeft, frontRight, frontCenter, lowFrequency, rearLeft, rearRight, frontLeftOfCenter,
          frontRightOfCenter}},
    };
    return all;
}

class FileReader_Positions : public ::testing::Test {
  protected:
    const std::filesystem::path sixChannels = audioFile("six-channel-48k-24.wav");
    TemporaryFolder folder;

    static std::string argumentsFor(const Case& one) {
        return "-af channelmap=map=" + one.map + ":channel_layout=" + one.layout + " ";
    }
    std::filesystem::path make(const Case& one, const std::string& ending, const std::string& arguments) const {
        const auto path = folder.path() / ("file." + ending);
        encode(sixChannels, argumentsFor(one) + arguments, path);
        return path;
    }
    std::filesystem::path pathOf(const Case& one, const std::string& ending) const {
        return folder.path() / (one.layout + "." + ending);
    }
    /// A file of each case, in one go.
    void makeAll(const std::string& ending, const std::string& arguments) const {
        std::vector<Encoding> encodings;
        for (const Case& one : cases()) {
            encodings.push_back({argumentsFor(one) + arguments, pathOf(one, ending)});
        }
        encode(sixChannels, encodings);
    }
    ChannelPositions positionsIn(const std::filesystem::path& path) const {
        return ReadFile(path).reader().clientPositions();
    }
};

TEST_F(FileReader_Positions, AreThoseThatAFileSaysInTheOrderOfItsChannels) {
    const Sound six = ReadFile(sixChannels).readRest();
    makeAll("wav", "-c:a pcm_s24le");
    makeAll("flac", "-sample_fmt s32");
    for (const Case& one : cases()) {
        for (const char* ending : {"wav", "flac"}) {
            SCOPED_TRACE(one.layout + " in " + ending);
            ReadFile file(pathOf(one, ending));
            EXPECT_EQ(file.reader().clientPositions(), one.positions);
            const Sound read = file.readRest();
            ASSERT_EQ(read.size(), one.positions.size());
            for (std::size_t channel = 0; channel < read.size(); ++channel) {
                EXPECT_EQ(read[channel], six[channel % 6]) << "channel " << channel;
            }
        }
    }
}

TEST_F(FileReader_Positions, AreThoseOfTheOtherCodings) {
    const Case surround{"0|1|2|3|4|5", "5.1", surround51};
    EXPECT_EQ(positionsIn(make(surround, "ogg", "-c:a libvorbis")), surround51);
    EXPECT_EQ(positionsIn(make(surround, "opus", "-c:a libopus")), surround51);
    EXPECT_EQ(positionsIn(make(surround, "m4a", "-c:a alac")), surround51);
    EXPECT_EQ(positionsIn(make(surround, "m4a", "-c:a aac")), surround51);
    EXPECT_EQ(positionsIn(make(surround, "aac", "-c:a aac")), surround51);
    EXPECT_THAT(positionsIn(make(surround, "caf", "-c:a pcm_s24le")), AnyOf(surround51, surround51Side))
        << "its description of 5.1 has surround channels, neither at the side nor at the rear";
    const Case quad{"0|1|2|3", "quad", {frontLeft, frontRight, rearLeft, rearRight}};
    EXPECT_EQ(positionsIn(make(quad, "ogg", "-c:a libvorbis")), quad.positions);
    EXPECT_EQ(positionsIn(make(quad, "opus", "-c:a libopus -mapping_family 1")), quad.positions);
}

TEST_F(FileReader_Positions, AreNoneWhereAFileSaysNothing) {
    for (const UInt32 channels : {3U, 4U, 6U, 8U}) {
        writeNumberedFile(folder.path() / "plain.wav", 10, channels);
        EXPECT_THAT(positionsIn(folder.path() / "plain.wav"), IsEmpty()) << channels;
    }
    constexpr UInt32 topFrontLeft = 0x1000;
    writeNumberedFile(folder.path() / "top.wav", 10, 3, 48000, 0x3 | topFrontLeft);
    EXPECT_THAT(positionsIn(folder.path() / "top.wav"), IsEmpty()) << "one has no name here";
    writeNumberedFile(folder.path() / "wrong.wav", 10, 3, 48000, 0x3F);
    EXPECT_THAT(positionsIn(folder.path() / "wrong.wav"), IsEmpty()) << "more loudspeakers than channels";
}

// A comment that is spoiled has the positions of the coding for so many channels.
TEST_F(FileReader_Positions, TakeNoHarmFromASpoiledComment) {
    const Case one{"0|1|2|3", "quad(side)", {frontLeft, frontRight, sideLeft, sideRight}};
    const auto path = make(one, "flac", "-sample_fmt s32");
    const std::string good = bytesOf(path);
    const ChannelPositions quad{frontLeft, frontRight, rearLeft, rearRight};
    const std::size_t key = good.find("WAVEFORMATEXTENSIBLE_CHANNEL_MASK=0x");
    ASSERT_NE(key, std::string::npos);
    EXPECT_EQ(positionsIn(path), one.positions);
    const auto spoilt = [&](std::size_t place, const std::string& by) {
        std::string bytes = good;
        writeBytes(path, bytes.replace(place, by.size(), by));
        return positionsIn(path);
    };
    const std::size_t number = key + std::string("WAVEFORMATEXTENSIBLE_CHANNEL_MASK=0x").size();
    EXPECT_EQ(spoilt(key, "waveformat"), one.positions) << "case does not matter";
    EXPECT_EQ(spoilt(key, "X"), quad);
    EXPECT_EQ(spoilt(number, "zz"), quad);
    EXPECT_EQ(spoilt(number, "7"), quad) << "of another count";
    EXPECT_EQ(spoilt(key - 4, "\xFF\xFF\xFF\xFF"), quad) << "longer than the block";
}

TEST_F(FileReader_Positions, TellHowChannelsAreMixed) {
    makeAll("wav", "-c:a pcm_s24le");
    for (const Case& one : cases()) {
        if (one.positions == stereo) {
            continue;
        }
        SCOPED_TRACE(one.layout);
        ReadFile file(pathOf(one, "wav"));
        const Sound all = file.readAt(0, 1000);
        file.setClient(48000, 2);
        EXPECT_EQ(file.reader().clientPositions(), stereo);
        const Sound mixed = file.readAt(0, 1000);
        const ChannelMatrix matrix(one.positions, stereo, Downmix::scaled);
        for (UInt32 output = 0; output < 2; ++output) {
            for (std::size_t frame = 0; frame < 1000; ++frame) {
                Float32 expected = 0.0F;
                for (UInt32 channel = 0; channel < all.size(); ++channel) {
                    expected += matrix.gain(channel, output) * all[channel][frame];
                }
                ASSERT_NEAR(mixed[output][frame], expected, 1e-6) << "output " << output;
            }
        }
    }
}

TEST_F(FileReader_Positions, AreTheUsualOnesInWhatIsWritten) {
    for (const UInt32 channels : {2U, 3U, 4U, 5U, 6U, 7U, 8U}) {
        const std::string path = (folder.path() / "written.wav").string();
        std::unique_ptr<FileWriter> writer;
        constexpr UInt32 flags = kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked;
        ASSERT_EQ(FileWriter::create(path, kAudioFileWAVEType,
                                     fileFormat(kAudioFormatLinearPCM, flags, 24, channels, 48000), writer),
                  0);
        ASSERT_EQ(writer->setClientFormat(clientFormat(channels, 48000)), 0);
        ASSERT_EQ(writeSignal(*writer, integerNoise(channels, 100, 24)), 0);
        ASSERT_EQ(writer->close(), 0);
        EXPECT_EQ(positionsIn(path), usualPositions(channels)) << channels;
    }
}

} // namespace
