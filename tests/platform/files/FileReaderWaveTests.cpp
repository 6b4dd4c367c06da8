#include "tests/platform/files/ReadFile.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <fstream>

// WAVE files that the ffmpeg command does not write: with the longer header in every depth, and longer than 4 GiB.

namespace {

using namespace braq::tests;

// Numbers stand in memory as they do in the file: both are little-endian.
template <class Number>
std::string little(Number value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

constexpr std::uint16_t isInteger = 1;
constexpr std::uint16_t isReal = 3;

struct Samples {
    std::uint16_t kind;
    std::uint16_t bytes;
    std::uint16_t validBits; // the others are the low ones of a sample, and 0
};

std::string extensibleHeader(const Samples& samples, std::uint16_t channels, std::size_t dataBytes) {
    constexpr std::uint32_t rate = 48000;
    const auto frameBytes = static_cast<std::uint16_t>(channels * samples.bytes);
    const std::string format =
        little<std::uint16_t>(0xFFFE) + little(channels) + little(rate) + little<std::uint32_t>(rate * frameBytes) +
        little(frameBytes) + little<std::uint16_t>(static_cast<std::uint16_t>(samples.bytes * 8)) +
        little<std::uint16_t>(22) + little(samples.validBits) + little<std::uint32_t>(3) + little(samples.kind) +
        std::string("\x00\x00\x00\x00\x10\x00\x80\x00\x00\xAA\x00\x38\x9B\x71", 14);
    return "RIFF" + little(static_cast<std::uint32_t>(60 + dataBytes)) + "WAVEfmt " + little<std::uint32_t>(40) +
           format + "data" + little(static_cast<std::uint32_t>(dataBytes));
}

// A sample of a stream in which every bit of a sample is set now and then.
SInt64 integerAt(int place, int bits) {
    constexpr std::uint64_t multiplier = 0x9E3779B97F4A7C15;
    return static_cast<SInt64>(static_cast<std::uint64_t>(place) * multiplier) >> (64 - bits);
}

std::string storedSample(const Samples& samples, int place) {
    if (samples.kind == isReal) {
        const double value = std::sin(place);
        return samples.bytes == 8 ? little(value) : little(static_cast<float>(value));
    }
    const int bits = samples.bytes * 8;
    const SInt64 value = integerAt(place, samples.validBits) * (SInt64{1} << (bits - samples.validBits));
    return little(samples.bytes == 1 ? value + 128 : value).substr(0, samples.bytes);
}

Float32 expectedSample(const Samples& samples, int place) {
    return samples.kind == isReal
               ? static_cast<Float32>(std::sin(place))
               : static_cast<Float32>(
                     std::ldexp(static_cast<double>(integerAt(place, samples.validBits)), 1 - samples.validBits));
}

TEST(FileReader_Wave, ReadsTheLongerHeaderInEveryDepth) {
    constexpr int frameCount = 3000;
    const TemporaryFolder folder;
    for (const Samples& samples :
         {Samples{isInteger, 1, 8}, Samples{isInteger, 2, 16}, Samples{isInteger, 2, 12}, Samples{isInteger, 3, 24},
          Samples{isInteger, 3, 20}, Samples{isInteger, 4, 32}, Samples{isInteger, 4, 24}, Samples{isInteger, 4, 20},
          Samples{isReal, 4, 32}, Samples{isReal, 8, 64}}) {
        SCOPED_TRACE(testing::Message() << samples.kind << ", " << samples.validBits << " bits in " << samples.bytes);
        std::string data;
        Sound expected(2);
        for (int place = 0; place < 2 * frameCount; ++place) {
            data += storedSample(samples, place);
            expected[place % 2 == 0 ? 0 : 1].push_back(expectedSample(samples, place));
        }
        writeBytes(folder.path() / "a.wav", extensibleHeader(samples, 2, data.size()) + data);
        ReadFile file(folder.path() / "a.wav");
        EXPECT_EQ(file.reader().fileType(), kAudioFileWAVEType);
        EXPECT_EQ(file.reader().fileFormat().mBitsPerChannel, samples.bytes * 8U);
        EXPECT_EQ(file.length(), frameCount);
        EXPECT_EQ(largestDifference(file.readRest(), expected), 0);
        EXPECT_EQ(largestDifference(file.readAt(1777, 100), part(expected, 1777, 100)), 0);
    }
}

TEST(FileReader_Wave, RefusesTheLongerHeaderOfACodingThatItDoesNotKnow) {
    const TemporaryFolder folder;
    const CapturedLog log;
    const std::string data(4000, 'x');
    writeBytes(folder.path() / "a.wav", extensibleHeader({0x7777, 2, 16}, 2, data.size()) + data);
    EXPECT_EQ(statusOfOpening(folder.path() / "a.wav"), kAudioFileInvalidFileError);
}

// Only the last frames take room on the disk.
TEST(FileReader_Wave, ReadsBeyond4GiBOfAnRF64) {
    constexpr SInt64 frameCount = 3'000'000'000;
    constexpr SInt64 markedFrames = 1000;
    const TemporaryFolder folder;
    const auto path = folder.path() / "long.wav";
    std::string marks;
    Sound expected(1);
    for (int place = 0; place < markedFrames; ++place) {
        const auto sample = static_cast<std::int16_t>(place * 7 - 3000);
        marks += little(sample);
        expected[0].push_back(static_cast<Float32>(sample) / 32768);
    }
    constexpr std::uint64_t dataBytes = frameCount * 2;
    const std::string header = "RF64" + little<std::uint32_t>(0xFFFFFFFF) + "WAVEds64" + little<std::uint32_t>(28) +
                               little<std::uint64_t>(dataBytes + 72) + little(dataBytes) +
                               little<std::uint64_t>(frameCount) + little<std::uint32_t>(0) + "fmt " +
                               little<std::uint32_t>(16) + little<std::uint16_t>(1) + little<std::uint16_t>(1) +
                               little<std::uint32_t>(48000) + little<std::uint32_t>(96000) + little<std::uint16_t>(2) +
                               little<std::uint16_t>(16) + "data" + little<std::uint32_t>(0xFFFFFFFF);
    {
        std::ofstream stream(path, std::ios::binary);
        stream << header;
        stream.seekp(static_cast<std::streamoff>(header.size() + dataBytes - marks.size()));
        stream << marks;
        ASSERT_TRUE(stream.flush().good());
    }
    ReadFile file(path);
    EXPECT_EQ(file.reader().fileType(), kAudioFileRF64Type);
    EXPECT_EQ(file.length(), frameCount);
    EXPECT_EQ(file.reader().packetCount(), frameCount);
    const Sound end = file.readAt(frameCount - markedFrames - 1, 5000);
    ASSERT_EQ(frames(end), markedFrames + 1);
    EXPECT_EQ(end[0][0], 0);
    EXPECT_EQ(largestDifference(part(end, 1, markedFrames), expected), 0);
    EXPECT_EQ(frames(file.readAt(frameCount, 10)), 0);
}

} // namespace
