#include "BRAQAudio/platform/BRAQAudioFileFormats.h"
#include "BRAQAudio/platform/foundation/BRAQStatus.h"
#include "platform/files/writing/FileWriter.h"
#include "tests/platform/files/LinearFlags.h"
#include "tests/platform/files/ReadFile.h"
#include "tests/platform/files/Recordings.h"
#include "tests/support/CapturedLog.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

// What is written forwards, into a pipe for instance.

namespace {

using namespace braq::tests;
using braq::FileWriter;
using testing::StartsWith;

/// A pipe, of which everything is read meanwhile.
class ReadPipe {
  public:
    ReadPipe() {
        EXPECT_EQ(::pipe2(mEnds, O_CLOEXEC), 0);
        mReading = std::thread([this] {
            char bytes[4096];
            ssize_t count = 0;
            while ((count = ::read(mEnds[0], bytes, sizeof(bytes))) > 0) {
                mContent.append(bytes, static_cast<std::size_t>(count));
            }
        });
    }
    ~ReadPipe() {
        finish();
        ::close(mEnds[0]);
    }
    ReadPipe(const ReadPipe&) = delete;
    ReadPipe& operator=(const ReadPipe&) = delete;

    int descriptor() const { return mEnds[1]; }
    /// Ends when everybody has closed the pipe.
    const std::string& finish() {
        if (mReading.joinable()) {
            ::close(mEnds[1]);
            mReading.join();
        }
        return mContent;
    }

  private:
    int mEnds[2] = {-1, -1};
    std::string mContent;
    std::thread mReading;
};

class Files_FileWriterForwards : public testing::Test {
  protected:
    void SetUp() override { mBefore = std::signal(SIGPIPE, SIG_IGN); }
    void TearDown() override { std::signal(SIGPIPE, mBefore); }

    const FileFolder mFolder;
    const CapturedLog mLog;
    void (*mBefore)(int) = SIG_DFL;
};

TEST_F(Files_FileWriterForwards, EveryFormatThatCanBeIsReadAgainWhole) {
    std::size_t formats = 0;
    for (const BRAQAudioFileFormat& format : BRAQAudioFileFormats()) {
        for (const BRAQAudioFileSample& sample : format.samples) {
            if (!format.canBeWrittenForwards) {
                continue;
            }
            SCOPED_TRACE(std::string(format.fileTypeName) + " " + sample.name);
            ++formats;
            AudioStreamBasicDescription description = sample.description;
            description.mSampleRate = 48000;
            description.mChannelsPerFrame = 2;
            const Signal signal = tones(2, 30'000, 48000, 997);
            ReadPipe pipe;
            std::unique_ptr<FileWriter> writer;
            ASSERT_EQ(FileWriter::createForwards(pipe.descriptor(), format.fileType, description, writer), 0);
            EXPECT_EQ(writeSignal(*writer, signal), 0);
            EXPECT_EQ(writer->close(), 0);
            writer.reset();
            const std::string path = mFolder.file("read");
            std::ofstream(path, std::ios::binary) << pipe.finish();
            ReadFile file(path);
            const Sound read = file.readRest();
            if (format.formatID == kAudioFormatMPEG4AAC) {
                EXPECT_GE(frames(read), 30'000);
                continue;
            }
            ASSERT_EQ(frames(read), 30'000);
            const double step = sample.description.mBitsPerChannel == 8 ? 1.0 / 128 : 1.0 / 32768;
            EXPECT_LE(largestDifference(read, signal), step);
        }
    }
    EXPECT_EQ(formats, 6U + 6U + 2U + 1U) << "WAVE, NeXT, FLAC, ADTS";
}

TEST_F(Files_FileWriterForwards, OtherFormatsAreRefused) {
    std::unique_ptr<FileWriter> writer;
    ReadPipe pipe;
    for (const auto& [type, format] :
         {std::pair{kAudioFileAIFFType, fileFormat(kAudioFormatLinearPCM, integer | big, 16, 2, 44100)},
          std::pair{kAudioFileM4AType, fileFormat(kAudioFormatMPEG4AAC, 2, 0, 2, 44100)},
          std::pair{kAudioFileRF64Type, fileFormat(kAudioFormatLinearPCM, integer, 16, 2, 44100)}}) {
        EXPECT_EQ(FileWriter::createForwards(pipe.descriptor(), type, format, writer),
                  kAudioFileUnsupportedDataFormatError);
    }
    const auto wave = fileFormat(kAudioFormatLinearPCM, integer, 16, 2, 44100);
    EXPECT_NE(FileWriter::createForwards(-1, kAudioFileWAVEType, wave, writer), 0);
    EXPECT_EQ(writer, nullptr);
    EXPECT_EQ(pipe.finish(), "");
}

TEST_F(Files_FileWriterForwards, WhatIsThereBeforeStays) {
    const std::string path = mFolder.file("appended");
    std::ofstream(path) << "before ";
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    ExtAudioFileRef file = nullptr;
    const auto wave = fileFormat(kAudioFormatLinearPCM, integer, 16, 2, 44100);
    ASSERT_EQ(BRAQExtAudioFileCreateWithDescriptor(descriptor, kAudioFileWAVEType, &wave, &file), 0);
    EXPECT_EQ(::close(descriptor), 0) << "it has its own";
    EXPECT_EQ(ExtAudioFileDispose(file), 0);
    std::ifstream stream(path, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(stream), {}};
    EXPECT_THAT(content, StartsWith("before RIFF\xff\xff\xff\xffWAVE"));
    EXPECT_EQ(BRAQExtAudioFileCreateWithDescriptor(1, kAudioFileWAVEType, nullptr, &file), kAudio_ParamError);
}

TEST_F(Files_FileWriterForwards, WithoutAReaderAWriteFailsAndNothingFollows) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    const auto wave = fileFormat(kAudioFormatLinearPCM, integer, 16, 2, 44100);
    ExtAudioFileRef file = nullptr;
    ASSERT_EQ(BRAQExtAudioFileCreateWithDescriptor(ends[1], kAudioFileWAVEType, &wave, &file), 0);
    ::close(ends[1]);
    ::close(ends[0]);
    Float32 silence[2][100] = {};
    struct {
        AudioBufferList list;
        AudioBuffer second;
    } buffers = {{2, {{1, sizeof(silence[0]), silence[0]}}}, {1, sizeof(silence[1]), silence[1]}};
    const AudioStreamBasicDescription planar = clientFormat(2, 44100);
    ASSERT_EQ(ExtAudioFileSetProperty(file, kExtAudioFileProperty_ClientDataFormat, sizeof(planar), &planar), 0);
    for (int time = 0; time < 2; ++time) {
        const OSStatus status = ExtAudioFileWrite(file, 100, &buffers.list);
        ASSERT_NE(status, 0);
        EXPECT_EQ(BRAQStatusTakeReason(status), std::strerror(EPIPE));
    }
    EXPECT_NE(ExtAudioFileDispose(file), 0);
    EXPECT_THAT(mLog.errors(), testing::IsEmpty()) << "a reader that has had enough is no fault";
}

} // namespace
