// What the file class says when a call of the platform fails, and what it makes of bad input.

#include "BRAQAudio/BRAQExtendedAudioFile.h"

#include "tests/src/FileFixture.h"
#include "tests/src/FileHook.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FrameLists.h"

#include <sys/stat.h>
#include <unistd.h>

namespace {

using braq::testing::audioFile;
using braq::testing::CapturedLog;
using braq::testing::FileCall;
using braq::testing::FileCalls;
using braq::testing::FileHook;
using braq::testing::FrameList;
using testing::HasSubstr;

constexpr OSStatus failure = -66569;
constexpr const char* reporter = "src/BRAQExtendedAudioFile";
constexpr const char* category = "src/BRAQExtendedAudioFile_AudioUnit";
constexpr const char* openCall = "ExtAudioFileOpenURL( (__bridge CFURLRef)url, &afRef )";
constexpr const char* openMethod = "-[BRAQExtendedAudioFile initForPlaybackWithFileURL:options:error:]";

/// A call that fails, and who reports it with which words.
struct Failing {
    const char* function;
    SInt64 detail;
    const char* method;
    const char* origin;
};

constexpr const char* getClient =
    "ExtAudioFileGetProperty( mAudioFile, kExtAudioFileProperty_ClientDataFormat, &size, &asbd )";
constexpr const char* getFile =
    "ExtAudioFileGetProperty( mAudioFile, kExtAudioFileProperty_FileDataFormat, &size, &asbd )";
constexpr const char* setClient =
    "ExtAudioFileSetProperty(self.audioFile, kExtAudioFileProperty_ClientDataFormat, size, &clientFormat)";
constexpr const char* getConverter =
    "ExtAudioFileGetProperty(mAudioFile, kExtAudioFileProperty_AudioConverter, &size, &audioConverter)";

class ExtendedAudioFileErrors : public FileTest {
  protected:
    static void expectRaised(const Failing& failing, const std::function<void()>& operation,
                             const char* reportingFile = reporter) {
        const FileHook hook(failing.function, failing.detail, failure);
        expectFileRaised(operation, failure, reportingFile, failing.method, failing.origin);
    }
    static void expectOpenError(const std::shared_ptr<NSURL>& from, OSStatus status) {
        const CapturedLog log;
        std::shared_ptr<NSError> error;
        EXPECT_EQ(BRAQExtendedAudioFile::initForPlaybackWithFileURL(from, &error), nullptr);
        expectFileError(error, status, reporter, openMethod, openCall);
        EXPECT_EQ(BRAQExtendedAudioFile::initForPlaybackWithFileURL(from), nullptr) << "and nothing is raised";
    }
};

TEST_F(ExtendedAudioFileErrors, RecordingRaisesTheCallThatFailedAndClosesWhatItHad) {
    const auto record = [this] {
        BRAQExtendedAudioFile::initForRecordingWithFilename(path("a.mp4"), description(kAudioFormatMPEG4AAC, 2, 44100),
                                                            128000, nullptr);
    };
    constexpr const char* init =
        "-[BRAQExtendedAudioFile initForRecordingWithFileURL:streamDescription:bitrate:audioDevice:]";
    constexpr const char* setBitrate = "-[BRAQExtendedAudioFile setBitrate:]";
    const Failing all[] = {
        {"ExtAudioFileCreateWithURL", kAudioFileMPEG4Type, init,
         "ExtAudioFileCreateWithURL((__bridge CFURLRef)self.url, audioFileType, &asbd, ((void*)0), "
         "kAudioFileFlags_EraseFile, &afRef)"},
        {"ExtAudioFileGetProperty", kExtAudioFileProperty_FileDataFormat, "-[BRAQExtendedAudioFile fileDataFormat]",
         getFile},
        {"ExtAudioFileSetProperty", kExtAudioFileProperty_ClientDataFormat,
         "-[BRAQExtendedAudioFile setClientDataFormatForRecordingWithDevice:]", setClient},
        {"ExtAudioFileGetProperty", kExtAudioFileProperty_AudioConverter, setBitrate, getConverter},
        {"AudioConverterSetProperty", kAudioConverterEncodeBitRate, setBitrate,
         "AudioConverterSetProperty(audioConverter, kAudioConverterEncodeBitRate, size, &bitrate)"},
        {"ExtAudioFileSetProperty", kExtAudioFileProperty_ConverterConfig, setBitrate,
         "ExtAudioFileSetProperty(mAudioFile, kExtAudioFileProperty_ConverterConfig, sizeof(CFPropertyListRef), &cfg)"},
        {"ExtAudioFileWriteAsync", 0, init, "ExtAudioFileWriteAsync( afRef, 0, ((void*)0) )"},
    };
    for (const auto& failing : all) {
        FileCalls calls;
        expectRaised(failing, record);
        EXPECT_EQ(calls.take().back(), (FileCall{"ExtAudioFileDispose", 0})) << failing.origin;
    }
}

TEST_F(ExtendedAudioFileErrors, PlaybackHandsTheErrorOutAndClosesWhatItHad) {
    constexpr const char* setFormat = "-[BRAQExtendedAudioFile setClientDataFormatForPlaybackError:]";
    const auto name = url("numbered.wav");
    numbered(10);
    const Failing all[] = {
        {"ExtAudioFileOpenURL", 0, openMethod, openCall},
        {"ExtAudioFileGetProperty", kExtAudioFileProperty_FileDataFormat, setFormat, getFile},
        {"ExtAudioFileSetProperty", kExtAudioFileProperty_ClientDataFormat, setFormat, setClient},
    };
    for (const auto& failing : all) {
        const FileHook hook(failing.function, failing.detail, failure);
        FileCalls calls;
        std::shared_ptr<NSError> error;
        EXPECT_EQ(BRAQExtendedAudioFile::initForPlaybackWithFileURL(name, {.clientSampleRate = 0}, &error), nullptr);
        expectFileError(error, failure, reporter, failing.method, failing.origin);
        EXPECT_EQ(calls.take().back(), (FileCall{"ExtAudioFileDispose", 0}));
        EXPECT_EQ(BRAQExtendedAudioFile::initForPlaybackWithFileURL(name), nullptr);
    }
}

TEST_F(ExtendedAudioFileErrors, SuccessLeavesTheErrorAlone) {
    numbered(10);
    const auto before = NSError::errorWithDomain("before", 1);
    auto error = before;
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFileURL(url("numbered.wav"), &error);
    ASSERT_NE(file, nullptr);
    EXPECT_TRUE(file->setClientDataFormatForPlaybackError(&error));
    EXPECT_EQ(error, before);
}

TEST_F(ExtendedAudioFileErrors, OperationsRaiseTheCallThatFailed) {
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(numbered(10));
    constexpr const char* count = "-[BRAQExtendedAudioFile frameCount]";
    constexpr const char* bitrate = "-[BRAQExtendedAudioFile bitrate]";
    expectRaised({"ExtAudioFileGetProperty", kExtAudioFileProperty_ClientDataFormat,
                  "-[BRAQExtendedAudioFile clientDataFormat]", getClient},
                 [&] { file->streamDescription(); });
    expectRaised({"ExtAudioFileGetProperty", kExtAudioFileProperty_ClientMaxPacketSize,
                  "-[BRAQExtendedAudioFile maxPacketSize]",
                  "ExtAudioFileGetProperty( mAudioFile, kExtAudioFileProperty_ClientMaxPacketSize, &size, "
                  "&maxPacketSize)"},
                 [&] { file->maxPacketSize(); });
    expectRaised({"ExtAudioFileGetProperty", kExtAudioFileProperty_AudioConverter, bitrate, getConverter},
                 [&] { file->bitrate(); });
    expectRaised({"AudioConverterGetProperty", kAudioConverterEncodeBitRate, bitrate,
                  "AudioConverterGetProperty(audioConverter, kAudioConverterEncodeBitRate, &size, &bitrate)"},
                 [&] { file->bitrate(); });
    expectRaised({"ExtAudioFileGetProperty", kExtAudioFileProperty_AudioConverter, "-[BRAQExtendedAudioFile primeInfo]",
                  "ExtAudioFileGetProperty( mAudioFile, kExtAudioFileProperty_AudioConverter, &acSize , &ac )"},
                 [&] { file->primeOffset(); });
    expectRaised({"ExtAudioFileGetProperty", kExtAudioFileProperty_AudioFile, count,
                  "ExtAudioFileGetProperty( mAudioFile, kExtAudioFileProperty_AudioFile, &size, &afID )"},
                 [&] { file->frameCount(); });
    expectRaised({"AudioFileGetProperty", kAudioFilePropertyAudioDataPacketCount, count,
                  "AudioFileGetProperty( afID, kAudioFilePropertyAudioDataPacketCount, &size, &packetCount )"},
                 [&] { file->frameCount(); });
    expectRaised({"AudioFileGetProperty", kAudioFilePropertyDataFormat, count,
                  "AudioFileGetProperty( afID, kAudioFilePropertyDataFormat, &size, &fileDataFormat )"},
                 [&] { file->frameCount(); });
    expectRaised({"ExtAudioFileSeek", 5, "-[BRAQExtendedAudioFile seekToFrame:]",
                  "ExtAudioFileSeek( mAudioFile, ({ __typeof__(0) __a0 = (0); __typeof__(readFrame) __b0 = "
                  "(readFrame); (__a0 < __b0) ? __b0 : __a0; }) )"},
                 [&] { file->seekToFrame(5); });
}

TEST_F(ExtendedAudioFileErrors, CountingVariablePacketsRaisesTheCallThatFailed) {
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(audioFile("lossy-vorbis.ogg"));
    expectRaised({"AudioFileGetProperty", kAudioFilePropertyPacketToFrame, "-[BRAQExtendedAudioFile frameCount]",
                  "AudioFileGetProperty( afID, kAudioFilePropertyPacketToFrame, &size, &afpt )"},
                 [&] { file->frameCount(); });
}

TEST_F(ExtendedAudioFileErrors, WritingRaisesAndNeedsAFrameCount) {
    const auto file =
        BRAQExtendedAudioFile::initForRecordingWithFilename(path("a.wav"), kAudioFileWAVEType, float32(), 0, nullptr);
    const FrameList list(2, 10);
    UInt32 frames = 10;
    constexpr const char* method = "-[BRAQExtendedAudioFile writeAudioBufferList:framesWritten:]";
    expectRaised(
        {"ExtAudioFileWrite", 0, method, "ExtAudioFileWrite( mAudioFile, numFrames, inBuffer )"},
        [&] { file->writeAudioBufferList(list.get(), &frames); }, category);
    try {
        file->writeAudioBufferList(list.get(), nullptr);
        ADD_FAILURE();
    } catch (const NSException& raised) {
        EXPECT_EQ(raised.name(), NSInternalInconsistencyException);
        EXPECT_THAT(raised.reason(), HasSubstr("Invalid parameter not satisfying: oNumFrames"));
        EXPECT_THAT(raised.reason(), HasSubstr("BRAQExtendedAudioFile_AudioUnit"));
        EXPECT_THAT(raised.reason(), HasSubstr("88"));
        EXPECT_THAT(raised.reason(), HasSubstr(method));
    }
}

TEST_F(ExtendedAudioFileErrors, WhatIsNoFileIsAnError) {
    expectOpenError(url("missing.wav"), kAudioFileFileNotFoundError);
    expectOpenError(url(std::string(4000, 'x')), kAudioFileFileNotFoundError);
    expectOpenError(url(""), kAudioFileUnspecifiedError);
    ASSERT_EQ(::mkfifo(path("fifo").c_str(), 0600), 0);
    expectOpenError(url("fifo"), kAudioFileUnspecifiedError);
    expectOpenError(NSURL::fileURLWithPath("/dev/zero"), kAudioFileUnspecifiedError);
    expectOpenError(nullptr, kAudio_ParamError);
}

TEST_F(ExtendedAudioFileErrors, AUrlThatIsNoFileUrlIsAnErrorThatSaysSo) {
    const CapturedLog log;
    std::shared_ptr<NSError> error;
    EXPECT_EQ(
        BRAQExtendedAudioFile::initForPlaybackWithFileURL(NSURL::urlWithString("http://example.org/a.wav"), &error),
        nullptr);
    expectFileError(error, kAudioFileUnspecifiedError, reporter, openMethod, openCall);
    EXPECT_THAT(log.errors(), testing::ElementsAre(HasSubstr("http://example.org/a.wav is no file")));
}

TEST_F(ExtendedAudioFileErrors, WhatHoldsNoAudioIsAnError) {
    for (const char* name :
         {"bad-empty.wav", "bad-header-only.wav", "bad-no-moov.m4a", "bad-noise.mp3", "bad-text.wav"}) {
        SCOPED_TRACE(name);
        expectOpenError(NSURL::fileURLWithPath(audioFile(name)), kAudioFileInvalidFileError);
    }
}

TEST_F(ExtendedAudioFileErrors, ACutOffFilePlaysUpToWhereItWasCut) {
    const CapturedLog log;
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(audioFile("bad-truncated.flac"));
    ASSERT_NE(file, nullptr);
    const FrameList list(2, 4096);
    SInt64 total = 0;
    UInt32 frames = 4096;
    while (frames != 0) {
        frames = 4096;
        list.get()->mBuffers[0].mDataByteSize = list.get()->mBuffers[1].mDataByteSize = 4096 * sizeof(Float32);
        file->readIntoAudioBufferList(list.get(), 0, &frames);
        total += frames;
    }
    EXPECT_EQ(total, 8192) << "the two blocks that are whole";
}

TEST_F(ExtendedAudioFileErrors, AFileThatShrinksWhileItIsReadEndsEarly) {
    const CapturedLog log;
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(numbered(500000));
    const FrameList list(2, 1000);
    UInt32 frames = 1000;
    file->readIntoAudioBufferList(list.get(), 0, &frames);
    EXPECT_EQ(frames, 1000U);
    std::filesystem::resize_file(path("numbered.wav"), 100);
    file->seekToFrame(400000);
    frames = 1000;
    file->readIntoAudioBufferList(list.get(), 0, &frames);
    EXPECT_EQ(frames, 0U);
}

TEST_F(ExtendedAudioFileErrors, AFileThatIsRemovedWhileItIsReadIsReadOn) {
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(numbered(500000));
    std::filesystem::remove(path("numbered.wav"));
    file->seekToFrame(400000);
    const FrameList list(2, 1000);
    UInt32 frames = 1000;
    file->readIntoAudioBufferList(list.get(), 0, &frames);
    EXPECT_EQ(frames, 1000U);
    list.expectNumbered(0, 400000, 1000);
}

TEST_F(ExtendedAudioFileErrors, NamesMayBeAnyUtf8AndUrlsMayBePercentEncoded) {
    braq::testing::writeNumberedFile(path("Grüße 100% #1?.wav"), 5);
    EXPECT_NE(BRAQExtendedAudioFile::initForPlaybackWithFilename(path("Grüße 100% #1?.wav")), nullptr);
    const auto encoded =
        NSURL::urlWithString("file://" + folder.path().string() + "/Gr%C3%BC%C3%9Fe%20100%25%20%231%3F.wav");
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFileURL(encoded);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->frameCount(), 5);
}

TEST_F(ExtendedAudioFileErrors, AFolderThatCannotBeWrittenToIsRaised) {
    const CapturedLog log;
    EXPECT_THROW(BRAQExtendedAudioFile::initForRecordingWithFilename(path("no/such/a.mp4"), pcm16(), 0, nullptr),
                 NSException);
    if (::geteuid() == 0) {
        GTEST_SKIP() << "not shown: root may write to every folder";
    }
    std::filesystem::permissions(folder.path(),
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    EXPECT_THROW(BRAQExtendedAudioFile::initForRecordingWithFilename(path("a.mp4"), pcm16(), 0, nullptr), NSException);
    std::filesystem::permissions(folder.path(), std::filesystem::perms::owner_all);
}

TEST_F(ExtendedAudioFileErrors, AFileWithoutPermissionIsAnError) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "not shown: root may read every file";
    }
    numbered(10);
    std::filesystem::permissions(path("numbered.wav"), std::filesystem::perms::none);
    expectOpenError(url("numbered.wav"), kAudioFilePermissionsError);
}

} // namespace
