// What the file class says when a call of the platform fails.

#include "BRAQAudio/BRAQExtendedAudioFile.h"

#include "tests/src/FailingFileCall.h"
#include "tests/src/FileFixture.h"
#include "tests/src/FileHook.h"
#include "tests/support/FrameLists.h"

namespace {

using braq::tests::audioFile;
using braq::tests::FileCall;
using braq::tests::FileCalls;
using braq::tests::FileHook;
using braq::tests::FrameList;
using testing::HasSubstr;

constexpr const char* reporter = "src/BRAQExtendedAudioFile";
constexpr const char* category = "src/BRAQExtendedAudioFile_AudioUnit";
constexpr const char* openCall = "ExtAudioFileOpenURL( (__bridge CFURLRef)url, &afRef )";
constexpr const char* openMethod = "-[BRAQExtendedAudioFile initForPlaybackWithFileURL:options:error:]";

class ExtendedAudioFileErrors : public FileTest {
  protected:
    static void expectRaised(const Failing& failing, const std::function<void()>& operation,
                             const char* reportingFile = reporter) {
        const FileHook hook(failing.function, failing.detail, failure);
        expectFileRaised(operation, failure, reportingFile, failing.method, failing.origin);
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

} // namespace
