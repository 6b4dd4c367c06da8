// Counting, seeking, reading and writing frames.

#include "BRAQAudio/BRAQExtendedAudioFile.h"

#include "tests/src/FileFixture.h"
#include "tests/src/FileHook.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FrameLists.h"

#include <limits>
#include <vector>

namespace {

using braq::tests::audioFile;
using braq::tests::CapturedLog;
using braq::tests::FileCall;
using braq::tests::FileCalls;
using braq::tests::FileHook;
using braq::tests::FrameList;
using braq::tests::sampleOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

class ExtendedAudioFileFrames : public FileTest {
  protected:
    static std::shared_ptr<BRAQExtendedAudioFile> play(const std::string& name, Float64 clientRate = 0.0) {
        return BRAQExtendedAudioFile::initForPlaybackWithFilename(name, {.clientSampleRate = clientRate});
    }
    static UInt32 read(BRAQExtendedAudioFile& file, const FrameList& list, SInt64 startFrame, UInt32 frames) {
        file.readIntoAudioBufferList(list.get(), startFrame, &frames);
        return frames;
    }

    /// What a file of so many packets says of itself.
    struct Packets {
        Packets(SInt64 count, UInt32 framesPerPacket, std::function<OSStatus(void*)> tableAnswer)
            : packets("AudioFileGetProperty", kAudioFilePropertyAudioDataPacketCount, FileHook::answer(count)),
              format("AudioFileGetProperty", kAudioFilePropertyDataFormat,
                     FileHook::answer(AudioStreamBasicDescription{.mSampleRate = 48000,
                                                                  .mFormatID = 0,
                                                                  .mFormatFlags = 0,
                                                                  .mBytesPerPacket = 0,
                                                                  .mFramesPerPacket = framesPerPacket,
                                                                  .mBytesPerFrame = 0,
                                                                  .mChannelsPerFrame = 2,
                                                                  .mBitsPerChannel = 0,
                                                                  .mReserved = 0})),
              table("AudioFileGetProperty", kAudioFilePropertyPacketTableInfo, std::move(tableAnswer)) {}
        FileHook packets;
        FileHook format;
        FileHook table;
    };
    static std::function<OSStatus(void*)> noTable() {
        return [](void* data) {
            *static_cast<AudioFilePacketTableInfo*>(data) = {1, 2, 3};
            return kAudioFileUnsupportedPropertyError;
        };
    }
};

TEST_F(ExtendedAudioFileFrames, AreThoseOfAllPacketsWithoutPrimingAndRemainder) {
    const auto file = play(numbered(10));
    const Packets packets(100, 1024, FileHook::answer(AudioFilePacketTableInfo{0, 2112, 576}));
    EXPECT_EQ(file->frameCount(), 102400 - 2688);
}

TEST_F(ExtendedAudioFileFrames, AreThoseOfAllPacketsWhereThereIsNoTable) {
    const auto file = play(numbered(10));
    const Packets packets(100, 1152, noTable());
    EXPECT_EQ(file->frameCount(), 115200);
}

TEST_F(ExtendedAudioFileFrames, AreCountedInSinglePrecision) {
    const auto file = play(numbered(10));
    const Packets packets(16'777'217, 1, noTable());
    EXPECT_EQ(file->frameCount(), 16'777'216);
}

TEST_F(ExtendedAudioFileFrames, AreCountedAtTheClientsRateAndCutOff) {
    const auto file = play(numbered(10, 2, 44100), 48000);
    const Packets packets(1000, 1, noTable());
    EXPECT_EQ(file->frameCount(), 1088) << "1000 / 0.91875 = 1088.4";
}

TEST_F(ExtendedAudioFileFrames, OfATableThatTakesMoreThanThereIsAreAsManyAsThereCanBe) {
    const auto file = play(numbered(10));
    const Packets packets(1, 1024, FileHook::answer(AudioFilePacketTableInfo{0, 2112, 576}));
    EXPECT_EQ(file->frameCount(), std::numeric_limits<SInt64>::max()) << "2^64 - 1664 does not fit";
}

TEST_F(ExtendedAudioFileFrames, OfVariablePacketsEndWhereTheLastPacketBegins) {
    const auto file = play(numbered(10));
    const Packets packets(100, 0, FileHook::answer(AudioFilePacketTableInfo{0, 100, 0}));
    const FileHook translation("AudioFileGetProperty", kAudioFilePropertyPacketToFrame, [](void* data) {
        auto* const translated = static_cast<AudioFramePacketTranslation*>(data);
        EXPECT_EQ(translated->mPacket, 99);
        EXPECT_EQ(translated->mFrameOffsetInPacket, 0U);
        translated->mFrame = 5000;
        return OSStatus{0};
    });
    EXPECT_EQ(file->frameCount(), 4900);
}

TEST_F(ExtendedAudioFileFrames, OfFilesOnDisk) {
    EXPECT_EQ(play(numbered(12345))->frameCount(), 12345);
    EXPECT_EQ(play(audioFile("reference-44k-stereo-16.wav"))->frameCount(), 176400);
    EXPECT_EQ(play(audioFile("lossy-aac.m4a"))->frameCount(), 176400);
    const SInt64 vorbis = play(audioFile("lossy-vorbis.ogg"))->frameCount();
    EXPECT_LT(vorbis, 176400) << "without the last packet";
    EXPECT_GT(vorbis, 176400 - 8192);
}

TEST_F(ExtendedAudioFileFrames, AreSoughtInTheFileInSinglePrecision) {
    const auto file = play(numbered(100, 2, 44100), 48000);
    FileCalls calls;
    for (const SInt64 frame : {-10L, 0L, 100L, 16'777'217L}) {
        file->seekToFrame(frame);
    }
    std::vector<SInt64> sought;
    for (const auto& call : calls.take()) {
        if (call.function == "ExtAudioFileSeek") {
            sought.push_back(call.detail);
        }
    }
    EXPECT_THAT(sought, ElementsAre(0, 0, 91, static_cast<SInt64>(16'777'216.0F * 0.91875F)));
}

TEST_F(ExtendedAudioFileFrames, AreCountedExactlyToo) {
    const auto same = play(numbered(10));
    const auto faster = play(numbered(10, 2, 44100), 48000);
    const auto slower = play(numbered(10, 2, 48000), 44100);
    const auto odd = play(numbered(10, 2, 48000), 44100.5);
    const auto count = [](BRAQExtendedAudioFile& file, SInt64 frames) {
        const FileHook length("ExtAudioFileGetProperty", kExtAudioFileProperty_FileLengthFrames,
                              FileHook::answer(frames));
        return file.exactFrameCount();
    };
    constexpr SInt64 many = (SInt64{1} << 40) + 1;
    EXPECT_EQ(count(*same, 16'777'217), 16'777'217);
    EXPECT_EQ(count(*same, many), many);
    EXPECT_EQ(count(*faster, 1000), 1088) << "1088.4";
    EXPECT_EQ(count(*slower, 1000), 919) << "918.75";
    EXPECT_EQ(count(*faster, 44100 * many), 48000 * many);
    EXPECT_EQ(count(*slower, 48000 * many + 1), 44100 * many + 1);
    EXPECT_EQ(count(*odd, 96'000), 88'201);
}

TEST_F(ExtendedAudioFileFrames, CountedExactlyAreThoseThatAreRead) {
    for (const char* name : {"lossy-vorbis.ogg", "lossy-aac.m4a", "reference-44k-stereo-16.wav", "lossy-vbr.mp3"}) {
        for (const Float64 rate : {0.0, 48000.0, 22050.0}) {
            const auto file = play(audioFile(name), rate);
            const FrameList list(2, 4096);
            SInt64 frames = 0;
            for (UInt32 got = 1; got != 0; frames += got) {
                list.get()->mBuffers[0].mDataByteSize = list.get()->mBuffers[1].mDataByteSize = 4096 * sizeof(Float32);
                got = read(*file, list, 0, 4096);
            }
            EXPECT_EQ(file->exactFrameCount(), frames) << name << " at " << rate;
        }
    }
}

TEST_F(ExtendedAudioFileFrames, CountedExactlyAreRaisedIfTheyAreNotKnown) {
    const auto file = play(numbered(10));
    file->closeFile();
    EXPECT_THROW(file->exactFrameCount(), NSException);
    EXPECT_THROW(file->seekToExactFrame(5), NSException);
    EXPECT_THROW(file->seekToExactFrame(16'777'217), NSException);
}

TEST_F(ExtendedAudioFileFrames, AreSoughtExactlyToo) {
    const auto same = play(numbered(100));
    const auto converted = play(numbered(100, 2, 44100), 48000);
    constexpr SInt64 many = (SInt64{1} << 40) + 1;
    FileCalls calls;
    for (const SInt64 frame : {SInt64{-10}, SInt64{0}, SInt64{100}, SInt64{16'777'217}, many}) {
        same->seekToExactFrame(frame);
    }
    for (const SInt64 frame : {SInt64{-10}, SInt64{100}, 48000 * many}) {
        converted->seekToExactFrame(frame);
    }
    std::vector<SInt64> sought;
    for (const auto& call : calls.take()) {
        if (call.function == "ExtAudioFileSeek") {
            sought.push_back(call.detail);
        }
    }
    EXPECT_THAT(sought, ElementsAre(0, 0, 100, 16'777'217, many, 0, 92, 44100 * many)) << "100 is 91.9";
}

TEST_F(ExtendedAudioFileFrames, OfAnotherSourceAreCountedAndSoughtByIt) {
    struct Elsewhere : BRAQExtendedAudioFile {
        SInt64 frameCount() const override { return 77; }
        void seekToFrame(SInt64 frame) override { sought = frame; }
        SInt64 sought = 0;
    } file;
    EXPECT_EQ(file.exactFrameCount(), 77);
    file.seekToExactFrame(16'777'217);
    EXPECT_EQ(file.sought, 16'777'217);
}

TEST_F(ExtendedAudioFileFrames, AreReadOnFromWhereTheFileIs) {
    const auto file = play(numbered(1000));
    const FrameList list(2, 400);
    EXPECT_EQ(read(*file, list, 77, 400), 400U) << "the start frame means nothing forwards";
    list.expectNumbered(0, 0, 400);
    EXPECT_EQ(read(*file, list, 0, 400), 400U);
    list.expectNumbered(0, 400, 400);
    EXPECT_EQ(read(*file, list, 0, 400), 200U) << "the rest";
    list.expectNumbered(0, 800, 200);
    EXPECT_EQ(list.get()->mBuffers[1].mDataByteSize, 800U);
    list.get()->mBuffers[0].mDataByteSize = list.get()->mBuffers[1].mDataByteSize = 1600;
    EXPECT_EQ(read(*file, list, 0, 400), 0U);
    EXPECT_EQ(list.get()->mBuffers[1].mDataByteSize, 0U) << "read, and found to be at the end";
    file->seekToFrame(-10);
    list.get()->mBuffers[0].mDataByteSize = list.get()->mBuffers[1].mDataByteSize = 1600;
    EXPECT_EQ(read(*file, list, 0, 400), 400U);
    list.expectNumbered(0, 0, 400);
}

void expectBackwards(const FrameList& list, UInt64 firstNumber, UInt32 frames) {
    for (UInt32 channel = 0; channel < 2; ++channel) {
        for (UInt32 frame = 0; frame < frames; ++frame) {
            ASSERT_EQ(list.sample(channel, frame), sampleOf(firstNumber - frame, channel)) << "frame " << frame;
        }
    }
}

TEST_F(ExtendedAudioFileFrames, AreReadBackwardsToTheStartFrame) {
    const auto file = play(numbered(10000));
    file->setReverse(true);
    {
        const FrameList list(2, 4096);
        EXPECT_EQ(read(*file, list, 5000, 4096), 4096U);
        expectBackwards(list, 4999, 4096);
    }
    const FrameList list(2, 4096);
    EXPECT_EQ(read(*file, list, 100, 4096), 100U);
    expectBackwards(list, 99, 100);
    for (const SInt64 start : {0, -5}) {
        EXPECT_EQ(read(*file, list, start, 4096), 0U);
    }
}

TEST_F(ExtendedAudioFileFrames, AreReadBackwardsAtTheEndOfTheFileAsFarAsTheyAreThere) {
    const auto file = play(numbered(1000));
    file->setReverse(true);
    const FrameList list(2, 400);
    EXPECT_EQ(read(*file, list, 1100, 400), 300U) << "700 to 999";
    expectBackwards(list, 999, 300);
}

TEST_F(ExtendedAudioFileFrames, WithinABufferOfSeveralChannelsKeepTheirChannelsBackwards) {
    const auto file = play(numbered(1000));
    AudioStreamBasicDescription interleaved = file->clientDataFormat();
    interleaved.mFormatFlags &= ~kAudioFormatFlagIsNonInterleaved;
    interleaved.mBytesPerFrame = interleaved.mBytesPerPacket = 8;
    ASSERT_EQ(ExtAudioFileSetProperty(file->audioFile(), kExtAudioFileProperty_ClientDataFormat, sizeof(interleaved),
                                      &interleaved),
              0);
    file->setReverse(true);
    Float32 samples[8] = {};
    AudioBufferList list{1, {{2, sizeof(samples), samples}}};
    UInt32 frames = 4;
    file->readIntoAudioBufferList(&list, 10, &frames);
    EXPECT_EQ(frames, 4U);
    EXPECT_THAT(samples, ElementsAre(sampleOf(9, 0), sampleOf(9, 1), sampleOf(8, 0), sampleOf(8, 1), sampleOf(7, 0),
                                     sampleOf(7, 1), sampleOf(6, 0), sampleOf(6, 1)));
}

TEST_F(ExtendedAudioFileFrames, OfNoneAreNotAskedFor) {
    const auto file = play(numbered(100));
    const FrameList list(2, 10);
    FileCalls calls;
    EXPECT_EQ(read(*file, list, 0, 0), 0U);
    EXPECT_THAT(calls.take(), testing::IsEmpty());
    file->setReverse(true);
    EXPECT_EQ(read(*file, list, 50, 0), 0U);
    EXPECT_THAT(calls.take(), Contains(FileCall{"ExtAudioFileSeek", 50})) << "the block has its place all the same";
    EXPECT_EQ(read(*file, list, 0, 10), 0U);
    EXPECT_THAT(calls.take(), Not(Contains(FileCall{"ExtAudioFileRead", 0})));
}

TEST_F(ExtendedAudioFileFrames, OfAReadThatFailsAreNone) {
    const auto file = play(numbered(100));
    const FrameList list(2, 10);
    {
        const FileHook hook("ExtAudioFileRead", 0, -50);
        EXPECT_EQ(read(*file, list, 0, 10), 0U);
        file->setReverse(true);
        EXPECT_EQ(read(*file, list, 50, 10), 0U);
    }
    file->setReverse(false);
    const CapturedLog log;
    EXPECT_EQ(read(*file, list, 0, 4000000000U), 0U) << "more than the list has room for";
    EXPECT_THAT(log.errors(), ElementsAre(testing::HasSubstr("do not fit"))) << "which is not the end of the file";
}

TEST_F(ExtendedAudioFileFrames, AreWritten) {
    const auto file =
        BRAQExtendedAudioFile::initForRecordingWithFilename(path("a.wav"), kAudioFileWAVEType, float32(), 0, nullptr);
    const FrameList list(2, 400);
    braq::tests::number(list.get(), 0, 400);
    UInt32 frames = 300;
    file->writeAudioBufferList(list.get(), &frames);
    EXPECT_EQ(frames, 300U);
    EXPECT_EQ(list.get()->mBuffers[0].mDataByteSize, 1200U);
    EXPECT_EQ(list.get()->mBuffers[1].mDataByteSize, 1200U);
    braq::tests::number(list.get(), 300, 100);
    frames = 100;
    file->writeAudioBufferList(list.get(), &frames);
    file->closeFile();
    const auto written = braq::tests::framesOfFile(path("a.wav"));
    ASSERT_EQ(written.size(), 400U);
    for (UInt64 i = 0; i < written.size(); ++i) {
        ASSERT_EQ(written[i], i);
    }
}

} // namespace
