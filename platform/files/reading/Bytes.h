#pragma once

#include "BRAQAudio/platform/types.h"

#include <cstring>
#include <type_traits>

namespace braq {

inline UInt16 reverseBytes(UInt16 value) { return __builtin_bswap16(value); }
inline UInt32 reverseBytes(UInt32 value) { return __builtin_bswap32(value); }
inline UInt64 reverseBytes(UInt64 value) { return __builtin_bswap64(value); }

/// The integer at `bytes`, in native byte order; need not be aligned.
template <class Integer>
Integer nativeAt(const std::uint8_t* bytes) {
    Integer value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "The readers of numbers in files take this machine's order for it");

template <class Integer>
Integer littleEndianAt(const std::uint8_t* bytes) {
    return nativeAt<Integer>(bytes);
}

template <class Integer>
Integer bigEndianAt(const std::uint8_t* bytes) {
    using Unsigned = std::make_unsigned_t<Integer>;
    return static_cast<Integer>(reverseBytes(nativeAt<Unsigned>(bytes)));
}

/// Four characters, like `BRAQFourCharCode`.
inline UInt32 codeAt(const std::uint8_t* bytes) { return bigEndianAt<UInt32>(bytes); }

} // namespace braq
