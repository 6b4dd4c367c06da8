#include "BRAQAudio/platform/files.h"

#include "BRAQAudio/platform/foundation/CFString.h"
#include "platform/files/formats/FileTypes.h"
#include "platform/foundation/FailureReason.h"
#include "platform/foundation/PropertyBytes.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

namespace {

/// An array for its reader.
struct Answer {
    std::vector<std::byte> bytes;
    std::size_t entryBytes = 1;

    template <class Entry>
    void set(const std::vector<Entry>& entries) {
        entryBytes = sizeof(Entry);
        bytes.resize(entries.size() * sizeof(Entry));
        if (!entries.empty()) {
            std::memcpy(bytes.data(), entries.data(), bytes.size());
        }
    }
};

OSStatus typesOfExtension(UInt32 specifierSize, const void* specifier, Answer& answer) {
    CFStringRef extension = nullptr;
    const OSStatus status = braq::take(extension, specifierSize, specifier, kAudioFileBadPropertySizeError);
    if (status != 0) {
        return status;
    }
    const auto types = braq::fileTypesOfExtension(CFStringCopyUTF8(extension));
    answer.set(types);
    return types.empty() ? kAudioFileUnsupportedFileTypeError : 0;
}

OSStatus descriptionsOfFormat(UInt32 specifierSize, const void* specifier, Answer& answer) {
    AudioFileTypeAndFormatID pair{};
    OSStatus status = braq::take(pair, specifierSize, specifier, kAudioFileBadPropertySizeError);
    if (status != 0) {
        return status;
    }
    std::vector<AudioStreamBasicDescription> descriptions;
    status = braq::streamDescriptions(pair.mFileType, pair.mFormatID, descriptions);
    answer.set(descriptions);
    return status;
}

OSStatus answerTo(AudioFilePropertyID property, UInt32 specifierSize, const void* specifier, Answer& answer) {
    switch (property) {
    case kAudioFileGlobalInfo_TypesForExtension: return typesOfExtension(specifierSize, specifier, answer);
    case kAudioFileGlobalInfo_AvailableStreamDescriptionsForFormat:
        return descriptionsOfFormat(specifierSize, specifier, answer);
    default: return kAudioFileUnsupportedPropertyError;
    }
}

} // namespace

OSStatus AudioFileGetGlobalInfoSize(AudioFilePropertyID property, UInt32 specifierSize, const void* specifier,
                                    UInt32* size) {
    braq::forgetReason();
    Answer answer;
    const OSStatus status = answerTo(property, specifierSize, specifier, answer);
    if (status == 0) {
        *size = static_cast<UInt32>(answer.bytes.size());
    }
    return status;
}

OSStatus AudioFileGetGlobalInfo(AudioFilePropertyID property, UInt32 specifierSize, const void* specifier, UInt32* size,
                                void* data) {
    braq::forgetReason();
    Answer answer;
    const OSStatus status = answerTo(property, specifierSize, specifier, answer);
    if (status != 0) {
        return status;
    }
    const std::size_t fitting = std::min<std::size_t>(*size, answer.bytes.size()) / answer.entryBytes;
    if (fitting > 0) {
        std::memcpy(data, answer.bytes.data(), fitting * answer.entryBytes);
    }
    *size = static_cast<UInt32>(fitting * answer.entryBytes);
    return 0;
}
