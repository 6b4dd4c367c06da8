#include "tests/platform/files/ReadFile.h"
#include "tests/support/NumberedFiles.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>

namespace {

using namespace braq::tests;

std::unique_ptr<braq::FileReader> openReference() {
    std::unique_ptr<braq::FileReader> reader;
    braq::FileReader::open(audioFile("reference-44k-stereo-16.wav").string(), reader);
    return reader;
}

AudioStreamBasicDescription interleaved(UInt32 channels, Float64 rate) {
    const auto bytes = static_cast<UInt32>(channels * sizeof(Float32));
    return {
        rate, kAudioFormatLinearPCM, kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked, bytes, 1, bytes, channels, 32,
        0};
}

TEST(FileReader_ClientFormat, IsAtFirstPlanarFloatAsTheFileIs) {
    const auto reader = openReference();
    const AudioStreamBasicDescription format = reader->clientFormat();
    EXPECT_EQ(format.mSampleRate, 44100);
    EXPECT_EQ(format.mFormatID, kAudioFormatLinearPCM);
    EXPECT_EQ(format.mFormatFlags,
              kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked | kAudioFormatFlagIsNonInterleaved);
    EXPECT_EQ(format.mChannelsPerFrame, 2U);
    EXPECT_EQ(format.mBitsPerChannel, 32U);
    EXPECT_EQ(format.mBytesPerFrame, 4U);
    EXPECT_EQ(format.mBytesPerPacket, 4U);
    EXPECT_EQ(format.mFramesPerPacket, 1U);
}

TEST(FileReader_ClientFormat, TakesTheFilesRateForNone) {
    const auto reader = openReference();
    ASSERT_EQ(reader->setClientFormat(interleaved(2, 0)), 0);
    EXPECT_EQ(reader->clientFormat().mSampleRate, 44100);
}

TEST(FileReader_ClientFormat, RefusesWhatIsNotLinear) {
    const auto reader = openReference();
    AudioStreamBasicDescription format = interleaved(2, 44100);
    format.mFormatID = kAudioFormatMPEG4AAC;
    EXPECT_EQ(reader->setClientFormat(format), kExtAudioFileError_NonPCMClientFormat);
}

TEST(FileReader_ClientFormat, RefusesWhatItCannotDeliverAndKeepsWhatItHas) {
    using Change = std::function<void(AudioStreamBasicDescription&)>;
    const std::array<Change, 13> changes{
        [](auto& format) { format.mFormatFlags |= kAudioFormatFlagIsBigEndian; },
        [](auto& format) { format.mFormatFlags = kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked; },
        [](auto& format) { format.mBitsPerChannel = 64; },
        [](auto& format) { format.mChannelsPerFrame = 0; },
        [](auto& format) { format.mChannelsPerFrame = 1; },
        [](auto& format) { format.mChannelsPerFrame = std::numeric_limits<UInt32>::max(); },
        [](auto& format) { format.mBytesPerFrame = 4; },
        [](auto& format) { format.mBytesPerPacket = 16; },
        [](auto& format) { format.mFramesPerPacket = 2; },
        [](auto& format) { format.mSampleRate = -1; },
        [](auto& format) { format.mSampleRate = std::numeric_limits<Float64>::quiet_NaN(); },
        [](auto& format) { format.mSampleRate = std::numeric_limits<Float64>::infinity(); },
        [](auto& format) { format.mSampleRate = 1e-3; },
    };
    const auto reader = openReference();
    for (std::size_t i = 0; i < changes.size(); ++i) {
        AudioStreamBasicDescription format = interleaved(2, 44100);
        changes[i](format);
        EXPECT_EQ(reader->setClientFormat(format), kExtAudioFileError_InvalidDataFormat) << i;
    }
    EXPECT_NE(reader->clientFormat().mFormatFlags & kAudioFormatFlagIsNonInterleaved, 0U);
}

TEST(FileReader_ClientFormat, InterleavesTheSameSamples) {
    const Sound planes = ReadFile(audioFile("reference-44k-stereo-16.wav")).readRest();
    const auto reader = openReference();
    ASSERT_EQ(reader->setClientFormat(interleaved(2, 44100)), 0);
    constexpr UInt32 blockFrames = 10000;
    std::vector<Float32> block(2 * blockFrames);
    SInt64 done = 0;
    UInt32 got = blockFrames;
    while (got == blockFrames) {
        AudioBufferList list{1, {{2, blockFrames * 8, block.data()}}};
        ASSERT_EQ(reader->read(got, list), 0);
        ASSERT_EQ(list.mBuffers[0].mDataByteSize, got * 8);
        for (UInt32 i = 0; i < got; ++i) {
            ASSERT_EQ(block[2 * i], planes[0][static_cast<std::size_t>(done + i)]);
            ASSERT_EQ(block[2 * i + 1], planes[1][static_cast<std::size_t>(done + i)]);
        }
        done += got;
    }
    EXPECT_EQ(done, frames(planes));
}

// How a file holds its samples decides how they get beside each other.
TEST(FileReader_ClientFormat, InterleavesTheSameSamplesOfEveryKindOfFile) {
    const TemporaryFolder folder;
    const std::vector<const char*> codings{"-c:a pcm_f32le",       "-c:a pcm_f64le",      "-c:a pcm_s24le",
                                           "-c:a pcm_u8",          "-c:a pcm_s16le",      "-ac 1 -c:a pcm_f32le",
                                           "-ac 1 -c:a pcm_s16le", "-ac 6 -c:a pcm_s32le"};
    for (const char* const coding : codings) {
        SCOPED_TRACE(coding);
        const auto path = folder.path() / "coded.wav";
        encode(audioFile("reference-44k-stereo-16.wav"), coding, path);
        ReadFile file(path);
        const UInt32 channels = file.channels();
        const Sound planes = file.readRest();
        ASSERT_EQ(file.reader().setClientFormat(interleaved(channels, 44100)), 0);
        for (const UInt32 count : {1U, 5000U, 40000U}) {
            for (const SInt64 first : {SInt64{0}, SInt64{1234}, frames(planes) - 3000}) {
                std::vector<Float32> samples(std::size_t{channels} * (count + 1), -7.0F);
                AudioBufferList list{1, {{channels, count * channels * 4, samples.data()}}};
                UInt32 got = count;
                ASSERT_EQ(file.reader().seek(first), 0);
                ASSERT_EQ(file.reader().read(got, list), 0);
                ASSERT_EQ(got, std::min<SInt64>(count, frames(planes) - first));
                for (std::size_t i = 0; i < std::size_t{got} * channels; ++i) {
                    ASSERT_EQ(samples[i], planes[i % channels][static_cast<std::size_t>(first) + i / channels]) << i;
                }
                ASSERT_TRUE(std::all_of(samples.begin() + static_cast<std::ptrdiff_t>(std::size_t{got} * channels),
                                        samples.end(), [](Float32 sample) { return sample == -7.0F; }));
            }
        }
    }
}

TEST(FileReader_ClientFormat, RefusesListsThatDoNotFitAndReadsOnAfterwards) {
    const auto reader = openReference();
    std::array<Float32, 16> left{};
    std::array<Float32, 16> right{};
    struct {
        AudioBufferList list;
        AudioBuffer second;
    } planar{};
    const auto reset = [&](UInt32 buffers, UInt32 channels, UInt32 bytes, void* data) {
        planar.list.mNumberBuffers = buffers;
        planar.list.mBuffers[0] = {channels, bytes, data};
        (&planar.list.mBuffers[0])[1] = {channels, bytes, right.data()};
    };
    const auto read = [&] {
        UInt32 wanted = 16;
        return reader->read(wanted, planar.list);
    };
    reset(1, 1, 64, left.data());
    EXPECT_EQ(read(), kAudio_ParamError);
    reset(2, 2, 64, left.data());
    EXPECT_EQ(read(), kAudio_ParamError);
    reset(2, 1, 60, left.data());
    EXPECT_EQ(read(), kAudio_ParamError);
    reset(2, 1, 64, nullptr);
    EXPECT_EQ(read(), kAudio_ParamError);
    reset(2, 1, 64, left.data());
    EXPECT_EQ(read(), 0);
    const Sound expected = ReadFile(audioFile("reference-44k-stereo-16.wav")).read(16);
    EXPECT_TRUE(std::equal(left.begin(), left.end(), expected[0].begin()));
    EXPECT_TRUE(std::equal(right.begin(), right.end(), expected[1].begin()));
}

TEST(FileReader_ClientFormat, RefusesToSeekBeforeTheBeginningAndReadsNothingBeyondTheEnd) {
    for (const char* name : {"reference-44k-stereo-16.wav", "lossy-cbr.mp3"}) {
        ReadFile file(audioFile(name));
        EXPECT_EQ(file.reader().seek(-1), kExtAudioFileError_InvalidSeek);
        EXPECT_EQ(frames(file.read(10)), 10);
        EXPECT_EQ(frames(file.readAt(176399, 10)), 1);
        EXPECT_EQ(frames(file.readAt(176400, 10)), 0);
        EXPECT_EQ(frames(file.readAt(std::numeric_limits<SInt64>::max(), 10)), 0);
        EXPECT_EQ(frames(file.readAt(0, 0)), 0);
    }
}

TEST(FileReader_ClientFormat, GoesOnFromTheFrameThatWasReached) {
    const Sound all = ReadFile(audioFile("same-as-reference-16.flac")).readRest();
    ReadFile file(audioFile("same-as-reference-16.flac"));
    file.read(5000);
    file.setClient(88200, 2);
    file.read(2000); // 1000 of the file
    file.setClient(0, 2);
    EXPECT_EQ(largestDifference(file.read(3000), part(all, 6000, 3000)), 0);
}

TEST(FileReader_ClientFormat, PlaysOneChannelInAll) {
    const Sound mono = ReadFile(audioFile("mono-22k-16.wav")).readRest();
    ReadFile file(audioFile("mono-22k-16.wav"));
    file.setClient(0, 3);
    EXPECT_EQ(largestDifference(file.readRest(1001), Sound(3, mono[0])), 0);
}

TEST(FileReader_ClientFormat, MixesStereoIntoItsMean) {
    const Sound stereo = ReadFile(audioFile("reference-44k-stereo-16.wav")).readRest();
    ReadFile file(audioFile("reference-44k-stereo-16.wav"));
    file.setClient(0, 1);
    const Sound mono = file.readRest();
    ASSERT_EQ(frames(mono), frames(stereo));
    for (std::size_t i = 0; i < mono[0].size(); ++i) {
        ASSERT_NEAR(mono[0][i], (stereo[0][i] + stereo[1][i]) / 2, 1e-6);
    }
}

TEST(FileReader_ClientFormat, MixesSixChannelsByTheUsualMatrix) {
    const Sound six = ReadFile(audioFile("six-channel-48k-24.wav")).readRest();
    ReadFile file(audioFile("six-channel-48k-24.wav"));
    file.setClient(0, 2);
    const Sound stereo = file.readRest();
    ASSERT_EQ(frames(stereo), frames(six));
    // Left, right, centre, low frequencies, left and right surround.
    const double beside = std::sqrt(0.5);
    const double all = 1 + 2 * beside;
    for (std::size_t i = 0; i < stereo[0].size(); ++i) {
        ASSERT_NEAR(stereo[0][i], (six[0][i] + beside * six[2][i] + beside * six[4][i]) / all, 1e-6);
        ASSERT_NEAR(stereo[1][i], (six[1][i] + beside * six[2][i] + beside * six[5][i]) / all, 1e-6);
    }
}

TEST(FileReader_ClientFormat, KeepsStereoInTheFirstOfMoreChannels) {
    const Sound stereo = ReadFile(audioFile("reference-44k-stereo-16.wav")).read(1000);
    ReadFile file(audioFile("reference-44k-stereo-16.wav"));
    file.setClient(0, 6);
    const Sound six = file.read(1000);
    EXPECT_EQ(largestDifference({six[0], six[1]}, stereo), 0);
    EXPECT_EQ(largestDifference({six[2], six[3], six[4], six[5]}, Sound(4, std::vector<Float32>(1000))), 0);
}

} // namespace
