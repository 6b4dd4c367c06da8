// What is left of a recording whose process is killed.

#include "tests/platform/files/DecodedFile.h"
#include "tests/platform/files/LinearFlags.h"
#include "tests/platform/files/ReadFile.h"
#include "tests/platform/files/Recordings.h"
#include "tests/support/CapturedLog.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace {

using braq::tests::big;
using braq::tests::integer;
using braq::tests::lpcm;
using namespace braq::tests;
using braq::FileWriter;

struct KilledCoding {
    const char* name;
    AudioFileTypeID type;
    UInt32 formatID;
    UInt32 flags;
    UInt32 bits;
};

void PrintTo(const KilledCoding& coding, std::ostream* stream) { *stream << coding.name; }

std::string nameOf(const testing::TestParamInfo<KilledCoding>& row) { return row.param.name; }

constexpr SInt64 writtenFrames = 50000;

class Killed : public testing::TestWithParam<KilledCoding> {
  protected:
    Killed() : mSignal(integerNoise(2, writtenFrames, 16)) {
        const pid_t child = ::fork();
        if (child == 0) {
            recordAndDie();
        }
        int status = 0;
        EXPECT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status));
    }

    [[noreturn]] void recordAndDie() const {
        const KilledCoding& coding = GetParam();
        std::unique_ptr<FileWriter> writer;
        const auto format = fileFormat(coding.formatID, coding.flags, coding.bits, 2, 44100);
        if (FileWriter::create(mPath, coding.type, format, writer) == 0 &&
            writeFrames(*writer, mSignal, 0, writtenFrames) == 0) {
            ::kill(::getpid(), SIGKILL);
        }
        ::_exit(1);
    }

    const FileFolder mFolder;
    const std::string mPath = mFolder.file("recording");
    const Signal mSignal;
};

using Files_FileWriterKilledInPCM = Killed;
TEST_P(Files_FileWriterKilledInPCM, LeavesEveryFrameOfTheCallsThatReturned) {
    ReadFile file(mPath);
    EXPECT_EQ(file.length(), writtenFrames);
    EXPECT_EQ(largestDifference(file.readRest(), mSignal), 0);
}
INSTANTIATE_TEST_SUITE_P(All, Files_FileWriterKilledInPCM,
                         testing::Values(KilledCoding{"WAVE", kAudioFileWAVEType, lpcm, integer, 16},
                                         KilledCoding{"RF64", kAudioFileRF64Type, lpcm, integer, 16},
                                         KilledCoding{"CAF", kAudioFileCAFType, lpcm, integer, 16},
                                         KilledCoding{"NeXT", kAudioFileNextType, lpcm, integer | big, 16}),
                         nameOf);

// RF64 is not among them: it states a length, and that is 0.
using Files_FileWriterKilledForOthers = Killed;
TEST_P(Files_FileWriterKilledForOthers, LeavesAFileThatOtherProgramsReadAsWell) {
    const DecodedFile file = decodeFile(mPath);
    ASSERT_EQ(file.frames(), writtenFrames);
    EXPECT_GT(signalToNoise(file.samples[0], mSignal[0], 0, writtenFrames), 200);
}
INSTANTIATE_TEST_SUITE_P(All, Files_FileWriterKilledForOthers,
                         testing::Values(KilledCoding{"WAVE", kAudioFileWAVEType, lpcm, integer, 16},
                                         KilledCoding{"CAF", kAudioFileCAFType, lpcm, integer, 16},
                                         KilledCoding{"NeXT", kAudioFileNextType, lpcm, integer | big, 16}),
                         nameOf);

// The coder still held the frames of a packet or two.
using Files_FileWriterKilledInCoding = Killed;
TEST_P(Files_FileWriterKilledInCoding, LeavesWhatTheCoderHasLetGoOf) {
    ReadFile file(mPath);
    const auto framesPerPacket = SInt64{file.reader().fileFormat().mFramesPerPacket};
    EXPECT_GT(file.length(), writtenFrames - 2 * framesPerPacket);
    const Sound all = file.readRest();
    EXPECT_EQ(frames(all), file.length());
    if (GetParam().formatID == kAudioFormatFLAC) {
        EXPECT_EQ(largestDifference(all, part(mSignal, 0, frames(all))), 0);
    }
}
INSTANTIATE_TEST_SUITE_P(All, Files_FileWriterKilledInCoding,
                         testing::Values(KilledCoding{"FLAC", kAudioFileFLACType, kAudioFormatFLAC, 1, 0},
                                         KilledCoding{"ADTS", kAudioFileAAC_ADTSType, kAudioFormatMPEG4AAC, 2, 0}),
                         nameOf);

using Files_FileWriterKilledWithoutIndex = Killed;
TEST_P(Files_FileWriterKilledWithoutIndex, LeavesAFileThatIsRefused) {
    const CapturedLog log;
    EXPECT_EQ(statusOfOpening(mPath), kAudioFileInvalidFileError);
}
INSTANTIATE_TEST_SUITE_P(All, Files_FileWriterKilledWithoutIndex,
                         testing::Values(KilledCoding{"AIFF", kAudioFileAIFFType, lpcm, integer | big, 16},
                                         KilledCoding{"AIFC", kAudioFileAIFCType, lpcm, integer, 16},
                                         KilledCoding{"CAF_ALAC", kAudioFileCAFType, kAudioFormatAppleLossless, 1, 0},
                                         KilledCoding{"M4A_ALAC", kAudioFileM4AType, kAudioFormatAppleLossless, 1, 0},
                                         KilledCoding{"M4A_AAC", kAudioFileM4AType, kAudioFormatMPEG4AAC, 2, 0},
                                         KilledCoding{"MPEG4_AAC", kAudioFileMPEG4Type, kAudioFormatMPEG4AAC, 2, 0},
                                         KilledCoding{"MPEG4_PCM", kAudioFileMPEG4Type, lpcm, integer, 16}),
                         nameOf);

} // namespace
