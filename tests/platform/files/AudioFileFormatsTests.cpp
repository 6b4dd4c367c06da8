#include "BRAQAudio/platform/BRAQAudioFileFormats.h"

#include "BRAQAudio/platform/foundation/BRAQStatus.h"
#include "BRAQAudio/platform/foundation/CFString.h"
#include "platform/files/formats/FileTypes.h"
#include "platform/foundation/FailureReason.h"
#include "tests/platform/files/DecodedFile.h"
#include "tests/platform/files/ReadFile.h"
#include "tests/platform/files/Recordings.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/NumberedFiles.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <set>

// What the table of formats says is so: what it allows is written and read back, what it does not is refused.

// Beside the type, where it is looked for.
static void PrintTo(const BRAQAudioFileFormat& format, std::ostream* stream) {
    *stream << format.fileTypeName << ' ' << format.formatName;
}

namespace {

using namespace braq::tests;
using braq::FileWriter;
using testing::IsEmpty;

constexpr UInt32 usualChannels = 2;
constexpr Float64 usualRate = 48000;

class Files_AudioFileFormats : public testing::TestWithParam<BRAQAudioFileFormat> {
  protected:
    static const BRAQAudioFileFormat& format() { return GetParam(); }
    bool isLossless() const { return format().formatID != kAudioFormatMPEG4AAC; }

    OSStatus create(AudioStreamBasicDescription description, UInt32 channels, Float64 rate) {
        description.mChannelsPerFrame = channels;
        description.mSampleRate = rate;
        mWriter.reset();
        return braq::withReason([&] { return FileWriter::create(mPath, format().fileType, description, mWriter); });
    }

    /// Writes a short file and reads it again.
    void expectWritten(const AudioStreamBasicDescription& description, UInt32 channels, Float64 rate) {
        constexpr std::size_t writtenFrames = 3000;
        SCOPED_TRACE(std::to_string(channels) + " channels, " + std::to_string(rate) + " Hz, " +
                     std::to_string(description.mBitsPerChannel) + " bits");
        ASSERT_EQ(create(description, channels, rate), 0);
        const bool isNarrow = description.mBitsPerChannel == 8;
        const Signal written = isLossless() ? integerNoise(channels, writtenFrames, isNarrow ? 8 : 16)
                                            : Signal(channels, std::vector<Float32>(writtenFrames, 0.25F));
        EXPECT_EQ(writeSignal(*mWriter, written), 0);
        EXPECT_EQ(mWriter->close(), 0);
        ReadFile file(mPath);
        const AudioStreamBasicDescription found = file.reader().fileFormat();
        EXPECT_EQ(file.reader().fileType(), format().fileType);
        EXPECT_EQ(found.mFormatID, description.mFormatID);
        EXPECT_EQ(found.mChannelsPerFrame, channels);
        EXPECT_EQ(found.mSampleRate, rate);
        if (description.mFormatID == kAudioFormatLinearPCM) {
            EXPECT_EQ(found.mBitsPerChannel, description.mBitsPerChannel);
        } else {
            EXPECT_EQ(found.mFormatFlags, description.mFormatFlags);
        }
        if (isLossless()) {
            EXPECT_TRUE(file.readRest() == written);
        } else {
            EXPECT_GE(file.length(), static_cast<SInt64>(writtenFrames));
        }
    }

    void expectRefused(const AudioStreamBasicDescription& description, UInt32 channels, Float64 rate) {
        SCOPED_TRACE(std::to_string(channels) + " channels, " + std::to_string(rate) + " Hz");
        EXPECT_EQ(create(description, channels, rate), kAudioFileUnsupportedDataFormatError);
        EXPECT_NE(BRAQStatusTakeReason(kAudioFileUnsupportedDataFormatError), "");
        EXPECT_FALSE(std::filesystem::exists(mPath));
    }

