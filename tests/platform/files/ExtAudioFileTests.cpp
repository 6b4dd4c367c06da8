#include "BRAQAudio/platform/files.h"

#include "BRAQAudio/platform/foundation/BRAQStatus.h"
#include "BRAQAudio/platform/foundation/CFString.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <vector>

namespace {

using braq::tests::CapturedLog;
using testing::ElementsAre;
using testing::HasSubstr;

AudioStreamBasicDescription floatFormat(UInt32 channels, Float64 rate = 48000.0) {
    AudioStreamBasicDescription format{};
    format.mSampleRate = rate;
    format.mFormatID = kAudioFormatLinearPCM;
    format.mFormatFlags = kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked;
    format.mBitsPerChannel = 32;
    format.mChannelsPerFrame = channels;
    format.mFramesPerPacket = 1;
    format.mBytesPerFrame = format.mBytesPerPacket = 4 * channels;
    return format;
}

AudioStreamBasicDescription planarFloat(UInt32 channels, Float64 rate = 48000.0) {
    AudioStreamBasicDescription format = floatFormat(channels, rate);
    format.mFormatFlags |= kAudioFormatFlagIsNonInterleaved;
    format.mBytesPerFrame = format.mBytesPerPacket = 4;
    return format;
}

/// One channel of samples as a list of one buffer.
struct Mono {
    explicit Mono(std::vector<Float32> with) : samples(std::move(with)) {
        list.mNumberBuffers = 1;
        list.mBuffers[0] = {1, static_cast<UInt32>(samples.size() * sizeof(Float32)), samples.data()};
    }
    std::vector<Float32> samples;
    AudioBufferList list{};
};

class ExtAudioFile : public testing::Test {
  protected:
    std::shared_ptr<NSURL> url(const char* name) const { return NSURL::fileURLWithPath(folder.path() / name); }

    /// A new mono float WAVE file with a planar client format at its own rate.
    ExtAudioFileRef create(const char* name) const {
        ExtAudioFileRef file = nullptr;
        const auto format = floatFormat(1);
        EXPECT_EQ(ExtAudioFileCreateWithURL(url(name).get(), kAudioFileWAVEType, &format, nullptr,
                                            kAudioFileFlags_EraseFile, &file),
                  0);
        const auto client = planarFloat(1);
        EXPECT_EQ(ExtAudioFileSetProperty(file, kExtAudioFileProperty_ClientDataFormat, sizeof(client), &client), 0);
        return file;
    }

