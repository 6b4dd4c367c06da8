#include "platform/files/formats/FileTypes.h"
#include "tests/platform/files/LinearFlags.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using braq::tests::big;
using braq::tests::floating;
using braq::tests::integer;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using Flags = std::pair<UInt32, UInt32>; // bits, flags

std::vector<Flags> linearPCM(AudioFileTypeID type) {
    std::vector<AudioStreamBasicDescription> found;
    EXPECT_EQ(braq::streamDescriptions(type, kAudioFormatLinearPCM, found), 0);
    std::vector<Flags> flags;
    for (const AudioStreamBasicDescription& each : found) {
        flags.emplace_back(each.mBitsPerChannel, each.mFormatFlags);
    }
    return flags;
}

OSStatus statusFor(AudioFileTypeID type, UInt32 formatID) {
    std::vector<AudioStreamBasicDescription> found(3);
    const OSStatus status = braq::streamDescriptions(type, formatID, found);
    EXPECT_EQ(status == 0, !found.empty());
    return status;
}

TEST(Files_FileTypes, FindTheTypeOfEachExtension) {
    const std::pair<const char*, AudioFileTypeID> expected[] = {
        {"wav", kAudioFileWAVEType},     {"wave", kAudioFileWAVEType},     {"aif", kAudioFileAIFFType},
        {"aiff", kAudioFileAIFFType},    {"aifc", kAudioFileAIFCType},     {"caf", kAudioFileCAFType},
        {"m4a", kAudioFileM4AType},      {"mp4", kAudioFileMPEG4Type},     {"mp3", kAudioFileMP3Type},
        {"aac", kAudioFileAAC_ADTSType}, {"adts", kAudioFileAAC_ADTSType}, {"flac", kAudioFileFLACType},
        {"au", kAudioFileNextType},      {"snd", kAudioFileNextType},      {"rf64", kAudioFileRF64Type},
        {"ogg", kBRAQAudioFileOggType},  {"opus", kBRAQAudioFileOggType},
    };
    for (const auto& [extension, type] : expected) {
        const auto types = braq::fileTypesOfExtension(extension);
        ASSERT_FALSE(types.empty()) << extension;
        EXPECT_EQ(types.front(), type) << extension;
    }
}

TEST(Files_FileTypes, PutTheCanonicalOneFirstWhereTypesShareAnExtension) {
    EXPECT_THAT(braq::fileTypesOfExtension("wav"), ElementsAre(kAudioFileWAVEType, kAudioFileRF64Type));
    EXPECT_THAT(braq::fileTypesOfExtension("aif"), ElementsAre(kAudioFileAIFFType, kAudioFileAIFCType));
    EXPECT_THAT(braq::fileTypesOfExtension("flac"), ElementsAre(kAudioFileFLACType));
}

TEST(Files_FileTypes, FindExtensionsInEitherCase) {
    EXPECT_EQ(braq::fileTypesOfExtension("WAV"), braq::fileTypesOfExtension("wav"));
    EXPECT_EQ(braq::fileTypesOfExtension("FlAc"), braq::fileTypesOfExtension("flac"));
    EXPECT_EQ(braq::fileTypesOfExtension("RF64"), braq::fileTypesOfExtension("rf64"));
}

TEST(Files_FileTypes, FindNoTypeForOtherExtensions) {
    for (const char* extension : {"", "xyz", ".wav", "wa", "wavx", "wav ", "w\xC3\xA4v"}) {
        EXPECT_THAT(braq::fileTypesOfExtension(extension), IsEmpty()) << extension;
    }
}

TEST(Files_FileTypes, ListTheLinearPCMOfWAVEAndRF64) {
    for (const AudioFileTypeID type : {kAudioFileWAVEType, kAudioFileRF64Type}) {
        EXPECT_THAT(linearPCM(type),
                    UnorderedElementsAre(Flags(8, kAudioFormatFlagIsPacked), Flags(16, integer), Flags(24, integer),
                                         Flags(32, integer), Flags(32, floating), Flags(64, floating)));
    }
}

TEST(Files_FileTypes, ListTheLinearPCMOfAIFFAndAIFC) {
    EXPECT_THAT(linearPCM(kAudioFileAIFFType),
                UnorderedElementsAre(Flags(8, integer | big), Flags(16, integer | big), Flags(24, integer | big),
                                     Flags(32, integer | big)));
    EXPECT_THAT(linearPCM(kAudioFileAIFCType),
                UnorderedElementsAre(Flags(8, integer | big), Flags(16, integer | big), Flags(24, integer | big),
                                     Flags(32, integer | big), Flags(32, floating | big), Flags(16, integer)));
}