    const FileFolder mFolder;
    const std::string mPath = mFolder.file("recording");
    std::unique_ptr<FileWriter> mWriter;
};

std::string nameOf(const testing::TestParamInfo<BRAQAudioFileFormat>& row) {
    std::string name = std::string(row.param.fileTypeName) + "_" + row.param.formatName;
    std::erase_if(name, [](char each) { return each == '-' || each == ' '; });
    return name;
}

std::vector<BRAQAudioFileFormat> formatsThat(bool canBeWritten) {
    std::vector<BRAQAudioFileFormat> found;
    std::ranges::copy_if(BRAQAudioFileFormats(), std::back_inserter(found),
                         [&](const BRAQAudioFileFormat& each) { return each.canBeWritten == canBeWritten; });
    return found;
}

using Files_WrittenFormats = Files_AudioFileFormats;

TEST_P(Files_WrittenFormats, HaveEverySampleThatIsListed) {
    ASSERT_FALSE(format().samples.empty());
    for (const BRAQAudioFileSample& sample : format().samples) {
        expectWritten(sample.description, usualChannels, usualRate);
    }
}

TEST_P(Files_WrittenFormats, RefuseTheSamplesOfOthers) {
    const CapturedLog log;
    std::size_t refused = 0;
    for (const BRAQAudioFileFormat& other : BRAQAudioFileFormats()) {
        for (const BRAQAudioFileSample& sample : other.samples) {
            const bool isHeld = std::ranges::any_of(BRAQAudioFileFormats(), [&](const BRAQAudioFileFormat& each) {
                return each.fileType == format().fileType && each.canBeWritten && each.formatID == other.formatID &&
                       std::ranges::any_of(each.samples, [&](const BRAQAudioFileSample& held) {
                           return held.description.mFormatFlags == sample.description.mFormatFlags &&
                                  held.description.mBitsPerChannel == sample.description.mBitsPerChannel;
                       });
            });
            if (!isHeld) {
                expectRefused(sample.description, usualChannels, usualRate);
                ++refused;
            }
        }
    }
    EXPECT_GT(refused, 5U);
    EXPECT_THAT(log.errors(), IsEmpty());
}

TEST_P(Files_WrittenFormats, HaveEveryNumberOfChannelsThatIsListedAndNoOther) {
    const AudioStreamBasicDescription description = format().sampleNamed(format().samples.back().name)->description;
    ASSERT_FALSE(format().channels.empty());
    EXPECT_TRUE(std::ranges::is_sorted(format().channels));
    for (const UInt32 channels : {0U, 7U, 9U, 11U, 15U, 16U, 17U, 128U, 256U, std::numeric_limits<UInt32>::max()}) {
        if (!format().allowsChannels(channels)) {
            expectRefused(description, channels, usualRate);
        }
    }
    for (const UInt32 channels : format().channels) {
        constexpr UInt32 tenthOnly = 33; // the many of linear PCM
        if (channels < tenthOnly || channels % 10 == 5) {
            expectWritten(description, channels, usualRate);
        }
    }
}

TEST_P(Files_WrittenFormats, HaveEveryRateThatIsListedAndNoOther) {
    const AudioStreamBasicDescription description = format().samples.front().description;
    ASSERT_FALSE(format().rates.empty());
    std::set<Float64> near{0.5, 44100.5, -1.0, 1e9, 1e300, std::numeric_limits<Float64>::quiet_NaN()};
    for (const BRAQAudioFileRates& rates : format().rates) {
        const Float64 first = rates.first;
        const Float64 last = rates.last;
        const Float64 middle = rates.first + (rates.last - rates.first) / rates.step / 2 * rates.step;
        near.insert({first - 1, first, first + 0.5, middle, last - 1, last, last + 1, last + rates.step});
    }
    near.erase(0); // leaves the rate to the client format
    std::size_t refused = 0;
    for (const Float64 rate : near) {
        if (format().allowsRate(rate)) {
            expectWritten(description, usualChannels, rate);
            std::filesystem::remove(mPath);
        } else {
            expectRefused(description, usualChannels, rate);
            ++refused;
        }
    }
    EXPECT_GT(refused, 5U);
}

TEST_P(Files_WrittenFormats, RefuseARateOfTheClientThatIsNotListed) {
    ASSERT_EQ(create(format().samples.front().description, usualChannels, 0), 0);
    EXPECT_EQ(mWriter->setClientFormat(clientFormat(usualChannels, 44100.5)), kExtAudioFileError_InvalidDataFormat);
    EXPECT_EQ(mWriter->setClientFormat(clientFormat(usualChannels, 2000000)), kExtAudioFileError_InvalidDataFormat);
    EXPECT_EQ(mWriter->setClientFormat(clientFormat(usualChannels, 44100)), 0);
}

/// A copy of the file after each call is what is left if the process is killed then.
TEST_P(Files_WrittenFormats, SurviveAKilledProcessAsFarAsIsStated) {
    const CapturedLog log;
    constexpr std::size_t allFrames = 60000;
    const Signal signal = isLossless() ? integerNoise(usualChannels, allFrames, 16) : tones(2, allFrames, 48000, 997);
    const auto* const sample = format().sampleNamed("pcm16");
    ASSERT_EQ(create(sample != nullptr ? sample->description : format().samples.front().description, usualChannels,
                     usualRate),
              0);
    const std::string left = mFolder.file("left");
    std::size_t written = 0;
    for (std::size_t call = 0; written < allFrames; ++call) {
        const std::size_t count = std::min(allFrames - written, std::size_t{1000} + 997 * (call % 7));
        ASSERT_EQ(writeFrames(*mWriter, signal, written, count), 0);
        written += count;
        std::filesystem::copy_file(mPath, left, std::filesystem::copy_options::overwrite_existing);
        SCOPED_TRACE("killed after " + std::to_string(written) + " frames");
        if (format().survival == BRAQAudioFileSurvival::nothing) {
            EXPECT_EQ(statusOfOpening(left), kAudioFileInvalidFileError);
            continue;
        }
        if (written < 20000) {
            continue; // nothing of compressed packets may be there yet
        }
        ReadFile file(left);
        const auto length = static_cast<std::size_t>(file.length());
        if (format().survival == BRAQAudioFileSurvival::everything) {
            EXPECT_EQ(length, written);
        } else {
            EXPECT_GT(length + format().mostPacketsLost * file.reader().fileFormat().mFramesPerPacket, written);
        }
        if (isLossless()) {
            EXPECT_EQ(largestDifference(file.readRest(), part(signal, 0, file.length())), 0);
        }
    }
    if (format().survival == BRAQAudioFileSurvival::nothing) {
        EXPECT_FALSE(format().survivesForOthers);
        return;
    }
    // Other programs believe a length that is stated; without one they read to the end. libav takes the 0 of FLAC for
    // unknown, but not every program does.
    if (format().formatID == kAudioFormatFLAC) {
        EXPECT_FALSE(format().survivesForOthers);
        constexpr std::size_t countOffset = 21;
        const std::string count = bytesOf(left).substr(countOffset, 5);
        EXPECT_EQ(count[0] & 0x0F, 0);
        EXPECT_EQ(count.substr(1), std::string(4, '\0'));
        return;
    }
    const DecodedFile file = decodeFile(left);
    const bool isAll = file.statedFrames < 0 || file.statedFrames + std::int64_t{4096} > std::int64_t{allFrames};
    EXPECT_EQ(format().survivesForOthers, isAll && file.frames() + std::int64_t{4096} > std::int64_t{allFrames})
        << file.statedFrames << " stated, " << file.frames() << " decoded";
}

INSTANTIATE_TEST_SUITE_P(All, Files_WrittenFormats, testing::ValuesIn(formatsThat(true)), nameOf);

using Files_ReadFormats = Files_AudioFileFormats;

TEST_P(Files_ReadFormats, AreOpenedAndNotWritten) {
    struct Made {
        const char* name;
        const char* arguments;
        const char* extension;
    };
    // ffmpeg does not write AAC into CAF files; FileReaderAACTests.cpp makes them byte by byte.
    constexpr Made made[] = {{"CAF aac", nullptr, nullptr},
                             {"MPEG-4 flac", "-c:a flac -strict -2 -sample_fmt s16", "mp4"},
                             {"MPEG-4 flac24", "-c:a flac -strict -2 -sample_fmt s32", "mp4"},
                             {"MP3 mp3", "-c:a libmp3lame", "mp3"},
                             {"Ogg vorbis", "-c:a libvorbis", "ogg"},
                             {"Ogg opus", "-c:a libopus", "opus"}};
    for (const BRAQAudioFileSample& sample : format().samples) {
        const std::string name = std::string(format().fileTypeName) + " " + sample.name;
        const auto* const how = std::ranges::find(made, name, &Made::name);
        ASSERT_NE(how, std::end(made)) << name;
        EXPECT_NE(create(sample.description, usualChannels, usualRate), 0) << name;
        if (how->arguments == nullptr) {
            continue;
        }
        const std::string path = mFolder.file(std::string("made.") + how->extension);
        std::filesystem::remove(path);
        encode(audioFile("reference-44k-stereo-16.wav"), how->arguments, path);
        ReadFile file(path);
        EXPECT_EQ(file.reader().fileType(), format().fileType) << name;
        EXPECT_EQ(file.reader().fileFormat().mFormatID, format().formatID) << name;
        EXPECT_GE(frames(file.readRest()), 176000) << name;
    }
    EXPECT_THAT(format().rates, IsEmpty());
    EXPECT_THAT(format().channels, IsEmpty());
    EXPECT_EQ(format().survival, BRAQAudioFileSurvival::nothing);
}

INSTANTIATE_TEST_SUITE_P(All, Files_ReadFormats, testing::ValuesIn(formatsThat(false)), nameOf);

/// The amplitude of a tone of `hertz` in samples at 48000 Hz.
double amplitudeOf(const std::vector<Float32>& samples, double hertz) {
    double sine = 0;
    double cosine = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double phase = 2 * std::numbers::pi * hertz * static_cast<double>(i) / usualRate;
        sine += static_cast<double>(samples[i]) * std::sin(phase);
        cosine += static_cast<double>(samples[i]) * std::cos(phase);
    }
    return 2 * std::hypot(sine, cosine) / static_cast<double>(samples.size());
}

