#include "platform/files/writing/FileWriter.h"

#include "BRAQAudio/platform/foundation/BRAQStatus.h"
#include "platform/foundation/FailureReason.h"
#include "tests/platform/files/DecodedFile.h"
#include "tests/platform/files/LinearFlags.h"
#include "tests/platform/files/Recordings.h"
#include "tests/platform/files/SmallDisk.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>

// A disk that fills up, a file system without reservations, and a limit of the process.

namespace {

using braq::tests::big;
using braq::tests::integer;
using namespace braq::tests;
using braq::FileWriter;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

struct Coding {
    const char* name;
    AudioFileTypeID type;
    UInt32 formatID;
    UInt32 flags;
    UInt32 bits;
    bool isLossless;
};

void PrintTo(const Coding& coding, std::ostream* stream) { *stream << coding.name; }

const Coding codings[] = {
    {"WAVE", kAudioFileWAVEType, kAudioFormatLinearPCM, integer, 16, true},
    {"RF64", kAudioFileRF64Type, kAudioFormatLinearPCM, integer, 16, true},
    {"AIFF", kAudioFileAIFFType, kAudioFormatLinearPCM, integer | big, 16, true},
    {"AIFC", kAudioFileAIFCType, kAudioFormatLinearPCM, integer, 16, true},
    {"CAF", kAudioFileCAFType, kAudioFormatLinearPCM, integer, 16, true},
    {"NeXT", kAudioFileNextType, kAudioFormatLinearPCM, integer | big, 16, true},
    {"CAF_ALAC", kAudioFileCAFType, kAudioFormatAppleLossless, 1, 0, true},
    {"FLAC", kAudioFileFLACType, kAudioFormatFLAC, 1, 0, true},
    {"M4A_ALAC", kAudioFileM4AType, kAudioFormatAppleLossless, 1, 0, true},
    {"M4A_AAC", kAudioFileM4AType, kAudioFormatMPEG4AAC, 2, 0, false},
    {"MPEG4_PCM", kAudioFileMPEG4Type, kAudioFormatLinearPCM, integer, 16, true},
    {"ADTS", kAudioFileAAC_ADTSType, kAudioFormatMPEG4AAC, 2, 0, false},
};

constexpr std::size_t framesOfCall = 1000;
constexpr std::size_t diskBytes = std::size_t{256} * 1024;
constexpr std::size_t allFrames = 1200 * framesOfCall;

class Files_FileWriterFullDisk : public testing::TestWithParam<Coding> {
  protected:
    Files_FileWriterFullDisk() : mSignal(integerNoise(2, allFrames, 16)) {}

    void create() {
        const Coding& coding = GetParam();
        ASSERT_EQ(FileWriter::create(mPath, coding.type,
                                     fileFormat(coding.formatID, coding.flags, coding.bits, 2, 44100), mWriter),
                  0);
    }

    /// Writes calls until one fails.
    /// @return frames of those that did not
    std::size_t writeUntilItFails() {
        std::size_t written = 0;
        while (written < allFrames && writeFrames(*mWriter, mSignal, written, framesOfCall) == 0) {
            written += framesOfCall;
        }
        EXPECT_LT(written, allFrames);
        return written;
    }

    /// That the file has so many frames, and the right ones.
    void expectHolds(std::size_t frames) {
        const DecodedFile file = decodeFile(mPath);
        if (!GetParam().isLossless) {
            // With what stands before the first frame, where it cannot be cut off, and with the rest of the last packet.
            const auto packets = static_cast<std::int64_t>((frames + std::size_t{2} * 1024) / 1024 + 1);
            EXPECT_GE(file.frames(), static_cast<std::int64_t>(frames));
            EXPECT_LE(file.frames(), packets * 1024);
            return;
        }
        ASSERT_EQ(file.frames(), static_cast<std::int64_t>(frames));
        for (std::size_t channel = 0; channel < 2; ++channel) {
            const auto end = mSignal[channel].begin() + static_cast<std::ptrdiff_t>(frames);
            EXPECT_TRUE(std::equal(mSignal[channel].begin(), end, file.samples[channel].begin(),
                                   [](Float32 one, double other) { return static_cast<double>(one) == other; }));
        }
    }

    void fillTheDisk() {
        create();
        const std::size_t written = writeUntilItFails();
        EXPECT_GT(written, 20 * framesOfCall);
        EXPECT_EQ(mWriter->lengthFrames(), static_cast<SInt64>(written));
        EXPECT_NE(writeFrames(*mWriter, mSignal, written, framesOfCall), 0);
        EXPECT_EQ(mWriter->close(), 0);
        EXPECT_EQ(mWriter->lengthFrames(), static_cast<SInt64>(written));
        EXPECT_THAT(mLog.errors(), ElementsAre(HasSubstr(mPath + " cannot be written: No space left on device")));
        expectHolds(written);
    }

