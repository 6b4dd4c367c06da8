#include "BRAQAudio/platform/files.h"

#include "BRAQAudio/platform/foundation/NSLog.h"
#include "BRAQAudio/platform/foundation/NSURL.h"
#include "platform/files/OpenAudioFile.h"
#include "platform/foundation/FailureReason.h"
#include "platform/foundation/PropertyBytes.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <utility>

namespace {

using braq::OpenAudioFile;
using braq::OpenAudioFiles;

/// @return 0, or why it is not a local file
OSStatus pathOf(CFURLRef url, std::string& path) {
    if (url == nullptr) {
        return kAudio_ParamError;
    }
    if (!url->isFileURL()) {
        braq::noteOwnReason("it is not a file of this machine");
        return kAudioFileUnspecifiedError;
    }
    path = url->path();
    return 0;
}

OSStatus setClientFormat(OpenAudioFile& file, const AudioStreamBasicDescription& format) {
    return braq::withReason(
        [&] { return file.reader ? file.reader->setClientFormat(format) : file.writer->setClientFormat(format); });
}

OSStatus positions(const OpenAudioFile& file, UInt32* size, void* data) {
    const braq::ChannelPositions known = file.clientPositions();
    const std::size_t bytes = known.size() * sizeof(braq::ChannelPosition);
    if (size == nullptr || data == nullptr || *size < bytes) {
        return kExtAudioFileError_InvalidPropertySize;
    }
    std::copy(known.begin(), known.end(), static_cast<braq::ChannelPosition*>(data));
    *size = static_cast<UInt32>(bytes);
    return 0;
}

/// To many callers a list that does not fit looks like the end of the file, so it is logged; once, because they retry.
OSStatus readFrames(OpenAudioFile& file, UInt32& frames, AudioBufferList& list) {
    const UInt32 wanted = frames;
    const OSStatus status = file.reader->read(frames, list);
    const bool isMisfit = status == kAudio_ParamError;
    if (isMisfit && !file.isMisfitLogged) {
        NSLog("(ERROR) ExtAudioFile : " + std::to_string(wanted) +
              " frames of the client format do not fit into the buffers that they are to be read into");
    }
    file.isMisfitLogged = isMisfit;
    return status;
}

OSStatus openFile(CFURLRef url, ExtAudioFileRef* file) {
    std::string path;
    OSStatus status = pathOf(url, path);
    auto opened = std::make_shared<OpenAudioFile>();
    if (status == 0) {
        status = braq::FileReader::open(path, opened->reader);
    }
    if (status == 0) {
        *file = OpenAudioFiles::instance().add(std::move(opened));
    }
    return status;
}

OSStatus createFile(CFURLRef url, AudioFileTypeID type, const AudioStreamBasicDescription* format, UInt32 flags,
                    ExtAudioFileRef* file) {
    std::string path;
    OSStatus status = format == nullptr ? kAudio_ParamError : pathOf(url, path);
    std::error_code ignored;
    if (status == 0 && (flags & kAudioFileFlags_EraseFile) == 0 && std::filesystem::exists(path, ignored)) {
        braq::noteSystemReason(EEXIST);
        status = kAudioFilePermissionsError;
    }
    auto created = std::make_shared<OpenAudioFile>();
    if (status == 0) {
        status = braq::FileWriter::create(path, type, *format, created->writer);
    }
    if (status == 0) {
        *file = OpenAudioFiles::instance().add(std::move(created));
    }
    return status;
}

OSStatus createForwards(int descriptor, AudioFileTypeID type, const AudioStreamBasicDescription* format,
                        ExtAudioFileRef* file) {
    auto created = std::make_shared<OpenAudioFile>();
    const OSStatus status = format == nullptr
                                ? kAudio_ParamError
                                : braq::FileWriter::createForwards(descriptor, type, *format, created->writer);
    if (status == 0) {
        *file = OpenAudioFiles::instance().add(std::move(created));
    }
    return status;
}

OSStatus writeFile(ExtAudioFileRef file, UInt32 frames, const AudioBufferList* list) {
    const auto open = OpenAudioFiles::instance().find(file);
    if (open == nullptr) {
        return kAudioFileNotOpenError;
    }
    if (!open->writer) {
        return kExtAudioFileError_InvalidOperationOrder;
    }
    return list != nullptr ? open->writer->write(frames, *list) : kAudio_ParamError;
}

OSStatus closeFile(ExtAudioFileRef file) {
    const auto open = OpenAudioFiles::instance().take(file);
    if (open == nullptr) {
        return kAudioFileNotOpenError;
    }
    return open->writer ? open->writer->close() : 0;
}

} // namespace

OSStatus ExtAudioFileOpenURL(CFURLRef url, ExtAudioFileRef* file) {
    return braq::withReason([&] { return openFile(url, file); });
}

