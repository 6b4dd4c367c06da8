#include "platform/files/reading/FlacChecksum.h"

#include <array>

// The loop over a step must be unrolled; this compiler does so at this level only.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC optimize("O3")
#endif

namespace braq {
namespace {

constexpr UInt32 polynomial = 0x8005; // the highest bit of each byte comes first
constexpr std::size_t step = 16;      // bytes at a time: only one step depends on the one before

// The effect of a byte on the sum when this many other bytes of its step follow it.
using Tables = std::array<std::array<UInt16, 256>, step>;

constexpr Tables makeTables() {
    Tables made{};
    for (UInt32 byte = 0; byte < 256; ++byte) {
        UInt32 sum = byte << 8;
        for (int bit = 0; bit < 8; ++bit) {
            sum = (sum << 1) ^ ((sum & 0x8000) != 0 ? polynomial : 0);
        }
        made[0][byte] = static_cast<UInt16>(sum);
    }
    for (std::size_t i = 1; i < step; ++i) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const UInt16 before = made[i - 1][byte];
            made[i][byte] = static_cast<UInt16>(before << 8 ^ made[0][before >> 8]);
        }
    }
    return made;
}

constexpr Tables tables = makeTables();

} // namespace

UInt16 flacChecksum(std::span<const std::uint8_t> bytes) {
    UInt32 sum = 0;
    const std::uint8_t* next = bytes.data();
    const std::uint8_t* const end = next + bytes.size();
    for (; static_cast<std::size_t>(end - next) >= step; next += step) {
        UInt32 ofStep = 0;
        for (std::size_t i = 2; i < step; ++i) {
            ofStep ^= tables[step - 1 - i][next[i]];
        }
        sum = ofStep ^ tables[step - 1][next[0] ^ sum >> 8] ^ tables[step - 2][next[1] ^ (sum & 0xFF)];
    }
    for (; next != end; ++next) {
        sum = (sum << 8 & 0xFFFF) ^ tables[0][*next ^ sum >> 8];
    }
    return static_cast<UInt16>(sum);
}

} // namespace braq
