#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace braq::tests {

/// What libav finds in a file, by its own protocol and demuxer.
struct DecodedFile {
    std::string container;
    std::string codec;
    int rate = 0;
    int channels = 0;
    std::int64_t statedFrames = -1; ///< the length that the container states, in frames; -1 when it states none
    std::int64_t packets = 0;
    std::vector<std::vector<double>> samples; ///< by channel; full scale is 1, integers are not rounded

    std::int64_t frames() const { return samples.empty() ? 0 : static_cast<std::int64_t>(samples.front().size()); }
};

/// @param isDamaged packets that cannot be decoded are left out
/// Throws `std::runtime_error` for what cannot be read, or not decoded without an error.
DecodedFile decodeFile(const std::string& path, bool isDamaged = false);

} // namespace braq::tests
