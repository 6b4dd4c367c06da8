#include "platform/files/OpenAudioFile.h"

#include <utility>

namespace braq {
namespace {

// A reference consists of the file's number and the part of the file; it is not a pointer.
enum class Part : std::uintptr_t { file = 1, container = 2, converter = 3 };
constexpr std::uintptr_t partBits = 2;

template <class Reference>
Reference reference(std::uintptr_t number, Part part) {
    return reinterpret_cast<Reference>(number << partBits | static_cast<std::uintptr_t>(part));
}

template <class Reference>
std::uintptr_t numberOf(Reference reference, Part part) {
    const auto value = reinterpret_cast<std::uintptr_t>(reference);
    const bool isPart = (value & ((std::uintptr_t{1} << partBits) - 1)) == static_cast<std::uintptr_t>(part);
    return isPart ? value >> partBits : 0;
}

} // namespace

OpenAudioFiles& OpenAudioFiles::instance() {
    // Never destroyed: another thread may still write when the process ends.
    static auto* const files = new OpenAudioFiles();
    return *files;
}

ExtAudioFileRef OpenAudioFiles::add(std::shared_ptr<OpenAudioFile> file) {
    return reference<ExtAudioFileRef>(mFiles.add(std::move(file)), Part::file);
}

std::shared_ptr<OpenAudioFile> OpenAudioFiles::find(ExtAudioFileRef file) const {
    return mFiles.find(numberOf(file, Part::file));
}

std::shared_ptr<OpenAudioFile> OpenAudioFiles::find(AudioFileID container) const {
    return mFiles.find(numberOf(container, Part::container));
}

std::shared_ptr<OpenAudioFile> OpenAudioFiles::find(AudioConverterRef converter) const {
    return mFiles.find(numberOf(converter, Part::converter));
}

std::shared_ptr<OpenAudioFile> OpenAudioFiles::take(ExtAudioFileRef file) {
    return mFiles.take(numberOf(file, Part::file));
}

AudioFileID OpenAudioFiles::containerOf(ExtAudioFileRef file) {
    return reference<AudioFileID>(numberOf(file, Part::file), Part::container);
}

AudioConverterRef OpenAudioFiles::converterOf(ExtAudioFileRef file) {
    return reference<AudioConverterRef>(numberOf(file, Part::file), Part::converter);
}

} // namespace braq
