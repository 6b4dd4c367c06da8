#include "platform/files/writing/FileWriter.h"

#include "BRAQAudio/platform/foundation/BRAQStatus.h"
#include "platform/foundation/FailureReason.h"
#include "tests/platform/files/DecodedFile.h"
#include "tests/platform/files/LinearFlags.h"
#include "tests/platform/files/Recordings.h"
#include "tests/support/AsNobody.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <iterator>

namespace {

using braq::tests::big;
using braq::tests::floating;
using braq::tests::integer;
using namespace braq::tests;
using braq::FileWriter;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

AudioStreamBasicDescription pcm(UInt32 flags, UInt32 bits) {
    return fileFormat(kAudioFormatLinearPCM, flags, bits, 2, 44100);
}

std::string contentOfFile(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

class Files_FileWriterErrors : public testing::Test {
  protected:
    OSStatus create(const std::string& path, AudioFileTypeID type = kAudioFileWAVEType,
                    const AudioStreamBasicDescription& format = pcm(integer, 16)) {
        mWriter.reset();
        const OSStatus status = FileWriter::create(path, type, format, mWriter);
        EXPECT_EQ(status == 0, mWriter != nullptr);
        return status;
    }
    std::string reasonOfCreating(const std::string& path) {
        EXPECT_EQ(braq::withReason([&] { return create(path); }), kAudioFileUnspecifiedError);
        return BRAQStatusTakeReason(kAudioFileUnspecifiedError);
    }

    void open() { ASSERT_EQ(create(mPath), 0); }

    const FileFolder mFolder;
    const std::string mPath = mFolder.file("recording.wav");
    const CapturedLog mLog;
    std::unique_ptr<FileWriter> mWriter;
};

TEST_F(Files_FileWriterErrors, NameATypeThatCannotBeWritten) {
    EXPECT_EQ(create(mPath, BRAQFourCharCode("none")), kAudioFileUnsupportedFileTypeError);
    EXPECT_EQ(create(mPath, 0), kAudioFileUnsupportedFileTypeError);
    EXPECT_EQ(create(mPath, kAudioFileMP3Type, fileFormat(kAudioFormatMPEGLayer3, 0, 0, 2, 44100)),
              kAudioFileUnsupportedFileTypeError);
    EXPECT_EQ(create(mPath, kBRAQAudioFileOggType, fileFormat(kAudioFormatOpus, 0, 0, 2, 48000)),
              kAudioFileUnsupportedFileTypeError);
    EXPECT_FALSE(std::filesystem::exists(mPath));
}

TEST_F(Files_FileWriterErrors, NameAFormatThatATypeCannotHold) {
    AudioStreamBasicDescription planar = pcm(integer | kAudioFormatFlagIsNonInterleaved, 16);
    AudioStreamBasicDescription inFourBytes = pcm(integer, 24);
    inFourBytes.mBytesPerFrame = 8;
    AudioStreamBasicDescription slow = pcm(integer, 16);
    slow.mSampleRate = 0.5;
    AudioStreamBasicDescription mute = pcm(integer, 16);
    mute.mChannelsPerFrame = 0;
    const std::pair<AudioFileTypeID, AudioStreamBasicDescription> refused[] = {
        {kAudioFileWAVEType, pcm(integer | big, 16)},
        {kAudioFileWAVEType, pcm(integer, 8)},
        {kAudioFileWAVEType, pcm(integer, 12)},
        {kAudioFileWAVEType, pcm(kAudioFormatFlagIsPacked, 16)},
        {kAudioFileWAVEType, pcm(floating, 16)},
        {kAudioFileWAVEType, fileFormat(kAudioFormatMPEG4AAC, 2, 0, 2, 44100)},
        {kAudioFileWAVEType, planar},
        {kAudioFileWAVEType, inFourBytes},
        {kAudioFileWAVEType, slow},
        {kAudioFileWAVEType, mute},
        {kAudioFileWAVEType, AudioStreamBasicDescription{}},
        {kAudioFileAIFFType, pcm(integer, 16)},
        {kAudioFileAIFFType, pcm(floating | big, 32)},
        {kAudioFileAIFCType, pcm(integer, 24)},
        {kAudioFileM4AType, pcm(integer, 16)},
        {kAudioFileMPEG4Type, pcm(integer, 8)},
        {kAudioFileMPEG4Type, fileFormat(kAudioFormatFLAC, 1, 0, 2, 44100)},
        {kAudioFileCAFType, fileFormat(kAudioFormatMPEG4AAC, 2, 0, 2, 44100)},
        {kAudioFileFLACType, fileFormat(kAudioFormatFLAC, 0, 8, 2, 44100)},
        {kAudioFileFLACType, fileFormat(kAudioFormatFLAC, 1, 0, 9, 44100)},
        {kAudioFileM4AType, fileFormat(kAudioFormatAppleLossless, 4, 0, 2, 44100)},
        {kAudioFileM4AType, fileFormat(kAudioFormatAppleLossless, 1, 0, 9, 44100)},
    };
    for (const auto& [type, format] : refused) {
        EXPECT_EQ(create(mPath, type, format), kAudioFileUnsupportedDataFormatError);
    }
    EXPECT_FALSE(std::filesystem::exists(mPath));
}

TEST_F(Files_FileWriterErrors, LeaveAFileAloneThatCouldNotBeReplaced) {
    std::ofstream(mPath) << "what was there";
    EXPECT_NE(create(mPath, BRAQFourCharCode("none")), 0);
    EXPECT_NE(create(mPath, kAudioFileWAVEType, pcm(integer | big, 16)), 0);
    EXPECT_NE(create(mPath, kAudioFileAAC_ADTSType, fileFormat(kAudioFormatMPEG4AAC, 2, 0, 2, 44101)), 0);
    EXPECT_EQ(contentOfFile(mPath), "what was there");
    EXPECT_EQ(create(mPath), 0);
    EXPECT_EQ(mWriter->close(), 0);
    EXPECT_EQ(decodeFile(mPath).frames(), 0);
}

TEST_F(Files_FileWriterErrors, TellThatThereIsNoSuchFolder) {
    EXPECT_EQ(create(mFolder.file("none/recording.wav")), kAudioFileFileNotFoundError);
    std::ofstream(mFolder.file("file")) << "no folder";
    EXPECT_EQ(create(mFolder.file("file/recording.wav")), kAudioFileFileNotFoundError);
    EXPECT_EQ(create(""), kAudioFileFileNotFoundError);
    EXPECT_THAT(mLog.lines(), IsEmpty());
}

TEST_F(Files_FileWriterErrors, TellThatThereIsNoPermission) {
    std::ofstream(mPath) << "what was there";
    ASSERT_EQ(::chmod(mPath.c_str(), 0444), 0);
    ASSERT_EQ(::chmod(mFolder.path().c_str(), 0555), 0);
    {
        const AsNobody nobody;
        EXPECT_EQ(create(mPath), kAudioFilePermissionsError);
        EXPECT_EQ(create(mFolder.file("other.wav")), kAudioFilePermissionsError);
    }
    ASSERT_EQ(::chmod(mFolder.path().c_str(), 0755), 0);
    EXPECT_EQ(contentOfFile(mPath), "what was there");
    EXPECT_FALSE(std::filesystem::exists(mFolder.file("other.wav")));
}

TEST_F(Files_FileWriterErrors, TellThatSomethingIsNoRegularFile) {
    ASSERT_EQ(::mkfifo(mPath.c_str(), 0600), 0);
    EXPECT_EQ(reasonOfCreating(mFolder.path().string()), "Is a directory");
    EXPECT_EQ(reasonOfCreating("/dev/null"), "it is not a regular file");
    EXPECT_EQ(reasonOfCreating(mPath), "it is not a regular file");
    EXPECT_THAT(mLog.errors(), testing::IsEmpty()) << "the caller has the reason";
}

TEST_F(Files_FileWriterErrors, TellThatANameIsTooLong) {
    EXPECT_EQ(reasonOfCreating(mFolder.file(std::string(4000, 'a').append(".wav"))), "File name too long");
}

TEST_F(Files_FileWriterErrors, RefuseClientFormatsThatAreNoFloatFrames) {
    open();
    AudioStreamBasicDescription coded = clientFormat(2, 44100);
    coded.mFormatID = kAudioFormatMPEG4AAC;
    EXPECT_EQ(mWriter->setClientFormat(coded), kExtAudioFileError_NonPCMClientFormat);
    const auto refuses = [&](auto change) {
        AudioStreamBasicDescription format = clientFormat(2, 44100);
        change(format);
        EXPECT_EQ(mWriter->setClientFormat(format), kExtAudioFileError_InvalidDataFormat);
    };
    refuses([](auto& format) { format.mChannelsPerFrame = 1; });
    refuses([](auto& format) { format.mChannelsPerFrame = 3; });
    refuses([](auto& format) { format.mBitsPerChannel = 16; });
    refuses([](auto& format) { format.mFormatFlags |= big; });
    refuses([](auto& format) { format.mFormatFlags = integer; });
    refuses([](auto& format) { format.mBytesPerFrame = 8; });
    refuses([](auto& format) { format.mFramesPerPacket = 0; });
    refuses([](auto& format) { format.mSampleRate = -44100; });
    refuses([](auto& format) { format.mSampleRate = std::numeric_limits<Float64>::quiet_NaN(); });
    EXPECT_EQ(mWriter->clientFormat().mSampleRate, 44100);
    EXPECT_EQ(mWriter->clientFormat().mChannelsPerFrame, 2U);
}

TEST_F(Files_FileWriterErrors, RefuseToChangeWhatTheFirstFramesHaveSettled) {
    open();
    ASSERT_EQ(writeSignal(*mWriter, tones(2, 10, 44100, 997)), 0);
    EXPECT_EQ(mWriter->setClientFormat(clientFormat(2, 48000)), kExtAudioFileError_InvalidOperationOrder);
    EXPECT_EQ(mWriter->setBitRate(64000), kExtAudioFileError_InvalidOperationOrder);
}

TEST_F(Files_FileWriterErrors, RefuseListsThatDoNotFitTheClientFormat) {
    open();
    std::vector<Float32> samples(200);
    alignas(AudioBufferList) std::byte memory[AudioBufferListByteSize(3)];
    auto& list = *reinterpret_cast<AudioBufferList*>(memory);
    const auto reset = [&] {
        list.mNumberBuffers = 2;
        for (UInt32 i = 0; i < 3; ++i) {
            list.mBuffers[i] = {1, 400, samples.data()};
        }
    };
    reset();
    list.mNumberBuffers = 1;
    EXPECT_EQ(mWriter->write(100, list), kAudio_ParamError);
    list.mNumberBuffers = 3;
    EXPECT_EQ(mWriter->write(100, list), kAudio_ParamError);
    reset();
    EXPECT_EQ(mWriter->write(101, list), kAudio_ParamError);
    list.mBuffers[1].mData = nullptr;
    EXPECT_EQ(mWriter->write(100, list), kAudio_ParamError);
    reset();
    list.mBuffers[1].mNumberChannels = 2;
    EXPECT_EQ(mWriter->write(50, list), kAudio_ParamError);
    reset();
    EXPECT_EQ(mWriter->write(100, list), 0);
    EXPECT_EQ(mWriter->write(0, list), 0);
    EXPECT_EQ(mWriter->close(), 0);
    EXPECT_EQ(decodeFile(mPath).frames(), 100);
}

TEST(Files_FileWriter, TakesInterleavedFrames) {
    const FileFolder folder;
    std::unique_ptr<FileWriter> writer;
    ASSERT_EQ(FileWriter::create(folder.file("recording"), kAudioFileWAVEType, pcm(floating, 32), writer), 0);
    ASSERT_EQ(writer->setClientFormat(clientFormat(2, 44100, true)), 0);
    std::vector<Float32> samples(30000);
    std::ranges::generate(samples, [value = 0.0F]() mutable { return value += 1.0F / 65536; });
    AudioBufferList list{1, {{2, static_cast<UInt32>(samples.size() * sizeof(Float32)), samples.data()}}};
    ASSERT_EQ(writer->write(15000, list), 0);
    ASSERT_EQ(writer->close(), 0);
    const DecodedFile file = decodeFile(folder.file("recording"));
    ASSERT_EQ(file.frames(), 15000);
    for (std::size_t i = 0; i < 15000; ++i) {
        ASSERT_EQ(file.samples[0][i], static_cast<double>(samples[2 * i]));
        ASSERT_EQ(file.samples[1][i], static_cast<double>(samples[2 * i + 1]));
    }
}

TEST(Files_FileWriter, TakesNoMoreFramesOnceItIsClosed) {
    const FileFolder folder;
    std::unique_ptr<FileWriter> writer;
    ASSERT_EQ(FileWriter::create(folder.file("recording"), kAudioFileFLACType,
                                 fileFormat(kAudioFormatFLAC, 1, 0, 2, 44100), writer),
              0);
    ASSERT_EQ(writeSignal(*writer, tones(2, 1000, 44100, 997)), 0);
    EXPECT_EQ(writer->close(), 0);
    const std::string content = contentOfFile(folder.file("recording"));
    EXPECT_EQ(writer->close(), 0);
    EXPECT_EQ(writeSignal(*writer, tones(2, 1000, 44100, 997)), kAudioFileNotOpenError);
    EXPECT_EQ(writer->setClientFormat(clientFormat(2, 44100)), kExtAudioFileError_InvalidOperationOrder);
    writer.reset();
    EXPECT_EQ(contentOfFile(folder.file("recording")), content);
}

TEST(Files_FileWriter, CompletesTheFileWhenItGoes) {
    const FileFolder folder;
    std::unique_ptr<FileWriter> writer;
    ASSERT_EQ(FileWriter::create(folder.file("recording"), kAudioFileM4AType,
                                 fileFormat(kAudioFormatAppleLossless, 0, 0, 2, 44100), writer),
              0);
    ASSERT_EQ(writeSignal(*writer, tones(2, 10000, 44100, 997)), 0);
    writer.reset();
    EXPECT_EQ(decodeFile(folder.file("recording")).frames(), 10000);
}

TEST(Files_FileWriter, AcceptsABitRateWhereTheCodingHasNone) {
    const FileFolder folder;
    std::vector<std::string> contents;
    for (const UInt32 bitRate : {32000U, 320000U}) {
        std::unique_ptr<FileWriter> writer;
        ASSERT_EQ(FileWriter::create(folder.file("recording"), kAudioFileFLACType,
                                     fileFormat(kAudioFormatFLAC, 1, 0, 2, 44100), writer),
                  0);
        EXPECT_EQ(writer->setBitRate(bitRate), 0);
        EXPECT_EQ(writer->primeInfo().leadingFrames, 0U);
        EXPECT_EQ(writer->primeInfo().trailingFrames, 0U);
        ASSERT_EQ(writeSignal(*writer, tones(2, 10000, 44100, 997)), 0);
        ASSERT_EQ(writer->close(), 0);
        contents.push_back(contentOfFile(folder.file("recording")));
    }
    EXPECT_EQ(contents[0], contents[1]);
}

TEST(Files_FileWriter, ReplacesALongerFile) {
    const FileFolder folder;
    std::ofstream(folder.file("recording")) << std::string(1000000, 'x');
    std::unique_ptr<FileWriter> writer;
    ASSERT_EQ(FileWriter::create(folder.file("recording"), kAudioFileWAVEType, pcm(integer, 16), writer), 0);
    ASSERT_EQ(writeSignal(*writer, tones(2, 1000, 44100, 997)), 0);
    ASSERT_EQ(writer->close(), 0);
    EXPECT_LT(std::filesystem::file_size(folder.file("recording")), 5000U);
    EXPECT_EQ(decodeFile(folder.file("recording")).frames(), 1000);
}

TEST(Files_FileWriter, GivesBackTheSpaceThatItReservedAndDidNotUse) {
    const FileFolder folder;
    std::unique_ptr<FileWriter> writer;
    ASSERT_EQ(FileWriter::create(folder.file("recording"), kAudioFileWAVEType, pcm(integer, 16), writer), 0);
    ASSERT_EQ(writeSignal(*writer, tones(2, 1000, 44100, 997)), 0);
    ASSERT_EQ(writer->close(), 0);
    struct stat facts {};
    ASSERT_EQ(::stat(folder.file("recording").c_str(), &facts), 0);
    EXPECT_LE(facts.st_blocks * 512, 64 * 1024);
}

} // namespace
