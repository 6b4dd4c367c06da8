#include "BRAQAudio/BRAQAudioFile.h"

#include "tests/src/FileFixture.h"
#include "tests/src/FileHook.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FrameLists.h"

#include <vector>

namespace {

using braq::tests::audioFile;
using braq::tests::FileCalls;
using braq::tests::FileHook;
using braq::tests::sampleOf;
using testing::ElementsAre;

class AudioFile : public FileTest {
  protected:
    std::shared_ptr<BRAQAudioFile> record(const std::string& name,
                                          const std::shared_ptr<BRAQAudioStreamBasicDescription>& format,
                                          UInt32 bitrate = 128000) const {
        return BRAQAudioFile::initForRecordingWithFilename(path(name), format, bitrate);
    }
    static std::shared_ptr<BRAQAudioFile> play(const std::string& name) {
        return BRAQAudioFile::initForPlaybackWithFilename(name);
    }
    static AudioFileTypeID typeOf(const BRAQAudioFile& file) {
        AudioFileID container = nullptr;
        UInt32 size = sizeof(container);
        EXPECT_EQ(ExtAudioFileGetProperty(file.audioFile(), kExtAudioFileProperty_AudioFile, &size, &container), 0);
        AudioFileTypeID type = 0;
        size = sizeof(type);
        EXPECT_EQ(AudioFileGetProperty(container, kAudioFilePropertyFileFormat, &size, &type), 0);
        return type;
    }
};

TEST_F(AudioFile, PlaysInPlanarFloatAtTheFilesRate) {
    const auto file = play(audioFile("mono-22k-16.wav"));
    const AudioStreamBasicDescription client = file->clientDataFormat();
    EXPECT_EQ(client.mFormatID, kAudioFormatLinearPCM);
    EXPECT_EQ(client.mFormatFlags, 41U);
    EXPECT_EQ(client.mBitsPerChannel, 32U);
    EXPECT_EQ(client.mFramesPerPacket, 1U);
    EXPECT_EQ(client.mBytesPerFrame, 4U);
    EXPECT_EQ(client.mBytesPerPacket, 4U);
    EXPECT_EQ(client.mChannelsPerFrame, 1U);
    EXPECT_EQ(client.mSampleRate, 22050.0);
    EXPECT_EQ(file->fileDataFormat().mBitsPerChannel, 16U);
    EXPECT_EQ(file->streamDescription()->formatFlags(), 41U);
    EXPECT_EQ(file->fileStreamDescription()->bitsPerChannel(), 16U);
    EXPECT_NE(file->streamDescription(), file->streamDescription());
    EXPECT_EQ(file->maxPacketSize(), 4U);
}

TEST_F(AudioFile, RecordsAtTheRateOfTheDefaultInputDevice) {
    const auto device = makeRecorder(96000);
    const auto file = record("new.wav", pcm16(2, 22050));
    EXPECT_EQ(file->clientDataFormat().mSampleRate, 96000.0);
    EXPECT_EQ(file->clientDataFormat().mFormatFlags, 41U);
    EXPECT_EQ(file->clientDataFormat().mChannelsPerFrame, 2U);
    EXPECT_EQ(file->fileDataFormat().mSampleRate, 22050.0);
}

TEST_F(AudioFile, RecordsToTheTypeOfItsExtension) {
    EXPECT_EQ(typeOf(*record("a.wav", pcm16())), kAudioFileWAVEType);
    EXPECT_EQ(typeOf(*record("a.b.AIFF", pcm16())), kAudioFileAIFFType);
    EXPECT_EQ(typeOf(*record("a.caf", pcm16())), kAudioFileCAFType);
}

TEST_F(AudioFile, RecordsToCAFWhenTheExtensionSaysNothing) {
    std::filesystem::create_directory(path("folder.wav"));
    for (const char* name : {"nothing", "a.unheard-of", "dot.", "no UTF-8.\xFF", "folder.wav/nothing"}) {
        EXPECT_EQ(typeOf(*record(name, pcm16())), kAudioFileCAFType) << name;
    }
}

TEST_F(AudioFile, TakesTheByteOrderOfTheTypeAndSaysSoInTheCallersDescription) {
    const auto little = pcm16();
    record("little.wav", little);
    EXPECT_EQ(little->formatFlags(), kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked);
    const auto big = pcm16();
    const auto file = record("big.aiff", big);
    EXPECT_EQ(big->formatFlags(), kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked | 2U);
    EXPECT_NE(file->fileDataFormat().mFormatFlags & 2U, 0U);
}

TEST_F(AudioFile, ComparesNothingButTheBitsWithTheLinearPCMOfTheType) {
    const auto coded = description(kAudioFormatMPEG4AAC, 2, 44100);
    record("coded.mp4", coded);
    EXPECT_EQ(coded->formatFlags(), 2U) << "no linear PCM has 0 bits";
    const auto alone = description(kAudioFormatFLAC, 2, 44100, 16);
    record("alone.flac", alone);
    EXPECT_EQ(alone->formatFlags(), 0U) << "a type without linear PCM is not asked further";
}

TEST_F(AudioFile, LeavesTheByteOrderAloneWhenTheTypesCannotBeListed) {
    for (const char* function : {"AudioFileGetGlobalInfoSize", "AudioFileGetGlobalInfo"}) {
        const FileHook hook(function, kAudioFileGlobalInfo_AvailableStreamDescriptionsForFormat, -50);
        const auto format = pcm16();
        EXPECT_THROW(record("big.aiff", format), NSException) << "AIFF holds no little-endian samples";
        EXPECT_EQ(format->formatFlags(), kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked);
    }
}

TEST_F(AudioFile, HalvesTheBitRateOfMonoRecordings) {
    const auto mono = record("mono.m4a", description(kAudioFormatMPEG4AAC, 1, 44100), 128000);
    EXPECT_EQ(mono->bitrate(), 64000U);
    mono->setBitrate(96001);
    EXPECT_EQ(mono->bitrate(), 48000U);
    EXPECT_EQ(record("stereo.m4a", description(kAudioFormatMPEG4AAC, 2, 44100), 128000)->bitrate(), 128000U);
}

TEST_F(AudioFile, TakesABitRateForLinearPCM) {
    EXPECT_NO_THROW(record("a.wav", pcm16(), 0));
    EXPECT_NO_THROW(record("b.wav", pcm16(), 128000));
}

TEST_F(AudioFile, KnowsItsFramesAndItsDuration) {
    const auto file = play(numbered(44100, 1, 44100));
    EXPECT_EQ(file->frameCount(), 44100);
    EXPECT_EQ(file->estimatedDuration(), 1000.0);
}

TEST_F(AudioFile, CountsNoFramesWhereTheLengthCannotBeRead) {
    const auto file = play(numbered(100));
    file->closeFile();
    EXPECT_EQ(file->frameCount(), 0);
    file->closeFile();
}

TEST_F(AudioFile, KeepsItsUrlAndItsMark) {
    const auto file = play(numbered(10));
    EXPECT_TRUE(file->url()->isEqual(url("numbered.wav").get()));
    file->setUrl(url("other.wav"));
    EXPECT_TRUE(file->url()->isEqual(url("other.wav").get()));
    EXPECT_FALSE(file->reverse());
    file->setReverse(true);
    EXPECT_TRUE(file->reverse());
}

struct DerivedFile : BRAQAudioFile {
    explicit DerivedFile(const std::shared_ptr<NSURL>& url) : BRAQAudioFile(url) {}
};
struct FurtherDerivedFile : DerivedFile {
    using DerivedFile::DerivedFile;
};

TEST_F(AudioFile, IsEqualToOneOfItsClassWithItsUrlAndItsFrames) {
    const auto recording = record("a.wav", pcm16());
    braq::tests::writeNumberedFile(path("b.wav"), 0);
    const auto playing = play(path("b.wav"));
    playing->setUrl(url("a.wav"));
    EXPECT_EQ(*recording, *playing) << "one recording, one playing, no frames both";
    playing->setUrl(url("b.wav"));
    EXPECT_NE(*recording, *playing);
    const auto longer = play(numbered(1));
    longer->setUrl(url("a.wav"));
    EXPECT_NE(*recording, *longer);
    playing->setUrl(nullptr);
    EXPECT_NE(*playing, *playing);
}

TEST_F(AudioFile, IsEqualToOneOfADerivedClassButNotTheOtherWayRound) {
    const auto base = play(numbered(10));
    const DerivedFile derived(url("numbered.wav"));
    const FurtherDerivedFile further(url("numbered.wav"));
    EXPECT_TRUE(base->isEqual(derived));
    EXPECT_TRUE(base->isEqual(further));
    EXPECT_FALSE(derived.isEqual(*base));
    EXPECT_TRUE(derived.isEqual(derived));
    EXPECT_TRUE(derived.isEqual(further));
    EXPECT_FALSE(further.isEqual(derived));
}

TEST_F(AudioFile, WritesAndReadsBuffersOfAQueue) {
    std::vector<Float32> samples(100);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = sampleOf(i, 0);
    }
    const auto size = static_cast<UInt32>(samples.size() * sizeof(Float32));
    AudioQueueBuffer buffer{size, samples.data(), size};
    const auto recording = record("mono.wav", float32(1));
    recording->writeQueueBuffer(&buffer);
    buffer.mAudioDataByteSize = 40;
    recording->writeQueueBuffer(&buffer);
    recording->closeFile();

