#pragma once

#include "BRAQAudio/platform/types.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace braq::tests {

/// The samples so far of a file in the RIFF WAVE format that another program records floating-point numbers into.
inline std::vector<Float32> samplesOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    const std::string content((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    const auto chunk = content.find("data");
    const auto begin = chunk + 8;
    if (chunk == std::string::npos || content.size() < begin + sizeof(Float32)) {
        return {};
    }
    std::vector<Float32> samples((content.size() - begin) / sizeof(Float32));
    std::memcpy(samples.data(), content.data() + begin, samples.size() * sizeof(Float32));
    return samples;
}

} // namespace braq::tests
