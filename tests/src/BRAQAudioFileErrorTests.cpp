// What the simple file class says when a call of the platform fails.

#include "BRAQAudio/BRAQAudioFile.h"

#include "tests/src/FailingFileCall.h"
#include "tests/src/FileFixture.h"
#include "tests/src/FileHook.h"
#include "tests/support/CapturedLog.h"

#include <algorithm>

namespace {

using braq::tests::CapturedLog;
using braq::tests::FileCall;
using braq::tests::FileCalls;
using braq::tests::FileHook;

class AudioFileErrors : public FileTest {
  protected:
    void expectRaised(const Failing& failing, const std::function<void()>& operation,
                      const char* reportingFile = "src/BRAQAudioFile") {
        const FileHook hook(failing.function, failing.detail, failure);
        expectFileRaised(operation, failure, reportingFile, failing.method, failing.origin);
    }
};

TEST_F(AudioFileErrors, RecordingRaisesTheCallThatFailedAndClosesWhatItHad) {
    const auto record = [this] {
        BRAQAudioFile::initForRecordingWithFilename(path("a.m4a"), description(kAudioFormatMPEG4AAC, 2, 44100), 128000);
    };
    constexpr const char* init = "-[BRAQAudioFile initForRecordingWithFileURL:streamDescription:bitrate:]";
    constexpr const char* setBitrate = "-[BRAQAudioFile setBitrate:]";
    const Failing all[] = {
        {"ExtAudioFileCreateWithURL", kAudioFileM4AType, init,
         "ExtAudioFileCreateWithURL((__bridge CFURLRef)self.url, audioFileType, &asbd, ((void*)0), "
         "kAudioFileFlags_EraseFile, &afRef)"},
        {"ExtAudioFileGetProperty", kExtAudioFileProperty_FileDataFormat, "-[BRAQAudioFile fileDataFormat]", getFile},
        {"ExtAudioFileSetProperty", kExtAudioFileProperty_ClientDataFormat,
         "-[BRAQAudioFile setClientDataFormatForRecording]", setClient},
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
        const auto made = calls.take();
        EXPECT_EQ(made.back(), (FileCall{"ExtAudioFileDispose", 0})) << failing.origin;
        EXPECT_EQ(made[made.size() - 2], (FileCall{failing.function, failing.detail})) << "nothing runs after it";
    }
}

TEST_F(AudioFileErrors, PlaybackRaisesTheCallThatFailedAndClosesWhatItHad) {
    const std::string name = numbered(10);
    const auto play = [&] { BRAQAudioFile::initForPlaybackWithFilename(name); };
    const Failing all[] = {
        {"ExtAudioFileOpenURL", 0, "-[BRAQAudioFile initForPlaybackWithFileURL:]",
         "ExtAudioFileOpenURL( (__bridge CFURLRef)self.url, &afRef )"},
        {"ExtAudioFileGetProperty", kExtAudioFileProperty_FileDataFormat, "-[BRAQAudioFile fileDataFormat]", getFile},
        {"ExtAudioFileSetProperty", kExtAudioFileProperty_ClientDataFormat,
         "-[BRAQAudioFile setClientDataFormatForPlayback]", setClient},
    };
    for (const auto& failing : all) {
        FileCalls calls;
        expectRaised(failing, play);
        EXPECT_EQ(calls.take().back(), (FileCall{"ExtAudioFileDispose", 0}));
    }
}

TEST_F(AudioFileErrors, OperationsRaiseTheCallThatFailed) {
    const auto file = BRAQAudioFile::initForPlaybackWithFilename(numbered(10));
    expectRaised({"ExtAudioFileGetProperty", kExtAudioFileProperty_ClientDataFormat,
                  "-[BRAQAudioFile clientDataFormat]", getClient},
                 [&] { file->streamDescription(); });
    expectRaised(
        {"ExtAudioFileGetProperty", kExtAudioFileProperty_ClientMaxPacketSize, "-[BRAQAudioFile maxPacketSize]",
         "ExtAudioFileGetProperty( mAudioFile, kExtAudioFileProperty_ClientMaxPacketSize, &size, &maxPacketSize)"},
        [&] { file->maxPacketSize(); });
    expectRaised(
        {"ExtAudioFileGetProperty", kExtAudioFileProperty_AudioConverter, "-[BRAQAudioFile bitrate]", getConverter},
        [&] { file->bitrate(); });
    expectRaised({"AudioConverterGetProperty", kAudioConverterEncodeBitRate, "-[BRAQAudioFile bitrate]",
                  "AudioConverterGetProperty(audioConverter, kAudioConverterEncodeBitRate, &size, &bitrate)"},
                 [&] { file->bitrate(); });
}

TEST_F(AudioFileErrors, QueueOperationsReportTheirOwnFile) {
    constexpr const char* category = "src/BRAQAudioFile_Queue";
    constexpr const char* read = "-[BRAQAudioFile readIntoQueueBuffer:startFrame:framesRead:]";
    Float32 samples[4] = {};
    AudioQueueBuffer buffer{sizeof(samples), samples, sizeof(samples)};
    UInt32 frames = 0;
    const auto file = BRAQAudioFile::initForPlaybackWithFilename(numbered(10, 1));
    expectRaised(
        {"ExtAudioFileSeek", 3, read, "ExtAudioFileSeek( mAudioFile, inStartFrame )"},
        [&] { file->readIntoQueueBuffer(&buffer, 3, &frames); }, category);
    expectRaised(
        {"ExtAudioFileRead", 0, read, "ExtAudioFileRead(mAudioFile, &numFrames, &abl )"},
        [&] { file->readIntoQueueBuffer(&buffer, 3, &frames); }, category);
    expectRaised(
        {"ExtAudioFileWrite", 0, "-[BRAQAudioFile writeQueueBuffer:]",
         "ExtAudioFileWrite( mAudioFile, numFrames, &abl )"},
        [&] { file->writeQueueBuffer(&buffer); }, category);
}

TEST_F(AudioFileErrors, AClosedFileAnswersEveryOperationWithAnError) {
    const auto file = BRAQAudioFile::initForPlaybackWithFilename(numbered(10));
    file->closeFile();
    expectFileRaised([&] { file->clientDataFormat(); }, kAudioFileNotOpenError, "src/BRAQAudioFile",
                     "-[BRAQAudioFile clientDataFormat]", getClient);
    EXPECT_THROW(file->estimatedDuration(), NSException);
    EXPECT_THROW(file->setBitrate(1), NSException);
}

TEST_F(AudioFileErrors, WhatIsNoFileIsRaised) {
    const CapturedLog log;
    const auto expectStatus = [](const std::shared_ptr<NSURL>& url, OSStatus status) {
        expectFileRaised([&] { BRAQAudioFile::initForPlaybackWithFileURL(url); }, status, "src/BRAQAudioFile",
                         "-[BRAQAudioFile initForPlaybackWithFileURL:]",
                         "ExtAudioFileOpenURL( (__bridge CFURLRef)self.url, &afRef )");
    };
    expectStatus(url("missing.wav"), kAudioFileFileNotFoundError);
    expectStatus(url(""), kAudioFileUnspecifiedError);
    expectStatus(NSURL::urlWithString("http://example.org/a.wav"), kAudioFileUnspecifiedError);
    expectStatus(nullptr, kAudio_ParamError);
    EXPECT_THROW(BRAQAudioFile::initForRecordingWithFileURL(nullptr, pcm16(), 0), NSException);
    EXPECT_THROW(BRAQAudioFile::initForRecordingWithFilename(path("a.wav"), nullptr, 0), NSException);
}

} // namespace
