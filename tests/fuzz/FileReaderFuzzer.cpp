#include "BRAQAudio/platform/foundation/NSLog.h"
#include "platform/files/reading/FileReader.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>
#include <vector>

// Opens what it is given as a file, and reads at places that are taken from the same bytes, plainly and at another rate.

namespace {

constexpr UInt32 blockFrames = 2048;
constexpr UInt32 clientChannels = 2;

class MemoryFile {
  public:
    MemoryFile(const std::uint8_t* data, std::size_t size) : mDescriptor(::memfd_create("fuzz", MFD_CLOEXEC)) {
        std::size_t written = 0;
        while (mDescriptor >= 0 && written < size) {
            const ssize_t part = ::write(mDescriptor, data + written, size - written);
            if (part <= 0) {
                std::abort();
            }
            written += static_cast<std::size_t>(part);
        }
    }
    ~MemoryFile() { ::close(mDescriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    std::string path() const { return "/proc/self/fd/" + std::to_string(mDescriptor); }
    void shrink(std::size_t bytes) const {
        if (::ftruncate(mDescriptor, static_cast<off_t>(bytes)) != 0) {
            std::abort();
        }
    }

  private:
    const int mDescriptor;
};

// Interleaved, into memory that ends where the frames do, so that a write beyond them shows.
UInt32 readBlock(braq::FileReader& reader, UInt32 frames) {
    std::vector<float> samples(std::size_t{frames} * clientChannels);
    AudioBufferList list{
        1, {{clientChannels, frames * clientChannels * static_cast<UInt32>(sizeof(float)), samples.data()}}};
    UInt32 got = frames;
    if (reader.read(got, list) != 0 || got > frames) {
        std::abort();
    }
    return got;
}

void setClient(braq::FileReader& reader, Float64 rate) {
    AudioStreamBasicDescription format = reader.clientFormat();
    format.mSampleRate = rate;
    format.mChannelsPerFrame = clientChannels;
    format.mBytesPerFrame = format.mBytesPerPacket = clientChannels * sizeof(float);
    format.mFormatFlags &= ~kAudioFormatFlagIsNonInterleaved;
    reader.setClientFormat(format);
}

bool use(braq::FileReader& reader, const std::uint8_t* data, std::size_t size) {
    setClient(reader, 0);
    if (reader.clientFormat().mChannelsPerFrame != clientChannels) {
        return false;
    }
    const SInt64 length = reader.lengthFrames();
    if (length < 0) {
        std::abort();
    }
    for (int i = 0; i < 4 && readBlock(reader, blockFrames) == blockFrames; ++i) {
    }
    const SInt64 packets = reader.packetCount();
    reader.packetTable();
    for (std::size_t i = 0; i < 8; ++i) {
        const SInt64 number = data[size * i / 8] * 257 + data[size - 1 - size * i / 8];
        reader.frameOfPacket(packets * number / 65536);
        reader.seek(length / 65536 * number + length % 65536 * number / 65536);
        readBlock(reader, static_cast<UInt32>(number % blockFrames));
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool isQuiet = [] {
        NSLogSetSink([](const std::string&) {});
        return true;
    }();
    if (size == 0 || !isQuiet) {
        return 0;
    }
    const MemoryFile file(data, size);
    std::unique_ptr<braq::FileReader> reader;
    if (braq::FileReader::open(file.path(), reader) != 0 || !use(*reader, data, size)) {
        return 0;
    }
    setClient(*reader, 37800);
    reader->seek(reader->lengthFrames() / 2);
    readBlock(*reader, blockFrames);
    file.shrink(size / 2);
    reader->seek(reader->lengthFrames() / 4);
    readBlock(*reader, blockFrames);
    reader->seek(reader->lengthFrames() - std::min<SInt64>(reader->lengthFrames(), blockFrames));
    readBlock(*reader, blockFrames);
    return 0;
}
