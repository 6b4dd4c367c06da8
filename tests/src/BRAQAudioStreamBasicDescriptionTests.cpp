#include "BRAQAudio/BRAQAudioStreamBasicDescription.h"

#include "BRAQAudio/platform/BRAQSoftwareDevice.h"
#include "tests/platform/foundation/GermanLocale.h"
#include "tests/support/CapturedLog.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using Description = BRAQAudioStreamBasicDescription;

// Format, flags, bytes a packet, frames a packet, bytes a frame, channels, bits.
void expectFields(const Description& description, UInt32 formatID, UInt32 flags, UInt32 bytesPerPacket,
                  UInt32 framesPerPacket, UInt32 bytesPerFrame, UInt32 channels, UInt32 bits) {
    EXPECT_EQ(description.formatID(), formatID);
    EXPECT_EQ(description.formatFlags(), flags);
    EXPECT_EQ(description.bytesPerPacket(), bytesPerPacket);
    EXPECT_EQ(description.framesPerPacket(), framesPerPacket);
    EXPECT_EQ(description.bytesPerFrame(), bytesPerFrame);
    EXPECT_EQ(description.channelsPerFrame(), channels);
    EXPECT_EQ(description.bitsPerChannel(), bits);
    EXPECT_EQ(description.sampleRate(), 0.0);
    EXPECT_EQ(description.audioStreamBasicDescription().mReserved, 0U);
}

TEST(StreamDescription, IsMadeAsLinearPCMOf2ChannelsAndNothingElse) {
    for (const auto& made : {Description::init(), Description::streamDescription()}) {
        expectFields(*made, BRAQFourCharCode("lpcm"), 0, 0, 0, 0, 2, 0);
        EXPECT_TRUE(made->isLinearPCMFormat());
        EXPECT_FALSE(made->isCanonicalFormat());
        EXPECT_FALSE(made->isNativeFormat());
    }
}

TEST(StreamDescription, FactoriesMakeTheFormatsOfTheLibrary) {
    expectFields(*Description::nativeStreamDescription(), BRAQFourCharCode("lpcm"), 9, 8, 1, 8, 2, 32);
    expectFields(*Description::alacStreamDescription(), BRAQFourCharCode("alac"), 0, 0, 0, 0, 2, 0);
    expectFields(*Description::aacStreamDescription(), BRAQFourCharCode("aac "), 0, 0, 0, 0, 2, 0);
    expectFields(*Description::pcm16StreamDescription(), BRAQFourCharCode("lpcm"), 12, 4, 1, 4, 2, 16);
}

TEST(StreamDescription, CopiesARecordAsItIs) {
    const AudioStreamBasicDescription record{96000.5, 1, 2, 3, 4, 5, 6, 7, 8};
    const auto copy = Description::streamDescriptionWithAudioStreamBasicDescription(&record);
    const auto back = copy->audioStreamBasicDescription();
    EXPECT_EQ(std::memcmp(&back, &record, sizeof(record)), 0);
    EXPECT_EQ(Description::initWithAudioStreamBasicDescription(nullptr), nullptr);
}

TEST(StreamDescription, PropertiesReadAndWriteTheRecord) {
    const auto description = Description::init();
    description->setFormatID(1);
    description->setFormatFlags(2);
    description->setBytesPerPacket(3);
    description->setFramesPerPacket(4);
    description->setBytesPerFrame(5);
    description->setChannelsPerFrame(6);
    description->setBitsPerChannel(7);
    description->setSampleRate(44100);
    const auto record = description->audioStreamBasicDescription();
    EXPECT_EQ(record.mSampleRate, 44100.0);
    EXPECT_EQ(description->sampleRate(), 44100.0);
    description->setSampleRate(0);
    expectFields(*description, 1, 2, 3, 4, 5, 6, 7);
}

TEST(StreamDescription, NativeFormatIsCanonicalAndNative) {
    const auto native = Description::nativeStreamDescription();
    EXPECT_TRUE(native->isCanonicalFormat());
    EXPECT_TRUE(native->isNativeFormat());
    EXPECT_TRUE(native->isInterleaved());
}

TEST(StreamDescription, ThePlanarFormatIsTheNativeOneNotInterleaved) {
    const auto planar = Description::planarStreamDescription(6, 44100.0);
    EXPECT_TRUE(planar->isCanonicalFormat());
    EXPECT_FALSE(planar->isInterleaved());
    EXPECT_EQ(planar->channelsPerFrame(), 6U);
    EXPECT_EQ(planar->sampleRate(), 44100.0);
    EXPECT_EQ(planar->bytesPerFrame(), 4U) << "of each buffer";
    EXPECT_EQ(planar->bytesPerPacket(), 4U);
}

