#include "platform/files/reading/FlacChecksum.h"

#include <gtest/gtest.h>

#include <random>
#include <string_view>
#include <vector>

namespace {

using braq::flacChecksum;
using Bytes = std::vector<std::uint8_t>;

/// Bit by bit, as the format's description has it.
UInt16 slowly(const Bytes& bytes) {
    UInt32 sum = 0;
    for (const std::uint8_t byte : bytes) {
        for (int bit = 7; bit >= 0; --bit) {
            const UInt32 carry = (sum >> 15 ^ UInt32{byte} >> bit) & 1;
            sum = (sum << 1 & 0xFFFF) ^ (carry != 0 ? 0x8005 : 0);
        }
    }
    return static_cast<UInt16>(sum);
}

Bytes noiseBytes(std::size_t length) {
    std::mt19937 random(static_cast<unsigned>(length));
    Bytes bytes(length);
    for (auto& byte : bytes) {
        byte = static_cast<std::uint8_t>(random());
    }
    return bytes;
}

TEST(Files_FlacChecksum, IsTheOneOfTheCheckText) {
    constexpr std::string_view text = "123456789";
    EXPECT_EQ(flacChecksum(Bytes(text.begin(), text.end())), 0xFEE8);
    EXPECT_EQ(flacChecksum({}), 0);
}

TEST(Files_FlacChecksum, IsTheSameBitByBitAtAnyLengthAndPlace) {
    for (std::size_t length = 0; length < 100; ++length) {
        const Bytes bytes = noiseBytes(length);
        EXPECT_EQ(flacChecksum(bytes), slowly(bytes)) << length;
        for (std::size_t begin = 0; begin < std::min<std::size_t>(length, 5); ++begin) {
            const Bytes rest(bytes.begin() + static_cast<std::ptrdiff_t>(begin), bytes.end());
            EXPECT_EQ(flacChecksum(std::span(bytes).subspan(begin)), slowly(rest)) << length << " from " << begin;
        }
    }
}

TEST(Files_FlacChecksum, IsZeroBehindItself) {
    Bytes bytes = noiseBytes(1000);
    const UInt16 sum = flacChecksum(bytes);
    bytes.push_back(static_cast<std::uint8_t>(sum >> 8));
    bytes.push_back(static_cast<std::uint8_t>(sum & 0xFF));
    EXPECT_EQ(flacChecksum(bytes), 0);
    bytes[500] ^= 4;
    EXPECT_NE(flacChecksum(bytes), 0);
}

} // namespace