    std::vector<Float32> contents(const char* name) const {
        ExtAudioFileRef file = nullptr;
        EXPECT_EQ(ExtAudioFileOpenURL(url(name).get(), &file), 0);
        Mono room(std::vector<Float32>(10'000));
        UInt32 frames = 10'000;
        EXPECT_EQ(ExtAudioFileRead(file, &frames, &room.list), 0);
        EXPECT_EQ(room.list.mBuffers[0].mDataByteSize, frames * sizeof(Float32));
        EXPECT_EQ(ExtAudioFileDispose(file), 0);
        room.samples.resize(frames);
        return room.samples;
    }

    const braq::tests::TemporaryFolder folder;
};

template <class T>
OSStatus get(ExtAudioFileRef file, ExtAudioFilePropertyID property, T& value) {
    UInt32 size = sizeof(value);
    return ExtAudioFileGetProperty(file, property, &size, &value);
}

TEST_F(ExtAudioFile, WritesAndReadsAndSeeks) {
    ExtAudioFileRef file = create("a.wav");
    Mono block({0.5F, -1.0F, 0.25F, 7.0F});
    EXPECT_EQ(ExtAudioFileWrite(file, 4, &block.list), 0);
    SInt64 length = 0;
    EXPECT_EQ(get(file, kExtAudioFileProperty_FileLengthFrames, length), 0);
    EXPECT_EQ(length, 4);
    EXPECT_EQ(ExtAudioFileDispose(file), 0);
    EXPECT_THAT(contents("a.wav"), ElementsAre(0.5F, -1.0F, 0.25F, 7.0F));

    ASSERT_EQ(ExtAudioFileOpenURL(url("a.wav").get(), &file), 0);
    EXPECT_EQ(ExtAudioFileSeek(file, 2), 0);
    Mono room({0, 0, 0});
    UInt32 frames = 3;
    EXPECT_EQ(ExtAudioFileRead(file, &frames, &room.list), 0);
    EXPECT_EQ(frames, 2U);
    EXPECT_EQ(room.samples[1], 7.0F);
    EXPECT_EQ(ExtAudioFileSeek(file, -1), kExtAudioFileError_InvalidSeek);
    EXPECT_EQ(ExtAudioFileSeek(file, 1000), 0);
    frames = 3;
    EXPECT_EQ(ExtAudioFileRead(file, &frames, &room.list), kAudio_ParamError)
        << "the list says that it has room for the two that were read";
    room.list.mBuffers[0].mDataByteSize = 12;
    EXPECT_EQ(ExtAudioFileRead(file, &frames, &room.list), 0);
    EXPECT_EQ(frames, 0U);
    EXPECT_EQ(ExtAudioFileDispose(file), 0);
}

TEST_F(ExtAudioFile, SaysOnceThatAListIsTooSmallUntilOneFits) {
    ExtAudioFileRef file = create("a.wav");
    Mono block({1, 2, 3, 4});
    EXPECT_EQ(ExtAudioFileWrite(file, 4, &block.list), 0);
    EXPECT_EQ(ExtAudioFileDispose(file), 0);
    ASSERT_EQ(ExtAudioFileOpenURL(url("a.wav").get(), &file), 0);
    const CapturedLog log;
    Mono room({0, 0});
    const auto read = [&](UInt32 frames) { return ExtAudioFileRead(file, &frames, &room.list); };
    EXPECT_EQ(read(3), kAudio_ParamError);
    EXPECT_EQ(read(3), kAudio_ParamError);
    EXPECT_THAT(log.errors(), ElementsAre(HasSubstr("3 frames of the client format do not fit")));
    EXPECT_EQ(read(2), 0);
    EXPECT_EQ(read(4), kAudio_ParamError);
    EXPECT_THAT(log.errors(), ElementsAre(HasSubstr("3 frames"), HasSubstr("4 frames")));
    EXPECT_EQ(ExtAudioFileDispose(file), 0);
}

TEST_F(ExtAudioFile, AnswersEveryCallForWhatIsNoOpenFile) {
    ExtAudioFileRef disposed = create("a.wav");
    AudioFileID container = nullptr;
    AudioConverterRef converter = nullptr;
    EXPECT_EQ(get(disposed, kExtAudioFileProperty_AudioFile, container), 0);
    EXPECT_EQ(get(disposed, kExtAudioFileProperty_AudioConverter, converter), 0);
    EXPECT_EQ(ExtAudioFileDispose(disposed), 0);

    Mono block({1.0F});
    UInt32 frames = 1;
    UInt32 value = 0;
    UInt32 size = sizeof(value);
    for (ExtAudioFileRef file : {ExtAudioFileRef{nullptr}, disposed, reinterpret_cast<ExtAudioFileRef>(container)}) {
        EXPECT_EQ(ExtAudioFileDispose(file), kAudioFileNotOpenError);
        EXPECT_EQ(ExtAudioFileRead(file, &frames, &block.list), kAudioFileNotOpenError);
        EXPECT_EQ(ExtAudioFileWrite(file, 1, &block.list), kAudioFileNotOpenError);
        EXPECT_EQ(ExtAudioFileWriteAsync(file, 0, nullptr), kAudioFileNotOpenError);
        EXPECT_EQ(ExtAudioFileSeek(file, 0), kAudioFileNotOpenError);
        EXPECT_EQ(get(file, kExtAudioFileProperty_ClientMaxPacketSize, value), kAudioFileNotOpenError);
        EXPECT_EQ(ExtAudioFileSetProperty(file, kExtAudioFileProperty_ClientDataFormat, 0, nullptr),
                  kAudioFileNotOpenError);
    }
    for (AudioFileID file : {AudioFileID{nullptr}, container}) {
        EXPECT_EQ(AudioFileGetProperty(file, kAudioFilePropertyFileFormat, &size, &value), kAudioFileNotOpenError);
    }
    for (AudioConverterRef one : {AudioConverterRef{nullptr}, converter}) {
        EXPECT_EQ(AudioConverterGetProperty(one, kAudioConverterEncodeBitRate, &size, &value), kAudioFileNotOpenError);
        EXPECT_EQ(AudioConverterSetProperty(one, kAudioConverterEncodeBitRate, size, &value), kAudioFileNotOpenError);
    }
}

TEST_F(ExtAudioFile, RefusesPropertiesThatItDoesNotKnowOrThatHaveAnotherSize) {
    ExtAudioFileRef file = create("a.wav");
    UInt64 value = 77;
    EXPECT_EQ(get(file, BRAQFourCharCode("xxxx"), value), kExtAudioFileError_InvalidProperty);
    EXPECT_EQ(get(file, kExtAudioFileProperty_ClientMaxPacketSize, value), kExtAudioFileError_InvalidPropertySize);
    EXPECT_EQ(value, 77U);
    const auto format = planarFloat(1);
    EXPECT_EQ(ExtAudioFileSetProperty(file, kExtAudioFileProperty_ClientDataFormat, 39, &format),
              kExtAudioFileError_InvalidPropertySize);
    EXPECT_EQ(ExtAudioFileSetProperty(file, kExtAudioFileProperty_FileDataFormat, sizeof(format), &format),
              kExtAudioFileError_InvalidProperty);
    AudioFileID container = nullptr;
    AudioConverterRef converter = nullptr;
    EXPECT_EQ(get(file, kExtAudioFileProperty_AudioFile, container), 0);
    EXPECT_EQ(get(file, kExtAudioFileProperty_AudioConverter, converter), 0);
    UInt32 size = sizeof(value);
    EXPECT_EQ(AudioFileGetProperty(container, kAudioFilePropertyFileFormat, &size, &value),
              kAudioFileBadPropertySizeError);
    EXPECT_EQ(AudioFileGetProperty(container, BRAQFourCharCode("xxxx"), &size, &value),
              kAudioFileUnsupportedPropertyError);
    EXPECT_EQ(AudioConverterGetProperty(converter, BRAQFourCharCode("xxxx"), &size, &value),
              kAudioConverterErr_PropertyNotSupported);
    EXPECT_EQ(AudioConverterSetProperty(converter, kAudioConverterEncodeBitRate, size, &value),
              kAudioConverterErr_BadPropertySizeError);
    const void* configuration = nullptr;
    EXPECT_EQ(
        ExtAudioFileSetProperty(file, kExtAudioFileProperty_ConverterConfig, sizeof(configuration), &configuration), 0);
    EXPECT_EQ(ExtAudioFileDispose(file), 0);
}

TEST_F(ExtAudioFile, TakesABitRateWhateverTheFormatIs) {
    ExtAudioFileRef written = create("a.wav");
    ExtAudioFileDispose(written);
    ExtAudioFileRef read = nullptr;
    ASSERT_EQ(ExtAudioFileOpenURL(url("a.wav").get(), &read), 0);
    written = create("b.wav");
    for (ExtAudioFileRef file : {written, read}) {
        AudioConverterRef converter = nullptr;
        ASSERT_EQ(get(file, kExtAudioFileProperty_AudioConverter, converter), 0);
        const UInt32 rate = 128000;
        EXPECT_EQ(AudioConverterSetProperty(converter, kAudioConverterEncodeBitRate, sizeof(rate), &rate), 0);
        UInt32 answer = 0;
        UInt32 size = sizeof(answer);
        EXPECT_EQ(AudioConverterGetProperty(converter, kAudioConverterEncodeBitRate, &size, &answer), 0);
        EXPECT_EQ(ExtAudioFileDispose(file), 0);
    }
}

TEST_F(ExtAudioFile, IsEitherReadOrWritten) {
    ExtAudioFileRef file = create("a.wav");
    Mono block({1.0F});
    UInt32 frames = 1;
    EXPECT_EQ(ExtAudioFileRead(file, &frames, &block.list), kExtAudioFileError_InvalidOperationOrder);
    EXPECT_EQ(ExtAudioFileSeek(file, 0), kExtAudioFileError_InvalidOperationOrder);
    EXPECT_EQ(ExtAudioFileDispose(file), 0);
    ASSERT_EQ(ExtAudioFileOpenURL(url("a.wav").get(), &file), 0);
    EXPECT_EQ(ExtAudioFileWrite(file, 1, &block.list), kExtAudioFileError_InvalidOperationOrder);
    EXPECT_EQ(ExtAudioFileWriteAsync(file, 0, nullptr), kExtAudioFileError_InvalidOperationOrder);
    EXPECT_EQ(ExtAudioFileDispose(file), 0);
}

TEST_F(ExtAudioFile, LeavesAFileAloneUnlessItMayErase) {
    ExtAudioFileRef file = create("a.wav");
    Mono block({1.0F, 2.0F});
    EXPECT_EQ(ExtAudioFileWrite(file, 2, &block.list), 0);
    EXPECT_EQ(ExtAudioFileDispose(file), 0);
    const auto format = floatFormat(1);
    EXPECT_EQ(ExtAudioFileCreateWithURL(url("a.wav").get(), kAudioFileWAVEType, &format, nullptr, 0, &file),
              kAudioFilePermissionsError);
    EXPECT_THAT(contents("a.wav"), ElementsAre(1.0F, 2.0F));
    EXPECT_EQ(ExtAudioFileCreateWithURL(url("b.wav").get(), kAudioFileWAVEType, &format, nullptr, 0, &file), 0);
    EXPECT_EQ(ExtAudioFileDispose(file), 0);
}

TEST_F(ExtAudioFile, SaysThatOnlyFilesAreOpened) {
    const CapturedLog log;
    ExtAudioFileRef file = nullptr;
    const auto format = floatFormat(1);
    const auto web = NSURL::urlWithString("http://localhost/a.wav");
    EXPECT_EQ(ExtAudioFileOpenURL(web.get(), &file), kAudioFileUnspecifiedError);
    EXPECT_EQ(BRAQStatusTakeReason(kAudioFileUnspecifiedError), "it is not a file of this machine");
    EXPECT_EQ(
        ExtAudioFileCreateWithURL(web.get(), kAudioFileWAVEType, &format, nullptr, kAudioFileFlags_EraseFile, &file),
        kAudioFileUnspecifiedError);
    EXPECT_EQ(BRAQStatusTakeReason(kAudioFileUnspecifiedError), "it is not a file of this machine");
    EXPECT_THAT(log.errors(), testing::IsEmpty()) << "the caller has the reason";
    EXPECT_EQ(ExtAudioFileOpenURL(nullptr, &file), kAudio_ParamError);
    EXPECT_EQ(ExtAudioFileCreateWithURL(url("a.wav").get(), kAudioFileWAVEType, nullptr, nullptr, 0, &file),
              kAudio_ParamError);
    EXPECT_EQ(file, nullptr);
}

TEST_F(ExtAudioFile, WritesAsynchronouslyInOrderWithWhatIsWrittenAtOnce) {
    ExtAudioFileRef file = create("a.wav");
    EXPECT_EQ(ExtAudioFileWriteAsync(file, 0, nullptr), 0);
    EXPECT_EQ(ExtAudioFileWriteAsync(file, 1, nullptr), kAudio_ParamError);
    std::vector<Float32> expected;
    Mono block(std::vector<Float32>(10));
    for (int i = 0; i < 100; ++i) {
        for (Float32& sample : block.samples) {
            sample = static_cast<Float32>(expected.size());
            expected.push_back(sample);
        }
        // The samples may be reused at once.
        EXPECT_EQ(
            i % 10 == 9 ? ExtAudioFileWrite(file, 10, &block.list) : ExtAudioFileWriteAsync(file, 10, &block.list), 0);
    }
    SInt64 length = 0;
    EXPECT_EQ(get(file, kExtAudioFileProperty_FileLengthFrames, length), 0);
    EXPECT_EQ(length, 1000);
    EXPECT_EQ(ExtAudioFileDispose(file), 0);
    EXPECT_EQ(contents("a.wav"), expected);
}

TEST(AudioFileGlobalInfo, NamesTheTypesOfAnExtension) {
    CFStringRef extension = CFStringCreateWithCString("WAV");
    UInt32 size = 0;
    EXPECT_EQ(AudioFileGetGlobalInfoSize(kAudioFileGlobalInfo_TypesForExtension, sizeof(extension), &extension, &size),
              0);
    EXPECT_GE(size, 4U);
    AudioFileTypeID type = 0;
    size = sizeof(type); // the first one is the canonical one
    EXPECT_EQ(
        AudioFileGetGlobalInfo(kAudioFileGlobalInfo_TypesForExtension, sizeof(extension), &extension, &size, &type), 0);
    EXPECT_EQ(size, 4U);
    EXPECT_EQ(type, kAudioFileWAVEType);
    EXPECT_EQ(AudioFileGetGlobalInfo(kAudioFileGlobalInfo_TypesForExtension, 4, &extension, &size, &type),
              kAudioFileBadPropertySizeError);
    CFRelease(extension);
    extension = CFStringCreateWithCString("xyz");
    EXPECT_EQ(
        AudioFileGetGlobalInfo(kAudioFileGlobalInfo_TypesForExtension, sizeof(extension), &extension, &size, &type),
        kAudioFileUnsupportedFileTypeError);
    CFRelease(extension);
}

TEST(AudioFileGlobalInfo, DescribesWhatATypeHolds) {
    AudioFileTypeAndFormatID pair{kAudioFileWAVEType, kAudioFormatLinearPCM};
    constexpr auto property = kAudioFileGlobalInfo_AvailableStreamDescriptionsForFormat;
    UInt32 size = 0;
    EXPECT_EQ(AudioFileGetGlobalInfoSize(property, sizeof(pair), &pair, &size), 0);
    EXPECT_EQ(size % sizeof(AudioStreamBasicDescription), 0U);
    std::vector<AudioStreamBasicDescription> all(size / sizeof(AudioStreamBasicDescription));
    EXPECT_EQ(AudioFileGetGlobalInfo(property, sizeof(pair), &pair, &size, all.data()), 0);
    for (const auto& one : all) {
        EXPECT_EQ(one.mFormatID, kAudioFormatLinearPCM);
        EXPECT_EQ(one.mFormatFlags & kAudioFormatFlagIsBigEndian, 0U);
    }
    size = 79;
    EXPECT_EQ(AudioFileGetGlobalInfo(property, sizeof(pair), &pair, &size, all.data()), 0);
    EXPECT_EQ(size, 40U) << "whole entries only";
    pair.mFileType = kAudioFileM4AType;
    EXPECT_EQ(AudioFileGetGlobalInfoSize(property, sizeof(pair), &pair, &size), kAudioFileUnsupportedDataFormatError);
    pair.mFileType = BRAQFourCharCode("xxxx");
    EXPECT_EQ(AudioFileGetGlobalInfoSize(property, sizeof(pair), &pair, &size), kAudioFileUnsupportedFileTypeError);
    EXPECT_EQ(AudioFileGetGlobalInfoSize(BRAQFourCharCode("xxxx"), sizeof(pair), &pair, &size),
              kAudioFileUnsupportedPropertyError);
}

} // namespace