TEST(Files_Formats, KeepEveryChannelOfAACApartButLFE) {
    const FileFolder folder;
    const std::string path = folder.file("recording");
    const auto hertz = [](UInt32 channel) { return 300.0 + 450.0 * channel; };
    for (const AudioFileTypeID type : {kAudioFileM4AType, kAudioFileMPEG4Type, kAudioFileAAC_ADTSType}) {
        for (const UInt32 channels : {1U, 2U, 3U, 4U, 5U, 6U, 8U}) {
            SCOPED_TRACE(std::to_string(channels) + " channels");
            if (!braq::audioFileFormat(type, kAudioFormatMPEG4AAC)->allowsChannels(channels)) {
                continue;
            }
            Signal signal(channels, std::vector<Float32>(24000));
            for (UInt32 channel = 0; channel < channels; ++channel) {
                for (std::size_t i = 0; i < signal[channel].size(); ++i) {
                    const double phase = 2 * std::numbers::pi * hertz(channel) * static_cast<double>(i) / usualRate;
                    signal[channel][i] = static_cast<Float32>(0.25 * std::sin(phase));
                }
            }
            std::unique_ptr<FileWriter> writer;
            ASSERT_EQ(
                FileWriter::create(path, type, fileFormat(kAudioFormatMPEG4AAC, 2, 0, channels, usualRate), writer), 0);
            EXPECT_EQ(writeSignal(*writer, signal), 0);
            EXPECT_EQ(writer->close(), 0);
            ReadFile file(path);
            ASSERT_EQ(file.channels(), channels);
            const Sound sound = file.readAt(4800, 9600);
            for (UInt32 channel = 0; channel < channels; ++channel) {
                const bool isLFE = (channels == 6 || channels == 8) && channel == 3;
                EXPECT_NEAR(amplitudeOf(sound[channel], hertz(channel)), isLFE ? 0 : 0.25, 0.03) << channel;
            }
        }
    }
}

