#include "tests/platform/files/ReadFile.h"

#include "tests/support/ChildProcess.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>
#include <stdexcept>

namespace braq::tests {
namespace {

constexpr Float32 untouched = 12345;

// A list of planar buffers, one frame longer at both ends than what is read.
class GuardedList {
  public:
    GuardedList(UInt32 channels, UInt32 frames)
        : mFrames(frames),
          mSamples(channels, std::vector<Float32>(frames + 2, untouched)),
          mMemory(AudioBufferListByteSize(channels)) {
        get()->mNumberBuffers = channels;
        for (UInt32 i = 0; i < channels; ++i) {
            get()->mBuffers[i] = {1, frames * static_cast<UInt32>(sizeof(Float32)), mSamples[i].data() + 1};
        }
    }
    AudioBufferList* get() { return reinterpret_cast<AudioBufferList*>(mMemory.data()); }

    Sound take(UInt32 got) {
        for (std::vector<Float32>& plane : mSamples) {
            if (plane.front() != untouched || plane[mFrames + 1] != untouched) {
                throw std::runtime_error("samples beside those of the list were written");
            }
            plane.erase(plane.begin());
            plane.resize(got);
        }
        for (UInt32 i = 0; i < get()->mNumberBuffers; ++i) {
            if (get()->mBuffers[i].mDataByteSize != got * sizeof(Float32)) {
                throw std::runtime_error("a buffer does not say how much is in it");
            }
        }
        return std::move(mSamples);
    }

  private:
    const UInt32 mFrames;
    Sound mSamples;
    std::vector<char> mMemory;
};

std::vector<std::string> words(const std::string& text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

} // namespace

ReadFile::ReadFile(const std::filesystem::path& path) {
    if (const OSStatus status = FileReader::open(path.string(), mReader); status != 0) {
        throw std::runtime_error(path.string() + " was not opened: " + std::to_string(status));
    }
}

void ReadFile::setClient(Float64 rate, UInt32 channels) {
    AudioStreamBasicDescription format = mReader->clientFormat();
    format.mSampleRate = rate;
    format.mChannelsPerFrame = channels;
    if (mReader->setClientFormat(format) != 0) {
        throw std::runtime_error("the client format was refused");
    }
}

Sound ReadFile::read(UInt32 frames) {
    GuardedList list(channels(), frames);
    UInt32 got = frames;
    if (mReader->read(got, *list.get()) != 0 || got > frames) {
        throw std::runtime_error("reading failed");
    }
    return list.take(got);
}

Sound ReadFile::readAt(SInt64 frame, UInt32 frames) {
    if (mReader->seek(frame) != 0) {
        throw std::runtime_error("seeking failed");
    }
    return read(frames);
}

Sound ReadFile::readRest(UInt32 framesAtOnce) {
    Sound all(channels());
    for (bool isMore = true; isMore;) {
        const Sound block = read(framesAtOnce);
        isMore = tests::frames(block) == framesAtOnce;
        for (std::size_t i = 0; i < all.size(); ++i) {
            all[i].insert(all[i].end(), block[i].begin(), block[i].end());
        }
    }
    return all;
}

OSStatus statusOfOpening(const std::filesystem::path& path) {
    std::unique_ptr<FileReader> reader;
    return FileReader::open(path.string(), reader);
}

SInt64 frames(const Sound& sound) { return sound.empty() ? 0 : static_cast<SInt64>(sound.front().size()); }

Sound part(const Sound& sound, SInt64 first, SInt64 count) {
    const SInt64 begin = std::clamp<SInt64>(first, 0, frames(sound));
    const SInt64 end = std::clamp<SInt64>(first + count, begin, frames(sound));
    Sound result;
    for (const std::vector<Float32>& plane : sound) {
        result.emplace_back(plane.begin() + begin, plane.begin() + end);
    }
    return result;
}

double largestDifference(const Sound& one, const Sound& other) {
    if (one.size() != other.size() || frames(one) != frames(other)) {
        return std::numeric_limits<double>::infinity();
    }
    double largest = 0;
    for (std::size_t channel = 0; channel < one.size(); ++channel) {
        for (std::size_t i = 0; i < one[channel].size(); ++i) {
            largest = std::max(largest, std::abs(double{one[channel][i]} - double{other[channel][i]}));
        }
    }
    return largest;
}

void encode(const std::filesystem::path& input, const std::string& arguments, const std::filesystem::path& output) {
    encode(input, {{arguments, output}});
}

void encode(const std::filesystem::path& input, const std::vector<Encoding>& encodings) {
    std::vector<std::string> command{"ffmpeg", "-nostdin", "-v", "error", "-y", "-i", input.string()};
    for (const Encoding& encoding : encodings) {
        std::ranges::copy(words(encoding.arguments), std::back_inserter(command));
        command.push_back(encoding.output.string());
    }
    const std::string log = encodings.back().output.string() + ".log";
    if (ChildProcess(command, log).wait() != 0) {
        throw std::runtime_error("the ffmpeg command failed: " + bytesOf(log));
    }
}

std::vector<Float32> decodedByCommand(const std::filesystem::path& input, const std::filesystem::path& folder) {
    encode(input, "-f f32le", folder / "decoded");
    const std::string bytes = bytesOf(folder / "decoded");
    std::vector<Float32> samples(bytes.size() / sizeof(Float32));
    std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(Float32));
    return samples;
}

std::string bytesOf(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        throw std::runtime_error("there is no " + path.string());
    }
    return {std::istreambuf_iterator<char>(stream), {}};
}

void writeBytes(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

} // namespace braq::tests
