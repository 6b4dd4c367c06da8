#include "tools/braq/info/FileContainer.h"

#include <array>
#include <fstream>
#include <string_view>

namespace {

struct Signature {
    std::size_t offset;
    std::string_view bytes;
    const char* name;
};

// The first match counts. The library has found audio in the file, so a few bytes are enough.
constexpr std::array signatures{
    Signature{0, "RIFF", "WAVE"}, Signature{0, "RF64", "RF64"}, Signature{0, "BW64", "BW64"},
    Signature{8, "AIFF", "AIFF"}, Signature{8, "AIFC", "AIFC"}, Signature{0, "caff", "CAF"},
    Signature{0, ".snd", "NeXT"}, Signature{0, "fLaC", "FLAC"}, Signature{0, "OggS", "Ogg"},
    Signature{8, "M4A ", "M4A"},  Signature{8, "qt  ", "MOV"},  Signature{4, "ftyp", "MPEG-4"},
};

} // namespace

std::string fileContainer(const std::string& path, UInt32 formatID) {
    std::array<char, 12> head{};
    std::ifstream(path, std::ios::binary).read(head.data(), head.size());
    for (const auto& signature : signatures) {
        if (std::string_view(head.data(), head.size()).substr(signature.offset).starts_with(signature.bytes)) {
            return signature.name;
        }
    }
    switch (formatID) {
    case kAudioFormatMPEGLayer3: return "MP3";
    case kAudioFormatMPEG4AAC: return "ADTS";
    case kAudioFormatFLAC: return "FLAC"; // preceded by tags
    default: return "";
    }
}