    const FileFolder mFolder;
    const std::string mPath = mFolder.file("recording");
    const CapturedLog mLog;
    const Signal mSignal;
    std::unique_ptr<FileWriter> mWriter;
};

TEST_P(Files_FileWriterFullDisk, KeepsWhatWasWrittenAndNothingOfTheCallThatFailed) {
    if (!runWithSmallDisk(mFolder.path(), diskBytes, [&] { fillTheDisk(); })) {
        GTEST_SKIP() << "not shown: this process may not mount a small disk";
    }
}

TEST_P(Files_FileWriterFullDisk, KeepsWhatWasWrittenWhereSpaceCannotBeReserved) {
    bool isFiltered = false;
    const bool isRun = runWithSmallDisk(mFolder.path(), diskBytes,
                                        [&] { isFiltered = runWithoutReservations([&] { fillTheDisk(); }); });
    if (!isRun) {
        GTEST_SKIP() << "not shown: this process may not mount a small disk";
    }
    if (!isFiltered) {
        GTEST_SKIP() << "not shown: this system does not filter system calls";
    }
}

TEST_P(Files_FileWriterFullDisk, GoesOnWhenThereIsSpaceAgain) {
    const bool isRun = runWithSmallDisk(mFolder.path(), diskBytes, [&] {
        const std::string other = mFolder.file("other");
        std::ofstream(other) << std::string(diskBytes / 2, 'x') << std::flush;
        ASSERT_EQ(std::filesystem::file_size(other), diskBytes / 2);
        create();
        const std::size_t written = writeUntilItFails();
        std::filesystem::remove(other);
        EXPECT_EQ(writeFrames(*mWriter, mSignal, written, framesOfCall), 0);
        EXPECT_EQ(mWriter->close(), 0);
        expectHolds(written + framesOfCall);
    });
    if (!isRun) {
        GTEST_SKIP() << "not shown: this process may not mount a small disk";
    }
}

TEST_P(Files_FileWriterFullDisk, HasNoFileWhereThereIsNoSpaceForItsHeader) {
    const bool isRun = runWithSmallDisk(mFolder.path(), 8192, [&] {
        const Coding& coding = GetParam();
        EXPECT_EQ(FileWriter::create(mPath, coding.type,
                                     fileFormat(coding.formatID, coding.flags, coding.bits, 2, 44100), mWriter),
                  kAudioFileUnspecifiedError);
        EXPECT_FALSE(std::filesystem::exists(mPath));
    });
    if (!isRun) {
        GTEST_SKIP() << "not shown: this process may not mount a small disk";
    }
    EXPECT_THAT(mLog.errors(), SizeIs(1));
}

INSTANTIATE_TEST_SUITE_P(All, Files_FileWriterFullDisk, testing::ValuesIn(codings),
                         [](const testing::TestParamInfo<Coding>& row) { return row.param.name; });

// Not every failure can be foreseen: what was reserved may still not be writable. Linear PCM keeps its promise then too.
class Files_FileWriterUnforeseen : public Files_FileWriterFullDisk {};

TEST_P(Files_FileWriterUnforeseen, FailureLeavesWhatWasWrittenBefore) {
    std::size_t written = 0;
    const bool isRun = runWithEmptyPromises([&] {
        const FileSizeLimit limit(100001);
        create();
        written = writeUntilItFails();
        EXPECT_NE(writeFrames(*mWriter, mSignal, written, framesOfCall), 0);
        EXPECT_EQ(mWriter->close(), 0);
    });
    if (!isRun) {
        GTEST_SKIP() << "not shown: this process may not filter its system calls";
    }
    EXPECT_THAT(mLog.errors(), ElementsAre(HasSubstr("File too large")));
    EXPECT_GT(written, 10 * framesOfCall);
    expectHolds(written);
}

INSTANTIATE_TEST_SUITE_P(LinearPCM, Files_FileWriterUnforeseen,
                         testing::Values(codings[0], codings[1], codings[2], codings[3], codings[4], codings[5]),
                         [](const testing::TestParamInfo<Coding>& row) { return row.param.name; });

// Coders and indexes have taken in the frames by then. The call fails, and so does everything after it.
class Files_FileWriterUnforeseenInCoding : public Files_FileWriterFullDisk {};

TEST_P(Files_FileWriterUnforeseenInCoding, FailureIsToldFromThenOnAndLeavesCompletePacketsReadable) {
    std::size_t written = 0;
    const bool isRun = runWithEmptyPromises([&] {
        const FileSizeLimit limit(100001);
        create();
        written = writeUntilItFails();
        for (int i = 0; i < 2; ++i) {
            const OSStatus status = braq::withReason([&] { return writeFrames(*mWriter, mSignal, 0, framesOfCall); });
            EXPECT_NE(status, 0);
            EXPECT_EQ(BRAQStatusTakeReason(status), "File too large") << "each call says so";
        }
    });
    if (!isRun) {
        GTEST_SKIP() << "not shown: this process may not filter its system calls";
    }
    EXPECT_NE(mWriter->close(), 0);
    EXPECT_THAT(mLog.errors(), ElementsAre(HasSubstr("File too large")));
    // Of the packet that was being written, and of what the coder held, there is nothing.
    const std::size_t lost = 3 * std::size_t{mWriter->fileFormat().mFramesPerPacket};
    const DecodedFile file = decodeFile(mPath, true);
    EXPECT_GT(file.frames(), static_cast<std::int64_t>(written - lost));
    if (GetParam().isLossless) {
        EXPECT_GT(signalToNoise(file.samples[0], mSignal[0], 0, written - lost), 200);
    }
}

INSTANTIATE_TEST_SUITE_P(Coded, Files_FileWriterUnforeseenInCoding,
                         testing::Values(codings[6], codings[7], codings[8], codings[9], codings[11]),
                         [](const testing::TestParamInfo<Coding>& row) { return row.param.name; });

} // namespace
