#include "platform/files/reading/FlacFrame.h"

#include "tests/platform/files/MadeBytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

namespace {

using braq::FlacFrame;
using braq::flacFrame;
using braq::FlacStream;
using braq::tests::MadeBytes;

constexpr FlacStream stream{4096, 4096, 44100, 2, 16, 0};

/// The codes in a header.
struct Codes {
    bool countsFrames = false;
    UInt32 block = 12; // 4096 frames
    UInt32 rate = 9;   // 44.1 kHz
    UInt32 channels = 1;
    UInt32 depth = 4; // 16 bits
    UInt32 reserved = 0;
};

/// As UTF-8 would have it, with up to 36 bits.
MadeBytes number(UInt64 value) {
    MadeBytes bytes;
    if (value < 0x80) {
        return bytes.bigEndian(value, 1);
    }
    int more = 1;
    while (value >> (6 * more + 6 - more) != 0) {
        ++more;
    }
    const UInt32 mark = 0xFFU << (7 - more) & 0xFF;
    bytes.bigEndian(mark | value >> (6 * more), 1);
    while (more-- > 0) {
        bytes.bigEndian(0x80 | (value >> (6 * more) & 0x3F), 1);
    }
    return bytes;
}

/// @param more what follows the number, before the checksum
MadeBytes header(const Codes& codes, const MadeBytes& coded, const MadeBytes& more = {}) {
    MadeBytes bytes{0xFF, codes.countsFrames ? 0xF9 : 0xF8};
    bytes.bigEndian(codes.block << 4 | codes.rate, 1);
    bytes.bigEndian(codes.channels << 4 | codes.depth << 1 | codes.reserved, 1);
    bytes.add(coded).add(more);
    return bytes.bigEndian(braq::tests::slowChecksum(bytes.get(), 8, 0x07), 1);
}

std::optional<FlacFrame> read(const MadeBytes& bytes, const FlacStream& of = stream) {
    return flacFrame(bytes.get(), of);
}

TEST(Files_FlacFrame, NumbersCountBlocksOrFrames) {
    for (const UInt64 value : {0ULL, 1ULL, 0x7FULL, 0x80ULL, 0x7FFULL, 0x800ULL, 0xFFFFULL, 0x10000ULL, 0x1FFFFFULL,
                               0x200000ULL, 0x3FFFFFFULL, 0x4000000ULL, 0x7FFFFFFFULL}) {
        const auto counted = number(value);
        const auto byBlocks = read(header({}, counted));
        ASSERT_TRUE(byBlocks) << value;
        EXPECT_EQ(byBlocks->firstFrame, static_cast<SInt64>(value) * 4096);
        EXPECT_EQ(byBlocks->frames, 4096U);
        EXPECT_EQ(byBlocks->headerBytes, 5 + counted.size());
        const auto byFrames = read(header({.countsFrames = true}, counted));
        ASSERT_TRUE(byFrames) << value;
        EXPECT_EQ(byFrames->firstFrame, static_cast<SInt64>(value));
    }
    for (const UInt64 value : {0x80000000ULL, 0xFFFFFFFFFULL}) {
        const auto frame = read(header({.countsFrames = true}, number(value)));
        ASSERT_TRUE(frame) << value;
        EXPECT_EQ(frame->firstFrame, static_cast<SInt64>(value));
        EXPECT_EQ(frame->headerBytes, 12U);
    }
}

TEST(Files_FlacFrame, NumbersThatAreNotWellFormedAreRefused) {
    for (const MadeBytes& coded : {MadeBytes{0x80}, MadeBytes{0xBF}, MadeBytes{0xFF}, MadeBytes{0xC3, 0x00},
                                   MadeBytes{0xC3, 0xC3}, MadeBytes{0xE3, 0x80, 0x40}}) {
        EXPECT_FALSE(read(header({}, coded)));
    }
}

TEST(Files_FlacFrame, BlocksAreAsLongAsTheirCodesSay) {
    constexpr FlacStream any{16, 65535, 44100, 2, 16, 0};
    constexpr std::array<UInt32, 16> lengths{0,   192, 576,  1152, 2304, 4608, 0,     0,
                                             256, 512, 1024, 2048, 4096, 8192, 16384, 32768};
    for (UInt32 code = 0; code < 16; ++code) {
        if (code == 6 || code == 7) {
            continue;
        }
        const auto frame = read(header({.block = code}, number(3)), any);
        ASSERT_EQ(frame.has_value(), lengths[code] != 0) << code;
        if (frame) {
            EXPECT_EQ(frame->frames, lengths[code]) << code;
        }
    }
    const auto inAByte = read(header({.block = 6}, number(3), {0xFE}), any);
    ASSERT_TRUE(inAByte);
    EXPECT_EQ(inAByte->frames, 255U);
    EXPECT_EQ(inAByte->headerBytes, 7U);
    const auto inTwo = read(header({.block = 7}, number(3), {0x12, 0x34}), any);
    ASSERT_TRUE(inTwo);
    EXPECT_EQ(inTwo->frames, 0x1235U);
    EXPECT_EQ(inTwo->headerBytes, 8U);
    EXPECT_FALSE(read(header({.block = 7}, number(3), {0xFF, 0xFF}), any)) << "longer than the longest";
    EXPECT_TRUE(read(header({.block = 7}, number(3), {0x0F, 0xFF})));
    EXPECT_FALSE(read(header({.block = 7}, number(3), {0x10, 0x00}))) << "longer than the longest";
}

TEST(Files_FlacFrame, RatesAreThoseOfTheirCodesAndOfTheStream) {
    constexpr std::array<UInt32, 12> rates{0,     88200, 176400, 192000, 8000,  16000,
                                           22050, 24000, 32000,  44100,  48000, 96000};
    FlacStream of = stream;
    for (UInt32 code = 1; code < rates.size(); ++code) {
        of.sampleRate = rates[code];
        EXPECT_TRUE(read(header({.rate = code}, number(1)), of)) << code;
        EXPECT_TRUE(read(header({.rate = 0}, number(1)), of)) << code;
        of.sampleRate = rates[code] + 1;
        EXPECT_FALSE(read(header({.rate = code}, number(1)), of)) << code;
    }
    of.sampleRate = 37000;
    EXPECT_TRUE(read(header({.rate = 12}, number(1), {37}), of));
    EXPECT_FALSE(read(header({.rate = 12}, number(1), {38}), of));
    of.sampleRate = 0x3039;
    EXPECT_TRUE(read(header({.rate = 13}, number(1), {0x30, 0x39}), of));
    EXPECT_FALSE(read(header({.rate = 13}, number(1), {0x31, 0x39}), of));
    of.sampleRate = 123450;
    EXPECT_TRUE(read(header({.rate = 14}, number(1), {0x30, 0x39}), of));
    EXPECT_FALSE(read(header({.rate = 15}, number(1)), of));
    const auto both = read(header({.block = 6, .rate = 14}, number(1), {99, 0x30, 0x39}), of);
    ASSERT_TRUE(both);
    EXPECT_EQ(both->frames, 100U);
    EXPECT_EQ(both->headerBytes, 9U);
}

TEST(Files_FlacFrame, ChannelsAndDepthAreThoseOfTheStream) {
    FlacStream of = stream;
    for (UInt32 channels = 1; channels <= 8; ++channels) {
        of.channels = channels;
        for (UInt32 code = 0; code < 16; ++code) {
            const bool isRight = code < 8 ? code + 1 == channels : code <= 10 && channels == 2;
            EXPECT_EQ(read(header({.channels = code}, number(1)), of).has_value(), isRight) << code << " " << channels;
        }
    }
    of = stream;
    constexpr std::array<UInt32, 8> depths{0, 8, 12, 0, 16, 20, 24, 32};
    for (const UInt32 bits : {8U, 12U, 16U, 20U, 24U, 32U}) {
        of.bitsPerSample = bits;
        for (UInt32 code = 0; code < 8; ++code) {
            EXPECT_EQ(read(header({.depth = code}, number(1)), of).has_value(), code == 0 || depths[code] == bits)
                << code << " " << bits;
        }
    }
    EXPECT_FALSE(read(header({.reserved = 1}, number(1))));
}

TEST(Files_FlacFrame, NoBitMayBeWrongAndNoneMissing) {
    const MadeBytes good = header({.block = 7, .rate = 13}, number(0x12345), {0x0A, 0xBC, 0xAC, 0x44});
    ASSERT_TRUE(read(good));
    for (std::size_t bit = 0; bit < 8 * good.size(); ++bit) {
        MadeBytes bad = good;
        bad[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
        EXPECT_FALSE(read(bad)) << bit;
    }
    for (std::size_t length = 0; length < good.size(); ++length) {
        EXPECT_FALSE(flacFrame(std::span(good.get()).first(length), stream)) << length;
    }
    MadeBytes more = good;
    more.zeros(20);
    EXPECT_TRUE(read(more));
}

TEST(Files_FlacFrame, TheStreamIsDescribedInItsFirstBlock) {
    MadeBytes bytes;
    bytes.bigEndian(0x1234, 2).bigEndian(0xABCD, 2).zeros(6);
    bytes.bigEndian(UInt64{192000} << 44 | UInt64{7} << 41 | UInt64{23} << 36 | 0x9ABCDEF01ULL, 8).zeros(16);
    std::uint8_t block[braq::flacStreamInfoBytes];
    std::ranges::copy(bytes.get(), block);
    const FlacStream made = braq::flacStream(block);
    EXPECT_EQ(made.shortestBlock, 0x1234U);
    EXPECT_EQ(made.longestBlock, 0xABCDU);
    EXPECT_EQ(made.sampleRate, 192000U);
    EXPECT_EQ(made.channels, 8U);
    EXPECT_EQ(made.bitsPerSample, 24U);
    EXPECT_EQ(made.totalFrames, 0x9ABCDEF01);
    EXPECT_FALSE(made.hasConstantBlocks());
    EXPECT_TRUE(stream.hasConstantBlocks());
}

} // namespace
