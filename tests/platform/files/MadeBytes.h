#pragma once

#include "BRAQAudio/platform/types.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>
#include <vector>

// Pieces of files, put together byte by byte as the descriptions of the formats have them.

namespace braq::tests {

class MadeBytes {
  public:
    MadeBytes() = default;
    MadeBytes(std::initializer_list<int> bytes) {
        for (const int byte : bytes) {
            mBytes.push_back(static_cast<std::uint8_t>(byte));
        }
    }

    MadeBytes& text(const std::string& text) {
        mBytes.insert(mBytes.end(), text.begin(), text.end());
        return *this;
    }
    MadeBytes& zeros(std::size_t count) {
        mBytes.resize(mBytes.size() + count);
        return *this;
    }
    MadeBytes& add(const MadeBytes& other) {
        mBytes.insert(mBytes.end(), other.mBytes.begin(), other.mBytes.end());
        return *this;
    }
    /// The lowest bytes of a number, the highest of them first.
    MadeBytes& bigEndian(UInt64 value, int bytes) {
        for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
            mBytes.push_back(static_cast<std::uint8_t>(value >> shift));
        }
        return *this;
    }
    MadeBytes& littleEndian(UInt64 value, int bytes) {
        for (int shift = 0; shift < 8 * bytes; shift += 8) {
            mBytes.push_back(static_cast<std::uint8_t>(value >> shift));
        }
        return *this;
    }

    std::uint8_t& operator[](std::size_t place) { return mBytes[place]; }
    std::size_t size() const { return mBytes.size(); }
    const std::vector<std::uint8_t>& get() const { return mBytes; }

    void write(const std::filesystem::path& path) const {
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(mBytes.data()), static_cast<std::streamsize>(mBytes.size()));
    }

  private:
    std::vector<std::uint8_t> mBytes;
};

/// A cyclic redundancy check, bit by bit, that begins with 0.
/// @param polynomial without its highest term
inline UInt32 slowChecksum(const std::vector<std::uint8_t>& bytes, int bits, UInt32 polynomial) {
    const UInt64 mask = (UInt64{1} << bits) - 1;
    UInt64 sum = 0;
    for (const std::uint8_t byte : bytes) {
        for (int bit = 7; bit >= 0; --bit) {
            const UInt64 carry = (sum >> (bits - 1) ^ UInt64{byte} >> bit) & 1;
            sum = (sum << 1 & mask) ^ (carry != 0 ? polynomial : 0);
        }
    }
    return static_cast<UInt32>(sum);
}

} // namespace braq::tests
