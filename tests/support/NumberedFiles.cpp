#include "tests/support/NumberedFiles.h"

#include "tests/support/FrameLists.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace braq::tests {

namespace {

// Numbers stand in memory as they do in the file: both are little-endian.
class Bytes {
  public:
    Bytes& tag(const char* four) {
        mBytes.append(four, 4);
        return *this;
    }
    template <class Number>
    Bytes& number(Number value) {
        mBytes.append(reinterpret_cast<const char*>(&value), sizeof(value));
        return *this;
    }
    const std::string& get() const { return mBytes; }

  private:
    std::string mBytes;
};

template <class Number>
Number numberAt(const std::string& bytes, std::size_t place) {
    if (place + sizeof(Number) > bytes.size()) {
        throw std::runtime_error("the file ends too early");
    }
    Number value;
    std::memcpy(&value, bytes.data() + place, sizeof(value));
    return value;
}

constexpr UInt16 floatCoding = 3;
constexpr UInt16 extensibleCoding = 0xFFFE;
constexpr std::size_t chunkHeaderBytes = 8;

} // namespace

void writeFile(const std::filesystem::path& path, UInt64 frames, UInt32 channels, UInt32 rate,
               const std::function<Float32(UInt64 frame, UInt32 channel)>& sample, UInt32 speakers) {
    constexpr UInt16 bits = 32;
    const auto frameBytes = static_cast<UInt16>(channels * sizeof(Float32));
    const auto dataBytes = static_cast<UInt32>(frames * frameBytes);
    const UInt32 formatBytes = speakers == 0 ? 16 : 40;
    Bytes bytes;
    bytes.tag("RIFF").number(4 + 8 + formatBytes + 8 + dataBytes).tag("WAVE");
    bytes.tag("fmt ").number(formatBytes).number(speakers == 0 ? floatCoding : extensibleCoding);
    bytes.number(static_cast<UInt16>(channels));
    bytes.number(rate).number(rate * frameBytes).number(frameBytes).number(bits);
    if (speakers != 0) {
        constexpr UInt16 moreBytes = 22;
        bytes.number(moreBytes).number(bits).number(speakers);
        // The coding as an identifier of 16 bytes.
        bytes.number(UInt32{floatCoding})
            .number(UInt32{0x00100000})
            .number(UInt32{0xAA000080})
            .number(UInt32{0x719B3800});
    }
    bytes.tag("data").number(dataBytes);
    for (UInt64 frame = 0; frame < frames; ++frame) {
        for (UInt32 channel = 0; channel < channels; ++channel) {
            bytes.number(sample(frame, channel));
        }
    }
    std::ofstream(path, std::ios::binary) << bytes.get();
}

void writeNumberedFile(const std::filesystem::path& path, UInt64 frames, UInt32 channels, UInt32 rate,
                       UInt32 speakers) {
    writeFile(path, frames, channels, rate, sampleOf, speakers);
}

std::vector<Float32> samplesOfFile(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(stream), {});
    if (!bytes.starts_with("RIFF") || bytes.substr(8, 4) != "WAVE") {
        throw std::runtime_error("not a WAVE file");
    }
    std::size_t place = 12;
    while (true) {
        const std::string tag = bytes.substr(place, 4);
        const auto size = numberAt<UInt32>(bytes, place + 4);
        const std::size_t body = place + chunkHeaderBytes;
        if (tag == "fmt ") {
            const auto coding = numberAt<UInt16>(bytes, body);
            if ((coding != floatCoding && coding != extensibleCoding) || numberAt<UInt16>(bytes, body + 14) != 32) {
                throw std::runtime_error("not 32-bit float");
            }
        }
        if (tag == "data") {
            std::vector<Float32> samples(size / sizeof(Float32));
            if (body + size > bytes.size()) {
                throw std::runtime_error("the file is cut off");
            }
            if (!samples.empty()) { // then there is nowhere to copy to
                std::memcpy(samples.data(), bytes.data() + body, samples.size() * sizeof(Float32));
            }
            return samples;
        }
        place = body + size + size % 2;
    }
}

std::vector<UInt64> framesOfFile(const std::filesystem::path& path) {
    const auto samples = samplesOfFile(path);
    std::vector<UInt64> frames;
    for (std::size_t i = 0; i + 1 < samples.size(); i += 2) {
        frames.push_back(static_cast<UInt64>(samples[i]) / 8);
        EXPECT_EQ(samples[i], sampleOf(frames.back(), 0)) << "at frame " << i / 2;
        EXPECT_EQ(samples[i + 1], sampleOf(frames.back(), 1)) << "at frame " << i / 2;
    }
    return frames;
}

std::filesystem::path audioFile(const std::string& name) { return std::filesystem::path(BRAQ_TEST_AUDIO) / name; }

} // namespace braq::tests