TEST(StreamDescription, ByteCountsOfTheNativeFormatFollowTheInterleaving) {
    const auto native = Description::nativeStreamDescription();
    native->setChannelsPerFrame(6);
    native->setIsInterleaved(false);
    expectFields(*native, BRAQFourCharCode("lpcm"), 41, 4, 1, 4, 6, 32);
    EXPECT_FALSE(native->isInterleaved());
    EXPECT_TRUE(native->isCanonicalFormat());
    EXPECT_FALSE(native->isNativeFormat());
    native->setIsInterleaved(true);
    expectFields(*native, BRAQFourCharCode("lpcm"), 9, 24, 1, 24, 6, 32);
}

TEST(StreamDescription, SetNativeFormatKeepsChannelsAndRate) {
    const auto description = Description::pcm16StreamDescription();
    description->setChannelsPerFrame(3);
    description->setSampleRate(48000);
    description->setNativeFormat();
    EXPECT_EQ(description->sampleRate(), 48000.0);
    description->setSampleRate(0);
    expectFields(*description, BRAQFourCharCode("lpcm"), 9, 12, 1, 12, 3, 32);
}

TEST(StreamDescription, InterleavingOfAFormatThatIsNotCanonicalChangesOnlyTheFlag) {
    const auto integers = Description::pcm16StreamDescription();
    integers->setIsInterleaved(false);
    expectFields(*integers, BRAQFourCharCode("lpcm"), 44, 4, 1, 4, 2, 16);
    integers->setIsInterleaved(true);
    expectFields(*integers, BRAQFourCharCode("lpcm"), 12, 4, 1, 4, 2, 16);
}

TEST(StreamDescription, InterleavingOfACodedFormatIsNotChanged) {
    const auto coded = Description::aacStreamDescription();
    coded->setIsInterleaved(false);
    expectFields(*coded, BRAQFourCharCode("aac "), 0, 0, 0, 0, 2, 0);
    EXPECT_TRUE(coded->isInterleaved()) << "answered for every coding";
}

TEST(StreamDescription, CanonicalNeedsEveryPartOfTheFormatButNotTheByteCounts) {
    const auto description = Description::nativeStreamDescription();
    description->setBytesPerFrame(1);
    description->setBytesPerPacket(0);
    description->setChannelsPerFrame(0);
    EXPECT_TRUE(description->isCanonicalFormat());
    for (const UInt32 flags : {11U, 8U, 1U, 12U, 25U, 0U}) {
        description->setFormatFlags(flags);
        EXPECT_FALSE(description->isCanonicalFormat()) << flags;
    }
    description->setFormatFlags(41);
    EXPECT_TRUE(description->isCanonicalFormat());
    description->setBitsPerChannel(64);
    EXPECT_FALSE(description->isCanonicalFormat());
    description->setBitsPerChannel(32);
    description->setFramesPerPacket(2);
    EXPECT_FALSE(description->isCanonicalFormat());
    description->setFramesPerPacket(1);
    description->setFormatID(BRAQFourCharCode("alac"));
    EXPECT_FALSE(description->isCanonicalFormat());
}

// A class of an application that starts from a coding of its own.
class CodedDescription : public Description {
  public:
    static std::shared_ptr<CodedDescription> init() {
        std::shared_ptr<CodedDescription> made(new CodedDescription());
        made->setFormatID(BRAQFourCharCode("code"));
        return made;
    }
    static std::shared_ptr<CodedDescription>
    initWithAudioStreamBasicDescription(const AudioStreamBasicDescription* description) {
        return std::shared_ptr<CodedDescription>(new CodedDescription(*description));
    }

  private:
    CodedDescription() = default;
    explicit CodedDescription(const AudioStreamBasicDescription& description) : Description(description) {}
};

TEST(StreamDescription, FactoriesMakeObjectsOfADerivedClass) {
    const std::shared_ptr<CodedDescription> native = Description::nativeStreamDescription<CodedDescription>();
    EXPECT_TRUE(native->isNativeFormat());
    const AudioStreamBasicDescription record{1, 2, 3, 4, 5, 6, 7, 8, 9};
    const std::shared_ptr<CodedDescription> copy =
        Description::streamDescriptionWithAudioStreamBasicDescription<CodedDescription>(&record);
    EXPECT_EQ(copy->formatID(), 2U);
}

TEST(StreamDescription, Pcm16LeavesADerivedClassThatPickedAnotherCodingAlone) {
    const auto coded = Description::pcm16StreamDescription<CodedDescription>();
    expectFields(*coded, BRAQFourCharCode("code"), 0, 0, 0, 0, 2, 0);
}

TEST(StreamDescription, TakesTheRateOfTheDefaultDeviceOfTheDirection) {
    const auto input = BRAQSoftwareDevice::deviceWithOptions(
        {.uid = "input", .sampleRate = 44100.0, .clock = BRAQSoftwareClock::stepped});
    const auto output = BRAQSoftwareDevice::deviceWithOptions(
        {.uid = "output", .sampleRate = 96000.0, .clock = BRAQSoftwareClock::stepped});
    input->makeDefaultRecordDevice();
    output->makeDefaultPlaybackDevice();
    const auto description = Description::pcm16StreamDescription();
    description->setDefaultInputDeviceSampleRate();
    EXPECT_EQ(description->sampleRate(), 44100.0);
    description->setDefaultOutputDeviceSampleRate();
    EXPECT_EQ(description->sampleRate(), 96000.0);
    description->setSampleRate(0);
    expectFields(*description, BRAQFourCharCode("lpcm"), 12, 4, 1, 4, 2, 16);
}