OSStatus ExtAudioFileCreateWithURL(CFURLRef url, AudioFileTypeID type, const AudioStreamBasicDescription* format,
                                   const AudioChannelLayout* /*layout*/, UInt32 flags, ExtAudioFileRef* file) {
    return braq::withReason([&] { return createFile(url, type, format, flags, file); });
}

OSStatus BRAQExtAudioFileCreateWithDescriptor(int descriptor, AudioFileTypeID type,
                                              const AudioStreamBasicDescription* format, ExtAudioFileRef* file) {
    return braq::withReason([&] { return createForwards(descriptor, type, format, file); });
}

OSStatus ExtAudioFileDispose(ExtAudioFileRef file) {
    return braq::withReason([&] { return closeFile(file); });
}

OSStatus ExtAudioFileGetProperty(ExtAudioFileRef file, ExtAudioFilePropertyID property, UInt32* size, void* data) {
    braq::forgetReason();
    const auto open = OpenAudioFiles::instance().find(file);
    if (open == nullptr) {
        return kAudioFileNotOpenError;
    }
    switch (property) {
    case kExtAudioFileProperty_FileDataFormat:
        return braq::answer(open->fileFormat(), size, data, kExtAudioFileError_InvalidPropertySize);
    case kExtAudioFileProperty_ClientDataFormat:
        return braq::answer(open->clientFormat(), size, data, kExtAudioFileError_InvalidPropertySize);
    case kBRAQExtAudioFileProperty_ChannelPositions: return positions(*open, size, data);
    case kExtAudioFileProperty_FileLengthFrames:
        return braq::answer(open->lengthFrames(), size, data, kExtAudioFileError_InvalidPropertySize);
    case kExtAudioFileProperty_ClientMaxPacketSize:
        return braq::answer(open->clientFormat().mBytesPerPacket, size, data, kExtAudioFileError_InvalidPropertySize);
    case kExtAudioFileProperty_AudioFile:
        return braq::answer(OpenAudioFiles::containerOf(file), size, data, kExtAudioFileError_InvalidPropertySize);
    case kExtAudioFileProperty_AudioConverter:
        return braq::answer(OpenAudioFiles::converterOf(file), size, data, kExtAudioFileError_InvalidPropertySize);
    default: return kExtAudioFileError_InvalidProperty;
    }
}

OSStatus ExtAudioFileSetProperty(ExtAudioFileRef file, ExtAudioFilePropertyID property, UInt32 size, const void* data) {
    braq::forgetReason();
    const auto open = OpenAudioFiles::instance().find(file);
    if (open == nullptr) {
        return kAudioFileNotOpenError;
    }
    if (property == kExtAudioFileProperty_ClientDataFormat) {
        AudioStreamBasicDescription format{};
        const OSStatus status = braq::take(format, size, data, kExtAudioFileError_InvalidPropertySize);
        return status == 0 ? setClientFormat(*open, format) : status;
    }
    if (property == kExtAudioFileProperty_ConverterConfig) {
        // A converter applies each change at once, so there is nothing left to do.
        const void* configuration = nullptr;
        return braq::take(configuration, size, data, kExtAudioFileError_InvalidPropertySize);
    }
    return kExtAudioFileError_InvalidProperty;
}

OSStatus ExtAudioFileRead(ExtAudioFileRef file, UInt32* frames, AudioBufferList* list) {
    braq::forgetReason();
    const auto open = OpenAudioFiles::instance().find(file);
    if (open == nullptr) {
        return kAudioFileNotOpenError;
    }
    if (frames == nullptr || list == nullptr) {
        return kAudio_ParamError;
    }
    return open->reader ? readFrames(*open, *frames, *list) : kExtAudioFileError_InvalidOperationOrder;
}

OSStatus ExtAudioFileSeek(ExtAudioFileRef file, SInt64 frame) {
    braq::forgetReason();
    const auto open = OpenAudioFiles::instance().find(file);
    if (open == nullptr) {
        return kAudioFileNotOpenError;
    }
    return open->reader ? open->reader->seek(frame) : kExtAudioFileError_InvalidOperationOrder;
}

OSStatus ExtAudioFileWrite(ExtAudioFileRef file, UInt32 frames, const AudioBufferList* list) {
    return braq::withReason([&] { return writeFile(file, frames, list); });
}

OSStatus ExtAudioFileWriteAsync(ExtAudioFileRef file, UInt32 frames, const AudioBufferList* list) {
    braq::forgetReason();
    const auto open = OpenAudioFiles::instance().find(file);
    if (open == nullptr) {
        return kAudioFileNotOpenError;
    }
    if (!open->writer) {
        return kExtAudioFileError_InvalidOperationOrder;
    }
    return frames == 0 ? 0 : ExtAudioFileWrite(file, frames, list);
}
