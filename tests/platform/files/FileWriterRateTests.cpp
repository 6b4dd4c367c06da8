#include "platform/files/writing/FileWriter.h"

#include "tests/platform/files/DecodedFile.h"
#include "tests/platform/files/LinearFlags.h"
#include "tests/platform/files/Recordings.h"

#include <gmock/gmock.h>

#include <cmath>

namespace {

using braq::tests::floating;
using namespace braq::tests;
using braq::FileWriter;

class Files_FileWriterRate : public testing::Test {
  protected:
    std::unique_ptr<FileWriter> create(Float64 fileRate, UInt32 channels = 2) {
        std::unique_ptr<FileWriter> writer;
        EXPECT_EQ(FileWriter::create(mPath, kAudioFileWAVEType,
                                     fileFormat(kAudioFormatLinearPCM, floating, 32, channels, fileRate), writer),
                  0);
        return writer;
    }

    const FileFolder mFolder;
    const std::string mPath = mFolder.file("recording");
};

TEST_F(Files_FileWriterRate, OfTheClientIsConvertedToThatOfTheFile) {
    const std::pair<Float64, Float64> rates[] = {{48000, 44100}, {44100, 48000},  {96000, 44100},
                                                 {8000, 48000},  {44100, 192000}, {44100, 22050}};
    for (const auto& [client, file] : rates) {
        SCOPED_TRACE(std::to_string(client) + " to " + std::to_string(file));
        const std::size_t frames = 40001;
        const auto writer = create(file);
        ASSERT_EQ(writer->setClientFormat(clientFormat(2, client)), 0);
        ASSERT_EQ(writeSignal(*writer, tones(2, frames, client, 997)), 0);
        ASSERT_EQ(writer->close(), 0);
        const DecodedFile found = decodeFile(mPath);
        const auto expected = static_cast<SInt64>(std::llround(static_cast<Float64>(frames) * file / client));
        EXPECT_EQ(found.rate, static_cast<int>(file));
        EXPECT_NEAR(static_cast<double>(found.frames()), static_cast<double>(expected), 1);
        EXPECT_EQ(writer->lengthFrames(), found.frames());
        // The tone as it is at the file's rate: neither late nor early, and nothing else in it. Its sudden start and end
        // are left out.
        const auto length = static_cast<std::size_t>(found.frames());
        const Signal original = tones(2, length, file, 997);
        for (std::size_t channel = 0; channel < 2; ++channel) {
            EXPECT_GT(signalToNoise(found.samples[channel], original[channel], length / 8, length - length / 8), 110);
        }
    }
}

TEST_F(Files_FileWriterRate, MayDifferInCallsOfAnySize) {
    const Signal signal = floatNoise(2, 30000);
    const auto atOnce = create(44100);
    ASSERT_EQ(atOnce->setClientFormat(clientFormat(2, 48000)), 0);
    ASSERT_EQ(writeFrames(*atOnce, signal, 0, 30000), 0);
    ASSERT_EQ(atOnce->close(), 0);
    const DecodedFile expected = decodeFile(mPath);
    const auto inPieces = create(44100);
    ASSERT_EQ(inPieces->setClientFormat(clientFormat(2, 48000)), 0);
    ASSERT_EQ(writeSignal(*inPieces, signal), 0);
    ASSERT_EQ(inPieces->close(), 0);
    EXPECT_TRUE(decodeFile(mPath).samples == expected.samples);
}

TEST_F(Files_FileWriterRate, KeepsTheLastFramesThatTheConverterHolds) {
    for (const std::size_t frames : {1U, 2U, 100U, 1000U}) {
        const auto writer = create(48000, 1);
        ASSERT_EQ(writer->setClientFormat(clientFormat(1, 44100)), 0);
        ASSERT_EQ(writeSignal(*writer, Signal(1, std::vector<Float32>(frames, 0.5F))), 0);
        ASSERT_EQ(writer->close(), 0);
        const DecodedFile found = decodeFile(mPath);
        EXPECT_EQ(found.frames(), std::llround(static_cast<double>(frames) * 48000 / 44100));
        if (frames == 1000) {
            EXPECT_NEAR(found.samples[0][544], 0.5, 1e-4);
            EXPECT_NEAR(found.samples[0][1080], 0.5, 0.1); // eight frames before the end
        }
    }
}

TEST_F(Files_FileWriterRate, OfTheClientIsThatOfTheFileWhereItIsZero) {
    const auto writer = create(32000);
    EXPECT_EQ(writer->clientFormat().mSampleRate, 32000);
    ASSERT_EQ(writer->setClientFormat(clientFormat(2, 0)), 0);
    EXPECT_EQ(writer->clientFormat().mSampleRate, 32000);
    ASSERT_EQ(writeSignal(*writer, tones(2, 100, 32000, 997)), 0);
    ASSERT_EQ(writer->close(), 0);
    EXPECT_EQ(decodeFile(mPath).frames(), 100);
}

TEST_F(Files_FileWriterRate, OfTheFileFollowsTheClientsWhereItIsZero) {
    const auto writer = create(0);
    EXPECT_EQ(writer->fileFormat().mSampleRate, 0);
    ASSERT_EQ(writer->setClientFormat(clientFormat(2, 48000)), 0);
    EXPECT_EQ(writer->fileFormat().mSampleRate, 48000);
    ASSERT_EQ(writer->setClientFormat(clientFormat(2, 22050)), 0);
    EXPECT_EQ(writer->fileFormat().mSampleRate, 22050);
    ASSERT_EQ(writeSignal(*writer, tones(2, 100, 22050, 997)), 0);
    ASSERT_EQ(writer->close(), 0);
    EXPECT_EQ(decodeFile(mPath).rate, 22050);
    EXPECT_EQ(decodeFile(mPath).frames(), 100);
}

TEST_F(Files_FileWriterRate, HasToBeKnownBeforeTheFirstFrame) {
    const auto writer = create(0);
    EXPECT_EQ(writeSignal(*writer, tones(2, 100, 22050, 997)), kExtAudioFileError_InvalidDataFormat);
    EXPECT_EQ(writer->setClientFormat(clientFormat(2, 48000)), 0);
    EXPECT_EQ(writeSignal(*writer, tones(2, 100, 22050, 997)), 0);
    EXPECT_EQ(writer->close(), 0);
    EXPECT_EQ(decodeFile(mPath).frames(), 100);
}

TEST_F(Files_FileWriterRate, OfTheClientThatTheCodingDoesNotHaveIsRefused) {
    std::unique_ptr<FileWriter> writer;
    ASSERT_EQ(FileWriter::create(mPath, kAudioFileM4AType, fileFormat(kAudioFormatMPEG4AAC, 2, 0, 2, 0), writer), 0);
    EXPECT_EQ(writer->setClientFormat(clientFormat(2, 192000)), kExtAudioFileError_InvalidDataFormat);
    EXPECT_EQ(writer->setClientFormat(clientFormat(2, 96000.5)), kExtAudioFileError_InvalidDataFormat);
    EXPECT_EQ(writer->setClientFormat(clientFormat(2, 48000)), 0);
    EXPECT_EQ(writer->fileFormat().mFramesPerPacket, 1024U);
    ASSERT_EQ(writeSignal(*writer, tones(2, 5000, 48000, 997)), 0);
    ASSERT_EQ(writer->close(), 0);
    EXPECT_EQ(decodeFile(mPath).statedFrames, 5000);
}

} // namespace