TEST(StreamDescription, WithoutADefaultDeviceItsRateIs0AndNothingIsSaid) {
    const braq::tests::CapturedLog log;
    const auto description = Description::nativeStreamDescription();
    description->setSampleRate(1);
    description->setDefaultInputDeviceSampleRate();
    EXPECT_EQ(description->sampleRate(), 0.0);
    description->setSampleRate(1);
    description->setDefaultOutputDeviceSampleRate();
    EXPECT_EQ(description->sampleRate(), 0.0);
    EXPECT_TRUE(log.errors().empty());
}

TEST(StreamDescription, OfADefaultDeviceThatDoesNotSayItsRateIs0AndNothingIsSaid) {
    const auto device = BRAQSoftwareDevice::deviceWithOptions({.uid = "mute", .clock = BRAQSoftwareClock::stepped});
    device->makeDefaultRecordDevice();
    device->failProperty(device->deviceID(),
                         {kAudioDevicePropertyNominalSampleRate, kAudioObjectPropertyScopeGlobal, 0},
                         kAudioHardwareUnspecifiedError);
    const braq::tests::CapturedLog log;
    const auto description = Description::nativeStreamDescription();
    description->setSampleRate(1);
    description->setDefaultInputDeviceSampleRate();
    EXPECT_EQ(description->sampleRate(), 0.0);
    EXPECT_TRUE(log.errors().empty());
}

// Without a locale of the user's every word is its key.
TEST(StreamDescriptionText, DescribesA16BitFormat) {
    const auto description = Description::pcm16StreamDescription();
    description->setSampleRate(44100);
    EXPECT_EQ(description->description(), "2ch-44100.00hz-16bit-'mcpl' signed-integer little-endian packed");
}

TEST(StreamDescriptionText, SaysNothingOfTheSamplesOfTheNativeFormat) {
    const auto description = Description::nativeStreamDescription();
    description->setSampleRate(48000);
    EXPECT_EQ(description->description(), "2ch-48000.00hz-32bit-'mcpl'");
}

TEST(StreamDescriptionText, SaysNothingOfTheSamplesOfACodedFormat) {
    EXPECT_EQ(Description::aacStreamDescription()->description(), "2ch-0.00hz-0bit-' caa'");
}

TEST(StreamDescriptionText, WritesTheRateWithTwoPlaces) {
    const auto description = Description::nativeStreamDescription();
    description->setSampleRate(22050.126);
    EXPECT_EQ(description->description(), "2ch-22050.13hz-32bit-'mcpl'");
}

TEST(StreamDescriptionText, NamesEveryFlagWord) {
    const auto description = Description::init();
    const auto wordsFor = [&](UInt32 flags) {
        description->setFormatFlags(flags);
        return description->description();
    };
    EXPECT_EQ(wordsFor(0), "2ch-0.00hz-0bit-'mcpl' unsigned-integer little-endian aligned-low");
    EXPECT_EQ(wordsFor(16), "2ch-0.00hz-0bit-'mcpl' unsigned-integer little-endian aligned-high");
    EXPECT_EQ(wordsFor(4 | 2 | 8), "2ch-0.00hz-0bit-'mcpl' signed-integer big-endian packed");
    EXPECT_EQ(wordsFor(1 | 4 | 8 | 16), "2ch-0.00hz-0bit-'mcpl' floating-point little-endian packed");
    EXPECT_EQ(wordsFor(1 | 2 | 8), "2ch-0.00hz-0bit-'mcpl' floating-point big-endian packed");
    EXPECT_EQ(wordsFor(41), "2ch-0.00hz-0bit-'mcpl' floating-point little-endian packed")
        << "not interleaved is never said, but these flags are not exactly those of the native format";
}

TEST(StreamDescriptionText, ComesInTheWordsOfTheUsersLanguageWithNumbersAsEver) {
    const GermanLocale german;
    ASSERT_TRUE(german.isInForce());
    const auto description = Description::pcm16StreamDescription();
    description->setSampleRate(44100);
    EXPECT_EQ(description->description(), "2Kan-44100.00Hz-16Bit-'mcpl' Ganzzahl-mit-Vorzeichen Little-Endian gepackt");
}

TEST(StreamDescriptionText, PadsACodeThatEndsEarly) {
    const auto description = Description::init();
    description->setFormatID(0);
    EXPECT_EQ(description->description(), "2ch-0.00hz-0bit-'    '");
}

} // namespace
