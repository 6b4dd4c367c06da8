#include "tests/platform/files/ReadFile.h"
#include "tests/support/NumberedFiles.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>

// AAC in ways that the ffmpeg command does not write: in CAF files, and of the object type that doubles the rate.

namespace {

using namespace braq::tests;

// Decoders fill bands with noise, which is another one after a seek.
constexpr double loudestNoise = 0.00316; // -50 dB

template <class Integer>
std::string inBigEndian(Integer value) {
    std::string text;
    for (int i = sizeof value - 1; i >= 0; --i) {
        text += static_cast<char>(static_cast<std::uint64_t>(value) >> (8 * i));
    }
    return text;
}

/// The packets of an ADTS file, without their headers.
std::vector<std::string> packetsOf(const std::string& stream) {
    const auto byte = [&](std::size_t place) { return static_cast<unsigned char>(stream.at(place)); };
    std::vector<std::string> packets;
    for (std::size_t place = 0; place < stream.size();) {
        const std::size_t header = (byte(place + 1) & 1) != 0 ? 7 : 9;
        const std::size_t size =
            (byte(place + 3) & 3U) << 11 | UInt32{byte(place + 4)} << 3 | UInt32{byte(place + 5)} >> 5;
        packets.push_back(stream.substr(place + header, size - header));
        place += size;
    }
    return packets;
}

std::string chunk(const std::string& type, const std::string& content) {
    return type + inBigEndian<std::uint64_t>(content.size()) + content;
}

/// A descriptor of MPEG-4: what it is, its length in the longest form, which is the one that is found in CAF files, and what
/// it holds.
std::string descriptor(char tag, const std::string& content) {
    return tag + std::string("\x80\x80\x80") + static_cast<char>(content.size()) + content;
}

/// A number of a packet table: seven bits a byte, the highest first.
std::string asPackedSize(std::size_t value) {
    std::string text(1, static_cast<char>(value & 0x7F));
    while ((value >>= 7) != 0) {
        text.insert(text.begin(), static_cast<char>(0x80 | (value & 0x7F)));
    }
    return text;
}

/// Stereo of low complexity at 44,100 Hz.
std::string cafOf(const std::vector<std::string>& packets, SInt32 priming, SInt64 valid) {
    const std::string lowComplexity("\x12\x10", 2);
    const std::string decoder =
        descriptor(4, "\x40\x15" + std::string(11, '\0') + descriptor(5, lowComplexity)); // of the coding, its setting
    const std::string cookie = descriptor(3, std::string(3, '\0') + decoder + descriptor(6, "\x02"));
    const auto remainder = static_cast<SInt32>(static_cast<SInt64>(packets.size()) * 1024 - priming - valid);
    std::string table =
        inBigEndian<std::uint64_t>(packets.size()) + inBigEndian(valid) + inBigEndian(priming) + inBigEndian(remainder);
    std::string data = inBigEndian<UInt32>(0);
    for (const std::string& packet : packets) {
        table += asPackedSize(packet.size());
        data += packet;
    }
    const std::string description = inBigEndian(std::bit_cast<std::uint64_t>(44100.0)) + "aac " +
                                    inBigEndian<UInt32>(2) + inBigEndian<UInt32>(0) + inBigEndian<UInt32>(1024) +
                                    inBigEndian<UInt32>(2) + inBigEndian<UInt32>(0);
    return "caff" + inBigEndian<std::uint16_t>(1) + inBigEndian<std::uint16_t>(0) + chunk("desc", description) +
           chunk("kuki", cookie) + chunk("pakt", table) + chunk("data", data);
}

void expectTheSameAfterASeek(ReadFile& file, const Sound& all) {
    for (const SInt64 place : {SInt64{0}, SInt64{1}, SInt64{5000}, SInt64{40000}, frames(all) - 1, frames(all)}) {
        EXPECT_LE(largestDifference(file.readAt(place, 3000), part(all, place, 3000)), loudestNoise) << place;
    }
}

TEST(FileReader_AAC, IsReadFromCAF) {
    constexpr SInt32 priming = 2112;
    constexpr SInt64 valid = 170000;
    const TemporaryFolder folder;
    const auto path = folder.path() / "a.caf";
    writeBytes(path, cafOf(packetsOf(bytesOf(audioFile("lossy-aac.aac"))), priming, valid));
    ReadFile file(path);
    EXPECT_EQ(file.reader().fileType(), kAudioFileCAFType);
    EXPECT_EQ(file.reader().fileFormat().mFormatID, kAudioFormatMPEG4AAC);
    EXPECT_EQ(file.reader().fileFormat().mFramesPerPacket, 1024U);
    const auto table = file.reader().packetTable();
    ASSERT_TRUE(table);
    EXPECT_EQ(table->mPrimingFrames, priming);
    EXPECT_EQ(table->mNumberValidFrames, valid);
    EXPECT_EQ(file.length(), valid);
    const Sound all = file.readRest();
    EXPECT_EQ(largestDifference(all, part(ReadFile(audioFile("lossy-aac.aac")).readRest(), priming, valid)), 0);
    expectTheSameAfterASeek(file, all);
}

// libav 9 takes such a table for a missing one.
TEST(FileReader_AAC, IsReadFromCAFOfWhichNothingIsHeard) {
    constexpr SInt32 priming = 2112;
    const TemporaryFolder folder;
    const auto path = folder.path() / "a.caf";
    writeBytes(path, cafOf(packetsOf(bytesOf(audioFile("lossy-aac.aac"))), priming, 0));
    ReadFile file(path);
    EXPECT_EQ(file.reader().fileFormat().mFormatID, kAudioFormatMPEG4AAC);
    EXPECT_EQ(file.length(), 0);
    EXPECT_EQ(frames(file.readRest()), 0);
}

// With this setting, which says so, a decoder doubles the rate of packets that have nothing above the half of it.
TEST(FileReader_AAC, IsReadWhereItsDecoderDoublesTheRate) {
    const TemporaryFolder folder;
    const auto half = folder.path() / "half.m4a";
    encode(audioFile("reference-44k-stereo-16.wav"), "-ar 22050 -c:a aac -b:a 48k", half);
    std::string bytes = bytesOf(half);
    const std::string setting("\x13\x90\x56\xE5\x00", 5); // and it ends in: the rate is not doubled
    const std::size_t place = bytes.find(setting);
    ASSERT_NE(place, std::string::npos);
    bytes[place + 4] = '\xA0'; // it is, to 44,100 Hz
    writeBytes(folder.path() / "doubled.m4a", bytes);

    ReadFile file(folder.path() / "doubled.m4a");
    EXPECT_EQ(file.reader().fileFormat().mFormatID, kAudioFormatMPEG4AAC);
    EXPECT_EQ(file.reader().fileFormat().mSampleRate, 44100);
    EXPECT_EQ(file.reader().fileFormat().mFramesPerPacket, 2048U);
    EXPECT_EQ(file.length(), 176400);
    const auto table = file.reader().packetTable();
    ASSERT_TRUE(table);
    EXPECT_EQ(file.reader().packetCount() * 2048 - table->mPrimingFrames - table->mRemainderFrames, 176400);
    const Sound all = file.readRest();
    EXPECT_EQ(frames(all), 176400);
    EXPECT_GT(*std::ranges::max_element(all[0]), 0.3F);
    expectTheSameAfterASeek(file, all);
}

} // namespace
