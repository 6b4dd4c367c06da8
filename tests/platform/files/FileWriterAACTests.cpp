#include "platform/files/writing/FileWriter.h"

#include "tests/platform/files/DecodedFile.h"
#include "tests/platform/files/Recordings.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>

#include <limits>

namespace {

using namespace braq::tests;
using braq::FileWriter;
using testing::IsEmpty;

class Files_FileWriterAAC : public testing::Test {
  protected:
    std::unique_ptr<FileWriter> create(AudioFileTypeID type, UInt32 channels, Float64 rate, UInt32 flags = 2) {
        std::unique_ptr<FileWriter> writer;
        EXPECT_EQ(FileWriter::create(mPath, type, fileFormat(kAudioFormatMPEG4AAC, flags, 0, channels, rate), writer),
                  0);
        return writer;
    }

    std::uintmax_t bytesAt(UInt32 bitRate) {
        const auto writer = create(kAudioFileM4AType, 2, 44100);
        EXPECT_EQ(writer->setBitRate(bitRate), 0);
        EXPECT_EQ(writer->bitRate(), bitRate);
        EXPECT_EQ(writeSignal(*writer, integerNoise(2, 44100, 16)), 0);
        EXPECT_EQ(writer->close(), 0);
        return std::filesystem::file_size(mPath);
    }