TEST(Files_Formats, AreSelectedByTheirExtensions) {
    std::set<std::string> seen;
    for (const BRAQAudioFileFormat& format : BRAQAudioFileFormats()) {
        EXPECT_THAT(format.extensions, testing::Not(IsEmpty())) << format.fileTypeName;
        for (const std::string& extension : format.extensions) {
            CFStringRef text = CFStringCreateWithCString(extension.c_str());
            AudioFileTypeID type = 0;
            UInt32 size = sizeof type;
            EXPECT_EQ(AudioFileGetGlobalInfo(kAudioFileGlobalInfo_TypesForExtension, sizeof text, &text, &size, &type),
                      0);
            EXPECT_EQ(type, format.fileType) << extension;
            CFRelease(text);
            seen.insert(extension);
        }
    }
    EXPECT_EQ(seen.size(), 18U);
}

TEST(Files_Formats, KeepThoseOfATypeTogetherAndWrittenOnesFirst) {
    std::set<UInt32> finished;
    UInt32 current = 0;
    for (const BRAQAudioFileFormat& format : BRAQAudioFileFormats()) {
        if (format.fileType != current) {
            finished.insert(current);
            current = format.fileType;
        }
        EXPECT_FALSE(finished.contains(current)) << format.fileTypeName;
    }
    EXPECT_EQ(&BRAQAudioFileFormats(), &BRAQAudioFileFormats()) << "valid for good";
    EXPECT_EQ(BRAQAudioFileFormats().front().sampleNamed("pcm7"), nullptr);
}

} // namespace