    const auto playing = play(path("mono.wav"));
    EXPECT_EQ(playing->frameCount(), 110);
    UInt32 frames = 0;
    playing->readIntoQueueBuffer(&buffer, 10, &frames);
    EXPECT_EQ(frames, 100U);
    EXPECT_EQ(buffer.mAudioDataByteSize, 400U);
    EXPECT_EQ(samples[0], sampleOf(10, 0));
    EXPECT_EQ(samples[90], sampleOf(0, 0));
    playing->readIntoQueueBuffer(&buffer, 100, &frames);
    EXPECT_EQ(frames, 10U);
    EXPECT_EQ(buffer.mAudioDataByteSize, 40U);
    for (const SInt64 start : {110, 5000}) {
        frames = 7;
        playing->readIntoQueueBuffer(&buffer, start, &frames);
        EXPECT_EQ(frames, 0U);
        EXPECT_EQ(buffer.mAudioDataByteSize, 0U);
    }
}

TEST_F(AudioFile, DescribesAQueueBufferInAWayThatFitsMonoFilesOnly) {
    std::vector<Float32> samples(8);
    AudioQueueBuffer buffer{32, samples.data(), 32};
    UInt32 frames = 0;
    const braq::tests::CapturedLog log;
    EXPECT_THROW(play(numbered(10))->readIntoQueueBuffer(&buffer, 0, &frames), NSException);
    EXPECT_THROW(record("stereo.wav", float32())->writeQueueBuffer(&buffer), NSException);
}

