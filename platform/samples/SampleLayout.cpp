#include "platform/samples/SampleLayout.h"

#include <algorithm>
#include <bit>
#include <cstdint>

namespace braq {
namespace {

/// The sample in the lower `bits` bits.
template <UInt32 bits>
UInt32 quantise(Float32 sample) {
    constexpr double scale = static_cast<double>(UInt64{1} << (bits - 1));
    // Adding it leaves the value as a rounded 32-bit integer in the lowest bits of the sum; compilers can do that for
    // several samples at once.
    constexpr double rounder = 6755399441055744.0; // 1.5 * 2^52
    double scaled = static_cast<double>(sample) * scale;
    scaled = scaled == scaled ? scaled : 0.0;
    scaled = std::min(std::max(scaled, -scale), scale - 1.0);
    return static_cast<UInt32>(std::bit_cast<UInt64>(scaled + rounder));
}

template <class Word>
void store(Word word, UInt32 bytes, bool isBigEndian, std::byte* destination) {
    for (UInt32 i = 0; i < bytes; ++i) {
        const UInt32 place = isBigEndian ? bytes - 1 - i : i;
        destination[i] = static_cast<std::byte>(static_cast<UInt8>(word >> (8 * place)));
    }
}

/// With its parameters known at compile time, so that the loop has no branches.
template <UInt32 bytes, bool isBigEndian, class Coded>
void convertAll(const Float32* source, std::size_t count, std::byte* destination, std::size_t stride, Coded coded) {
    for (std::size_t i = 0; i < count; ++i) {
        store(coded(source[i]), bytes, isBigEndian, destination + i * stride);
    }
}

template <UInt32 bytes, class Coded>
void convert(const Float32* source, std::size_t count, bool isBigEndian, std::byte* destination, std::size_t stride,
             Coded coded) {
    if (isBigEndian) {
        convertAll<bytes, true>(source, count, destination, stride, coded);
    } else {
        convertAll<bytes, false>(source, count, destination, stride, coded);
    }
}

} // namespace

void convertSamples(const Float32* source, std::size_t count, const SampleLayout& layout, std::byte* destination,
                    std::size_t stride) {
    const auto as = [&](auto bytes, auto coded) {
        convert<decltype(bytes)::value>(source, count, layout.isBigEndian, destination, stride, coded);
    };
    constexpr std::integral_constant<UInt32, 1> one;
    constexpr std::integral_constant<UInt32, 2> two;
    constexpr std::integral_constant<UInt32, 3> three;
    constexpr std::integral_constant<UInt32, 4> four;
    constexpr std::integral_constant<UInt32, 8> eight;
    if (layout.sort == SampleLayout::Sort::floating) {
        if (layout.bytes == 8) {
            as(eight, [](Float32 sample) { return std::bit_cast<UInt64>(static_cast<Float64>(sample)); });
        } else {
            as(four, [](Float32 sample) { return std::bit_cast<UInt32>(sample); });
        }
        return;
    }
    switch (layout.bits) {
    case 8:
        if (layout.sort == SampleLayout::Sort::unsignedInteger) {
            as(one, [](Float32 sample) { return quantise<8>(sample) ^ 0x80U; });
        } else {
            as(one, quantise<8>);
        }
        break;
    case 16: as(two, quantise<16>); break;
    case 24:
        if (layout.bytes == 4) {
            as(four, [](Float32 sample) { return quantise<24>(sample) << 8; });
        } else {
            as(three, quantise<24>);
        }
        break;
    default: as(four, quantise<32>); break;
    }
}

} // namespace braq