TEST(Files_FileTypes, ListTheLinearPCMOfCAFInBothOrders) {
    EXPECT_THAT(linearPCM(kAudioFileCAFType),
                UnorderedElementsAre(Flags(8, integer), Flags(16, integer), Flags(24, integer), Flags(32, integer),
                                     Flags(32, floating), Flags(64, floating), Flags(8, integer | big),
                                     Flags(16, integer | big), Flags(24, integer | big), Flags(32, integer | big),
                                     Flags(32, floating | big), Flags(64, floating | big)));
}

TEST(Files_FileTypes, ListTheLinearPCMOfMPEG4InBothOrders) {
    EXPECT_THAT(linearPCM(kAudioFileMPEG4Type),
                UnorderedElementsAre(Flags(16, integer), Flags(24, integer), Flags(32, integer), Flags(32, floating),
                                     Flags(16, integer | big), Flags(24, integer | big), Flags(32, integer | big),
                                     Flags(32, floating | big)));
}

TEST(Files_FileTypes, LeaveRateAndChannelsOpen) {
    std::vector<AudioStreamBasicDescription> found;
    ASSERT_EQ(braq::streamDescriptions(kAudioFileCAFType, kAudioFormatLinearPCM, found), 0);
    EXPECT_THAT(found, Each(Field(&AudioStreamBasicDescription::mFormatID, kAudioFormatLinearPCM)));
    EXPECT_THAT(found, Each(Field(&AudioStreamBasicDescription::mSampleRate, 0)));
    EXPECT_THAT(found, Each(Field(&AudioStreamBasicDescription::mChannelsPerFrame, 0U)));
    EXPECT_THAT(found, Each(Field(&AudioStreamBasicDescription::mBytesPerFrame, 0U)));
}

TEST(Files_FileTypes, RefuseACodingThatATypeCannotHold) {
    for (const AudioFileTypeID type :
         {kAudioFileM4AType, kAudioFileAAC_ADTSType, kAudioFileFLACType, kAudioFileMP3Type, kBRAQAudioFileOggType}) {
        EXPECT_EQ(statusFor(type, kAudioFormatLinearPCM), kAudioFileUnsupportedDataFormatError);
    }
    EXPECT_EQ(statusFor(kAudioFileWAVEType, kAudioFormatMPEG4AAC), kAudioFileUnsupportedDataFormatError);
    EXPECT_EQ(statusFor(kAudioFileCAFType, 0), kAudioFileUnsupportedDataFormatError);
}

TEST(Files_FileTypes, RefuseATypeThatIsUnknown) {
    EXPECT_EQ(statusFor(BRAQFourCharCode("none"), kAudioFormatLinearPCM), kAudioFileUnsupportedFileTypeError);
    EXPECT_EQ(statusFor(0, kAudioFormatLinearPCM), kAudioFileUnsupportedFileTypeError);
}

TEST(Files_FileTypes, ListOtherCodingsByTheirFlags) {
    EXPECT_EQ(statusFor(kAudioFileM4AType, kAudioFormatAppleLossless), 0);
    EXPECT_EQ(statusFor(kAudioFileMPEG4Type, kAudioFormatMPEG4AAC), 0);
    EXPECT_EQ(statusFor(kAudioFileMP3Type, kAudioFormatMPEGLayer3), 0);
    std::vector<AudioStreamBasicDescription> found;
    ASSERT_EQ(braq::streamDescriptions(kAudioFileFLACType, kAudioFormatFLAC, found), 0);
    EXPECT_THAT(found, ElementsAre(Field(&AudioStreamBasicDescription::mFormatFlags, 1U),
                                   Field(&AudioStreamBasicDescription::mFormatFlags, 3U)));
}

TEST(Files_FileTypes, TellWhatCanBeWritten) {
    for (const AudioFileTypeID type :
         {kAudioFileWAVEType, kAudioFileRF64Type, kAudioFileAIFFType, kAudioFileAIFCType, kAudioFileCAFType,
          kAudioFileM4AType, kAudioFileMPEG4Type, kAudioFileFLACType, kAudioFileAAC_ADTSType, kAudioFileNextType}) {
        EXPECT_TRUE(braq::isWritableType(type));
    }
    EXPECT_FALSE(braq::isWritableType(kAudioFileMP3Type));
    EXPECT_FALSE(braq::isWritableType(kBRAQAudioFileOggType));
    EXPECT_EQ(braq::fileMuxer(kAudioFileMP3Type, kAudioFormatMPEGLayer3), nullptr);
    EXPECT_EQ(braq::fileMuxer(kAudioFileM4AType, kAudioFormatLinearPCM), nullptr);
}

} // namespace