TEST_F(AudioFile, TakesItsStepsInOrder) {
    FileCalls calls;
    const auto file = record("a.m4a", description(kAudioFormatMPEG4AAC, 2, 44100));
    EXPECT_THAT(calls.take(),
                ElementsAre(braq::tests::FileCall{"AudioFileGetGlobalInfo", kAudioFileGlobalInfo_TypesForExtension},
                            braq::tests::FileCall{"AudioFileGetGlobalInfoSize",
                                                  kAudioFileGlobalInfo_AvailableStreamDescriptionsForFormat},
                            braq::tests::FileCall{"ExtAudioFileCreateWithURL", kAudioFileM4AType},
                            braq::tests::FileCall{"ExtAudioFileGetProperty", kExtAudioFileProperty_FileDataFormat},
                            braq::tests::FileCall{"ExtAudioFileSetProperty", kExtAudioFileProperty_ClientDataFormat},
                            braq::tests::FileCall{"ExtAudioFileGetProperty", kExtAudioFileProperty_AudioConverter},
                            braq::tests::FileCall{"ExtAudioFileGetProperty", kExtAudioFileProperty_ClientDataFormat},
                            braq::tests::FileCall{"AudioConverterSetProperty", kAudioConverterEncodeBitRate},
                            braq::tests::FileCall{"ExtAudioFileSetProperty", kExtAudioFileProperty_ConverterConfig},
                            braq::tests::FileCall{"ExtAudioFileWriteAsync", 0}));
}

} // namespace
