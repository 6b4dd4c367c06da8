#include "tests/support/TemporaryFolder.h"
#include "tools/braq/record/RecordFormats.h"
#include "tools/braq/record/RecordedFile.h"
#include "tools/braq/shared/Trouble.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;

std::string complaint(const std::string& path, const std::string& name) {
    try {
        chooseRecordFormat(path, name);
    } catch (const WrongUsage& raised) {
        return raised.what();
    }
    return "none";
}

TEST(RecordFormats, TheEndingChoosesTheTypeAndItsUsualFormat) {
    EXPECT_EQ(chooseRecordFormat("a.wav", "").fileType, kAudioFileWAVEType);
    EXPECT_EQ(chooseRecordFormat("a.wav", "").description.mBitsPerChannel, 16U);
    EXPECT_EQ(chooseRecordFormat("/b/A.FLAC", "").description.mFormatID, kAudioFormatFLAC);
    EXPECT_EQ(chooseRecordFormat("a.b.m4a", "").description.mFormatID, kAudioFormatMPEG4AAC);
    EXPECT_EQ(chooseRecordFormat("a.m4a", "alac24").description.mFormatFlags, 3U);
    EXPECT_EQ(chooseRecordFormat("a.caf", "float").description.mFormatFlags,
              kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked);
}

TEST(RecordFormats, SaysWhatGoesTogetherInstead) {
    EXPECT_THAT(complaint("a.mp3", ""), HasSubstr("selects the file type"));
    EXPECT_THAT(complaint("wav", ""), HasSubstr(".wav .wave"));
    EXPECT_THAT(complaint("a.flac", "aac"), HasSubstr("cannot hold 'aac', only flac flac24"));
    EXPECT_THAT(complaint("a.wav", "mp3"), HasSubstr("cannot hold 'mp3', only pcm16 pcm24 pcm32 float"));
    EXPECT_THAT(complaint("a.caf", "pcm8"), HasSubstr("only pcm16 pcm24 pcm32 float alac alac24;")) << "8 and 64 bits";
    EXPECT_THAT(complaint("a.ogg", ""), HasSubstr("selects the file type")) << "it cannot be written";
}

TEST(RecordFormats, TheStandardOutputTakesWhatCanBeWrittenForwards) {
    EXPECT_EQ(chooseRecordFormat("-", "").fileType, kAudioFileWAVEType);
    EXPECT_EQ(chooseRecordFormat("-", "").description.mBitsPerChannel, 16U);
    EXPECT_EQ(chooseRecordFormat("-", "float").fileType, kAudioFileWAVEType);
    EXPECT_EQ(chooseRecordFormat("-", "flac24").fileType, kAudioFileFLACType);
    EXPECT_EQ(chooseRecordFormat("-", "aac").fileType, kAudioFileAAC_ADTSType);
    EXPECT_EQ(complaint("-", "alac"), "the standard output cannot get 'alac', only pcm16 pcm24 pcm32 float (WAVE) flac "
                                      "flac24 (FLAC) aac (ADTS)");
    EXPECT_THAT(recordFormatsHelp(), testing::EndsWith("flac24 (FLAC) aac (ADTS)"));
}

TEST(RecordFormats, AreThoseThatTheLibraryWrites) {
    for (const BRAQAudioFileFormat& format : BRAQAudioFileFormats()) {
        for (const std::string& extension : format.extensions) {
            for (const BRAQAudioFileSample& sample : format.samples) {
                const UInt32 bits = sample.description.mBitsPerChannel;
                const bool isOffered = complaint("a." + extension, sample.name) == "none";
                EXPECT_EQ(isOffered, format.canBeWritten && bits != 8 && bits != 64) << extension << " " << sample.name;
            }
        }
    }
}

TEST(RecordFormats, EachOfThemCanBeWrittenAndReadAgain) {
    const braq::tests::TemporaryFolder folder;
    const auto pairs = recordFormats();
    EXPECT_GT(pairs.size(), 30U);
    for (const auto& [ending, name] : pairs) {
        const std::string path = folder.path() / (name + ending);
        const RecordFormat format = chooseRecordFormat(path, name);
        constexpr UInt32 frames = 4800;
        {
            const auto file =
                RecordedFile::create(path, format.fileType, descriptionOf(format, 1, 48000.0), nullptr, std::nullopt);
            const std::unique_ptr<AudioBufferList, decltype(&BRAQAudioBufferListDestroy)> list(
                BRAQAudioBufferListCreate(1, sizeof(Float32), frames, false), &BRAQAudioBufferListDestroy);
            UInt32 toWrite = frames;
            file->writeAudioBufferList(list.get(), &toWrite);
        }
        const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(path);
        ASSERT_NE(file, nullptr) << path;
        EXPECT_EQ(file->fileDataFormat().mFormatID, format.description.mFormatID) << path;
        EXPECT_GE(file->frameCount(), frames) << path;
    }
}

TEST(RecordedFile, TakesSoManyFramesAndNoMore) {
    const braq::tests::TemporaryFolder folder;
    const std::string path = folder.path() / "a.wav";
    const RecordFormat format = chooseRecordFormat(path, "");
    auto file = RecordedFile::create(path, format.fileType, descriptionOf(format, 1, 48000.0), nullptr, 1500);
    const std::unique_ptr<AudioBufferList, decltype(&BRAQAudioBufferListDestroy)> list(
        BRAQAudioBufferListCreate(1, sizeof(Float32), 1000, false), &BRAQAudioBufferListDestroy);
    for (const SInt64 expected : {1000, 1500, 1500}) {
        UInt32 frames = 1000;
        file->writeAudioBufferList(list.get(), &frames);
        EXPECT_EQ(frames, 1000U);
        EXPECT_EQ(file->framesWritten(), expected);
    }
    file.reset();
    EXPECT_EQ(BRAQExtendedAudioFile::initForPlaybackWithFilename(path)->frameCount(), 1500);
}

} // namespace