    const FileFolder mFolder;
    const std::string mPath = mFolder.file("recording");
    const CapturedLog mLog;
};

// The decoder skips the frames before the first by itself; of the last packet it delivers what is beyond the stated end too.
TEST_F(Files_FileWriterAAC, StatesItsExactLengthAndStartsWithTheFirstFrame) {
    for (const AudioFileTypeID type : {kAudioFileM4AType, kAudioFileMPEG4Type}) {
        for (const UInt32 channels : {1U, 2U, 6U}) {
            for (const std::size_t frames : {1U, 1023U, 1024U, 1025U, 50001U}) {
                SCOPED_TRACE(std::to_string(channels) + " channels, " + std::to_string(frames) + " frames");
                const Signal written = tones(channels, frames, 44100, 997);
                const auto writer = create(type, channels, 44100);
                ASSERT_EQ(writeSignal(*writer, written), 0);
                EXPECT_EQ(writer->lengthFrames(), static_cast<SInt64>(frames));
                ASSERT_EQ(writer->close(), 0);
                EXPECT_EQ(writer->lengthFrames(), static_cast<SInt64>(frames));
                const DecodedFile file = decodeFile(mPath);
                EXPECT_EQ(file.statedFrames, static_cast<std::int64_t>(frames));
                ASSERT_GE(file.frames(), static_cast<std::int64_t>(frames));
                ASSERT_EQ(file.samples.size(), channels);
                // A copy that is a frame late would be 17 dB from the original.
                if (frames > 20000 && channels < 6) {
                    for (UInt32 channel = 0; channel < channels; ++channel) {
                        EXPECT_GT(signalToNoise(file.samples[channel], written[channel], 4096, frames - 4096), 25);
                    }
                }
            }
        }
    }
    EXPECT_THAT(mLog.lines(), IsEmpty());
}

TEST_F(Files_FileWriterAAC, TellsPrimingAndPadding) {
    const auto writer = create(kAudioFileM4AType, 2, 44100);
    EXPECT_EQ(writer->fileFormat().mFramesPerPacket, 1024U);
    EXPECT_EQ(writer->primeInfo().leadingFrames, 1024U);
    ASSERT_EQ(writeSignal(*writer, tones(2, 10000, 44100, 997)), 0);
    ASSERT_EQ(writer->close(), 0);
    const std::int64_t packets = decodeFile(mPath).packets;
    EXPECT_EQ(writer->primeInfo().leadingFrames, 1024U);
    EXPECT_EQ(writer->primeInfo().trailingFrames, packets * 1024 - 1024 - 10000);
}

TEST_F(Files_FileWriterAAC, WritesADTS) {
    const Signal written = tones(2, 48000, 48000, 997);
    const auto writer = create(kAudioFileAAC_ADTSType, 2, 48000);
    ASSERT_EQ(writeSignal(*writer, written), 0);
    ASSERT_EQ(writer->close(), 0);
    const DecodedFile file = decodeFile(mPath);
    EXPECT_EQ(file.container, "aac");
    EXPECT_EQ(file.rate, 48000);
    EXPECT_EQ(file.channels, 2);
    // It can state neither priming nor length.
    ASSERT_GE(file.frames(), 48000 + 1024);
    const std::vector<double> heard(file.samples[0].begin() + 1024, file.samples[0].end());
    EXPECT_GT(signalToNoise(heard, written[0], 4096, 44000), 35);
    EXPECT_THAT(mLog.lines(), IsEmpty());
}

TEST_F(Files_FileWriterAAC, HasAFileSizeThatFollowsTheBitRate) {
    const auto small = bytesAt(64000);
    const auto middle = bytesAt(128000);
    const auto large = bytesAt(256000);
    EXPECT_NEAR(static_cast<double>(small), 64000.0 / 8, 64000.0 / 8 * 0.4);
    EXPECT_NEAR(static_cast<double>(middle), 128000.0 / 8, 128000.0 / 8 * 0.25);
    EXPECT_NEAR(static_cast<double>(large), 256000.0 / 8, 256000.0 / 8 * 0.25);
}

TEST_F(Files_FileWriterAAC, TakesBitRatesThatNoFrameCanHave) {
    EXPECT_GT(bytesAt(1), 0U);
    EXPECT_GT(bytesAt(std::numeric_limits<UInt32>::max()), bytesAt(128000));
    EXPECT_THAT(mLog.lines(), IsEmpty());
}

TEST_F(Files_FileWriterAAC, ChoosesABitRateWhereNoneIsSet) {
    const auto stereo = create(kAudioFileM4AType, 2, 44100);
    EXPECT_EQ(stereo->bitRate(), 128000U);
    EXPECT_EQ(stereo->setBitRate(96000), 0);
    EXPECT_EQ(stereo->bitRate(), 96000U);
    EXPECT_EQ(stereo->setBitRate(0), 0);
    EXPECT_EQ(stereo->bitRate(), 128000U);
    EXPECT_EQ(create(kAudioFileM4AType, 1, 44100)->bitRate(), 64000U);
}

TEST_F(Files_FileWriterAAC, TakesTheObjectTypeThatItHasAnEncoderFor) {
    EXPECT_EQ(create(kAudioFileM4AType, 2, 44100, 0)->fileFormat().mFormatFlags, 2U);
    EXPECT_EQ(create(kAudioFileM4AType, 2, 44100, 2)->fileFormat().mFormatFlags, 2U);
    for (const UInt32 type : {1U, 3U, 5U, 29U}) {
        std::unique_ptr<FileWriter> writer;
        EXPECT_EQ(
            FileWriter::create(mPath, kAudioFileM4AType, fileFormat(kAudioFormatMPEG4AAC, type, 0, 2, 44100), writer),
            kAudioFileUnsupportedDataFormatError);
    }
}

TEST_F(Files_FileWriterAAC, RefusesRatesThatTheCodingDoesNotHave) {
    for (const Float64 rate : {44101.0, 192000.0, 4000.0, 44100.5, -1.0}) {
        std::unique_ptr<FileWriter> writer;
        EXPECT_EQ(FileWriter::create(mPath, kAudioFileM4AType, fileFormat(kAudioFormatMPEG4AAC, 2, 0, 2, rate), writer),
                  kAudioFileUnsupportedDataFormatError);
        EXPECT_EQ(writer, nullptr);
    }
    EXPECT_FALSE(std::filesystem::exists(mPath));
}

TEST_F(Files_FileWriterAAC, SurvivesWhatIsNoSound) {
    Signal written = tones(2, 20000, 44100, 997);
    written[0][5000] = std::numeric_limits<Float32>::quiet_NaN();
    written[1][5000] = std::numeric_limits<Float32>::infinity();
    written[1][5001] = -1e30F;
    const auto writer = create(kAudioFileM4AType, 2, 44100);
    EXPECT_EQ(writeSignal(*writer, written), 0);
    EXPECT_EQ(writer->close(), 0);
    const DecodedFile file = decodeFile(mPath);
    EXPECT_EQ(file.statedFrames, 20000);
    EXPECT_GT(signalToNoise(file.samples[0], written[0], 10000, 15000), 35);
    EXPECT_THAT(mLog.lines(), IsEmpty());
}

TEST_F(Files_FileWriterAAC, MakesAValidFileOfNothing) {
    for (const AudioFileTypeID type : {kAudioFileM4AType, kAudioFileMPEG4Type}) {
        EXPECT_EQ(create(type, 2, 44100)->close(), 0);
        const DecodedFile file = decodeFile(mPath);
        EXPECT_EQ(file.codec, "aac");
        EXPECT_EQ(file.frames(), 0);
    }
    // A stream without a frame is a stream without a byte.
    EXPECT_EQ(create(kAudioFileAAC_ADTSType, 2, 44100)->close(), 0);
    EXPECT_EQ(std::filesystem::file_size(mPath), 0U);
    EXPECT_THAT(mLog.lines(), IsEmpty());
}

} // namespace
