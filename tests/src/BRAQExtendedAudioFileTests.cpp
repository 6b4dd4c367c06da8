#include "BRAQAudio/BRAQExtendedAudioFile.h"

#include "BRAQAudio/BRAQAudioDevice.h"
#include "tests/src/FileFixture.h"
#include "tests/src/FileHook.h"

namespace {

using braq::tests::audioFile;
using braq::tests::FileCall;
using braq::tests::FileCalls;
using braq::tests::FileHook;
using testing::ElementsAre;

class ExtendedAudioFile : public FileTest {
  protected:
    std::shared_ptr<BRAQExtendedAudioFile> record(const std::string& name,
                                                  const std::shared_ptr<BRAQAudioStreamBasicDescription>& format,
                                                  UInt32 bitrate = 0,
                                                  const std::shared_ptr<BRAQAudioDevice>& device = nullptr) const {
        return BRAQExtendedAudioFile::initForRecordingWithFilename(path(name), format, bitrate, device);
    }
    static AudioFileTypeID typeOf(const BRAQExtendedAudioFile& file) {
        AudioFileID container = nullptr;
        UInt32 size = sizeof(container);
        EXPECT_EQ(ExtAudioFileGetProperty(file.audioFile(), kExtAudioFileProperty_AudioFile, &size, &container), 0);
        AudioFileTypeID type = 0;
        size = sizeof(type);
        EXPECT_EQ(AudioFileGetProperty(container, kAudioFilePropertyFileFormat, &size, &type), 0);
        return type;
    }
    static std::shared_ptr<BRAQAudioDevice> deviceOf(const BRAQSoftwareDevice& device) {
        return BRAQAudioDevice::initWithDeviceID(device.deviceID());
    }
};

TEST_F(ExtendedAudioFile, RecordsToATypeThatFollowsTheCodingWhateverTheNameSays) {
    EXPECT_EQ(typeOf(*record("a.wav", description(kAudioFormatAppleLossless, 2, 44100))), kAudioFileM4AType);
    EXPECT_EQ(typeOf(*record("a.wav", description(kAudioFormatMPEG4AAC, 2, 44100))), kAudioFileMPEG4Type);
    EXPECT_EQ(typeOf(*record("a.wav", pcm16())), kAudioFileMPEG4Type);
}

TEST_F(ExtendedAudioFile, RecordsToATypeOfTheCallersChoice) {
    const auto wave =
        BRAQExtendedAudioFile::initForRecordingWithFilename(path("a.mp4"), kAudioFileWAVEType, pcm16(), 0, nullptr);
    EXPECT_EQ(typeOf(*wave), kAudioFileWAVEType);
    const auto flac = BRAQExtendedAudioFile::initForRecordingWithFileURL(
        url("a.flac"), kAudioFileFLACType, description(kAudioFormatFLAC, 2, 44100, 16), 0, nullptr);
    EXPECT_EQ(typeOf(*flac), kAudioFileFLACType);
}

TEST_F(ExtendedAudioFile, TakesTheByteOrderOfItsOwnType) {
    const auto big = pcm16();
    BRAQExtendedAudioFile::initForRecordingWithFilename(path("a.wav"), kAudioFileAIFFType, big, 0, nullptr);
    EXPECT_NE(big->formatFlags() & 2U, 0U);
    const auto little = pcm16();
    record("a.aiff", little);
    EXPECT_EQ(little->formatFlags() & 2U, 0U) << "the type follows from the coding, so it is not AIFF";
    const auto coded = description(kAudioFormatMPEG4AAC, 2, 44100);
    record("a.mp4", coded);
    EXPECT_EQ(coded->formatFlags(), 2U);
}

TEST_F(ExtendedAudioFile, RecordsAtTheRateOfTheDevice) {
    const auto ofMachine = makeRecorder(48000);
    const auto ofCaller = makeDeviceWith({.uid = "caller", .sampleRate = 96000});
    const auto file = record("a.mp4", pcm16(1, 22050), 0, deviceOf(*ofCaller));
    EXPECT_EQ(file->clientDataFormat().mSampleRate, 96000.0);
    EXPECT_EQ(file->clientDataFormat().mFormatFlags, 41U);
    EXPECT_EQ(file->clientDataFormat().mChannelsPerFrame, 1U) << "those of the file";
    EXPECT_EQ(file->fileDataFormat().mSampleRate, 22050.0);
}

TEST_F(ExtendedAudioFile, RecordsAtTheRateOfTheFileWithoutADevice) {
    const auto ofMachine = makeRecorder(96000);
    EXPECT_EQ(record("a.mp4", pcm16(1, 22050))->clientDataFormat().mSampleRate, 22050.0);
}

TEST_F(ExtendedAudioFile, LeavesABitRateOf0ToTheCoding) {
    FileCalls calls;
    const auto file = record("a.mp4", description(kAudioFormatMPEG4AAC, 2, 44100), 0);
    EXPECT_THAT(calls.take(),
                testing::Not(testing::Contains(testing::Field(&FileCall::function, "AudioConverterSetProperty"))));
    EXPECT_EQ(record("b.mp4", description(kAudioFormatMPEG4AAC, 2, 44100), 96000)->bitrate(), 96000U);
    EXPECT_EQ(record("c.mp4", description(kAudioFormatMPEG4AAC, 1, 44100), 96000)->bitrate(), 48000U) << "halved";
}

TEST_F(ExtendedAudioFile, TakesItsStepsInOrder) {
    FileCalls calls;
    record("a.mp4", description(kAudioFormatMPEG4AAC, 2, 44100), 96000);
    EXPECT_THAT(
        calls.take(),
        ElementsAre(FileCall{"AudioFileGetGlobalInfoSize", kAudioFileGlobalInfo_AvailableStreamDescriptionsForFormat},
                    FileCall{"AudioFileGetGlobalInfo", kAudioFileGlobalInfo_AvailableStreamDescriptionsForFormat},
                    FileCall{"ExtAudioFileCreateWithURL", kAudioFileMPEG4Type},
                    FileCall{"ExtAudioFileGetProperty", kExtAudioFileProperty_FileDataFormat},
                    FileCall{"ExtAudioFileSetProperty", kExtAudioFileProperty_ClientDataFormat},
                    FileCall{"ExtAudioFileGetProperty", kExtAudioFileProperty_AudioConverter},
                    FileCall{"ExtAudioFileGetProperty", kExtAudioFileProperty_ClientDataFormat},
                    FileCall{"AudioConverterSetProperty", kAudioConverterEncodeBitRate},
                    FileCall{"ExtAudioFileSetProperty", kExtAudioFileProperty_ConverterConfig},
                    FileCall{"ExtAudioFileWriteAsync", 0}, FileCall{"ExtAudioFileDispose", 0}));
}

TEST_F(ExtendedAudioFile, PlaysInPlanarFloatWithTheChannelsAndTheRateOfTheFile) {
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(audioFile("mono-22k-16.wav"));
    const AudioStreamBasicDescription client = file->clientDataFormat();
    EXPECT_EQ(client.mFormatFlags, 41U);
    EXPECT_EQ(client.mBytesPerFrame, 4U);
    EXPECT_EQ(client.mChannelsPerFrame, 1U);
    EXPECT_EQ(client.mSampleRate, 22050.0);
    EXPECT_EQ(file->streamDescription()->sampleRate(), 22050.0);
    EXPECT_EQ(file->fileStreamDescription()->bitsPerChannel(), 16U);
    EXPECT_EQ(file->maxPacketSize(), 4U);
    EXPECT_EQ(file->clientSampleRate(), 0.0);
    EXPECT_EQ(file->rateScalar(), 1.0F);
    EXPECT_EQ(file->unscaledFrameCount(), 0);
    EXPECT_FALSE(file->reverse());
}

TEST_F(ExtendedAudioFile, PlaysAtARateOfTheCallersChoiceWithTheChannelsOfTheFile) {
    const auto preferred = description(kAudioFormatLinearPCM, 1, 22050);
    for (const auto& file : {BRAQExtendedAudioFile::initForPlaybackWithFilename(
                                 numbered(44100, 2, 44100), {.clientDataFormat = preferred, .clientSampleRate = 48000}),
                             BRAQExtendedAudioFile::initForPlaybackWithFilename(
                                 numbered(44100, 2, 44100), {{kBRAQExtendedAudioFileClientDataFormatKey, preferred},
                                                             {kBRAQExtendedAudioFileClientSampleRateKey, 48000.0}})}) {
        EXPECT_EQ(file->clientDataFormat().mSampleRate, 48000.0);
        EXPECT_EQ(file->clientDataFormat().mChannelsPerFrame, 2U);
        EXPECT_EQ(file->clientSampleRate(), 48000.0);
        EXPECT_EQ(file->rateScalar(), 0.91875F);
        EXPECT_EQ(file->frameCount(), 48000);
        EXPECT_EQ(file->estimatedDuration(), 1000.0);
    }
}

TEST_F(ExtendedAudioFile, PlaysInTheFormatOfTheCallersChoice) {
    const auto preferred = description(kAudioFormatMPEG4AAC, 1, 22050);
    const BRAQExtendedAudioFileOptionDictionary options = {{kBRAQExtendedAudioFileClientDataFormatKey, preferred},
                                                           {"SomethingElse", 7}};
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(numbered(10, 2, 44100), options);
    const AudioStreamBasicDescription client = file->clientDataFormat();
    EXPECT_EQ(client.mFormatID, kAudioFormatLinearPCM) << "only channels and rate are taken";
    EXPECT_EQ(client.mFormatFlags, 41U);
    EXPECT_EQ(client.mChannelsPerFrame, 1U);
    EXPECT_EQ(client.mSampleRate, 22050.0);
    EXPECT_EQ(file->rateScalar(), 2.0F);
    EXPECT_EQ(preferred.use_count(), 3) << "held: by the test, its options and the file";
}

TEST_F(ExtendedAudioFile, TakesAnotherRateLater) {
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(numbered(10, 2, 22050));
    file->setClientSampleRate(44100);
    EXPECT_TRUE(file->setClientDataFormatForPlaybackError(nullptr));
    EXPECT_EQ(file->rateScalar(), 0.5F);
}

TEST_F(ExtendedAudioFile, TakesWholeNumbersAsRatesAndRefusesWhatIsNoNumber) {
    using Dictionary = BRAQExtendedAudioFileOptionDictionary;
    const auto name = numbered(10);
    EXPECT_EQ(BRAQExtendedAudioFile::initForPlaybackWithFilename(
                  name, Dictionary{{kBRAQExtendedAudioFileClientSampleRateKey, 24000}})
                  ->clientDataFormat()
                  .mSampleRate,
              24000.0);
    EXPECT_THROW(BRAQExtendedAudioFile::initForPlaybackWithFilename(
                     name, Dictionary{{kBRAQExtendedAudioFileClientSampleRateKey, pcm16()}}),
                 NSException);
    EXPECT_THROW(BRAQExtendedAudioFile::initForPlaybackWithFilename(
                     name, Dictionary{{kBRAQExtendedAudioFileClientDataFormatKey, 1.0}}),
                 NSException);
}

TEST_F(ExtendedAudioFile, NamesItsOptions) {
    EXPECT_STREQ(kBRAQExtendedAudioFileClientDataFormatKey, "BRAQExtendedAudioFileClientDataFormat");
    EXPECT_STREQ(kBRAQExtendedAudioFileClientSampleRateKey, "BRAQExtendedAudioFileClientSampleRate");
}

struct DerivedExtendedFile : BRAQExtendedAudioFile {
    explicit DerivedExtendedFile(const std::shared_ptr<NSURL>& url) : BRAQExtendedAudioFile(url, Options()) {
        mUnscaledFrameCount = 7;
    }
};

TEST_F(ExtendedAudioFile, IsEqualToOneOfItsClassWithItsUrlAndItsFrames) {
    const auto name = numbered(10);
    const auto one = BRAQExtendedAudioFile::initForPlaybackWithFilename(name);
    const auto other = BRAQExtendedAudioFile::initForPlaybackWithFilename(name);
    const DerivedExtendedFile derived(url("numbered.wav"));
    EXPECT_EQ(*one, *other);
    EXPECT_TRUE(one->isEqual(derived));
    EXPECT_FALSE(derived.isEqual(*one));
    EXPECT_EQ(derived.unscaledFrameCount(), 7);
    other->setUrl(url("other.wav"));
    EXPECT_NE(*one, *other);
    EXPECT_THROW(DerivedExtendedFile(url("missing.wav")), NSException);
}

TEST_F(ExtendedAudioFile, SaysWhatTheCodingAdds) {
    const auto none = BRAQExtendedAudioFile::initForPlaybackWithFilename(numbered(10));
    EXPECT_EQ(none->primeInfo().leadingFrames, 0U);
    EXPECT_EQ(none->primeInfo().trailingFrames, 0U);
    EXPECT_EQ(none->primeOffset(), 0U);
    const FileHook hook("AudioConverterGetProperty", kAudioConverterPrimeInfo,
                        FileHook::answer(AudioConverterPrimeInfo{2112, 0xFFFFFFFF}));
    EXPECT_EQ(none->primeInfo().leadingFrames, 2112U);
    EXPECT_EQ(none->primeOffset(), 2111U) << "added in 32 bits";
}

TEST_F(ExtendedAudioFile, AnswersZerosWhereThePrimingCannotBeAskedFor) {
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(numbered(10));
    const FileHook hook("AudioConverterGetProperty", kAudioConverterPrimeInfo, [](void* data) {
        *static_cast<AudioConverterPrimeInfo*>(data) = {1, 2};
        return OSStatus{-50};
    });
    EXPECT_EQ(file->primeOffset(), 0U);
}

} // namespace
