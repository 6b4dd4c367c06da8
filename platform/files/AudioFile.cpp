#include "BRAQAudio/platform/files.h"

#include "platform/files/OpenAudioFile.h"
#include "platform/foundation/FailureReason.h"
#include "platform/foundation/PropertyBytes.h"

#include <optional>

// The container and the converter of an open file.

namespace {

using braq::FileWriter;
using braq::OpenAudioFile;
using braq::OpenAudioFiles;

/// Packets of the frames written so far, including the incomplete one.
SInt64 packetsOf(const FileWriter& writer) {
    const SInt64 framesPerPacket = writer.fileFormat().mFramesPerPacket;
    const SInt64 frames = writer.lengthFrames() + writer.primeInfo().leadingFrames;
    return framesPerPacket == 0 ? 0 : (frames + framesPerPacket - 1) / framesPerPacket;
}

std::optional<AudioFilePacketTableInfo> packetTableOf(const FileWriter& writer) {
    const SInt64 framesPerPacket = writer.fileFormat().mFramesPerPacket;
    if (framesPerPacket <= 1) {
        return std::nullopt;
    }
    const auto priming = static_cast<SInt32>(writer.primeInfo().leadingFrames);
    const SInt64 remainder = packetsOf(writer) * framesPerPacket - writer.lengthFrames() - priming;
    return AudioFilePacketTableInfo{writer.lengthFrames(), priming, static_cast<SInt32>(remainder)};
}

std::optional<AudioFilePacketTableInfo> packetTableOf(const OpenAudioFile& file) {
    return file.reader ? file.reader->packetTable() : packetTableOf(*file.writer);
}

OSStatus translatePacket(const OpenAudioFile& file, UInt32* size, void* data) {
    AudioFramePacketTranslation translation{};
    if (size == nullptr || braq::take(translation, *size, data, kAudioFileBadPropertySizeError) != 0) {
        return kAudioFileBadPropertySizeError;
    }
    if (!file.reader) {
        return kAudioFileUnsupportedPropertyError;
    }
    const auto frame = file.reader->frameOfPacket(translation.mPacket);
    if (!frame) {
        return kAudioFilePositionError;
    }
    translation.mFrame = *frame + translation.mFrameOffsetInPacket;
    return braq::answer(translation, size, data, kAudioFileBadPropertySizeError);
}

} // namespace

OSStatus AudioFileGetProperty(AudioFileID file, AudioFilePropertyID property, UInt32* size, void* data) {
    braq::forgetReason();
    const auto open = OpenAudioFiles::instance().find(file);
    if (open == nullptr) {
        return kAudioFileNotOpenError;
    }
    switch (property) {
    case kAudioFilePropertyFileFormat:
        return braq::answer(open->reader ? open->reader->fileType() : open->writer->fileType(), size, data,
                            kAudioFileBadPropertySizeError);
    case kAudioFilePropertyDataFormat:
        return braq::answer(open->fileFormat(), size, data, kAudioFileBadPropertySizeError);
    case kAudioFilePropertyAudioDataPacketCount:
        return braq::answer(open->reader ? open->reader->packetCount() : packetsOf(*open->writer), size, data,
                            kAudioFileBadPropertySizeError);
    case kAudioFilePropertyPacketTableInfo:
        if (const auto table = packetTableOf(*open)) {
            return braq::answer(*table, size, data, kAudioFileBadPropertySizeError);
        }
        return kAudioFileUnsupportedPropertyError;
    case kAudioFilePropertyPacketToFrame: return translatePacket(*open, size, data);
    default: return kAudioFileUnsupportedPropertyError;
    }
}

OSStatus AudioConverterGetProperty(AudioConverterRef converter, AudioConverterPropertyID property, UInt32* size,
                                   void* data) {
    braq::forgetReason();
    const auto file = OpenAudioFiles::instance().find(converter);
    if (file == nullptr) {
        return kAudioFileNotOpenError;
    }
    if (property == kAudioConverterEncodeBitRate) {
        return braq::answer(file->writer ? file->writer->bitRate() : file->readBitRate, size, data,
                            kAudioConverterErr_BadPropertySizeError);
    }
    if (property == kAudioConverterPrimeInfo && file->writer) {
        return braq::answer(file->writer->primeInfo(), size, data, kAudioConverterErr_BadPropertySizeError);
    }
    if (property == kAudioConverterPrimeInfo) {
        if (const auto table = file->reader->packetTable()) {
            const AudioConverterPrimeInfo info{static_cast<UInt32>(table->mPrimingFrames),
                                               static_cast<UInt32>(table->mRemainderFrames)};
            return braq::answer(info, size, data, kAudioConverterErr_BadPropertySizeError);
        }
    }
    return kAudioConverterErr_PropertyNotSupported;
}

OSStatus AudioConverterSetProperty(AudioConverterRef converter, AudioConverterPropertyID property, UInt32 size,
                                   const void* data) {
    braq::forgetReason();
    const auto file = OpenAudioFiles::instance().find(converter);
    if (file == nullptr) {
        return kAudioFileNotOpenError;
    }
    if (property != kAudioConverterEncodeBitRate) {
        return kAudioConverterErr_PropertyNotSupported;
    }
    UInt32 bitRate = 0;
    if (const OSStatus status = braq::take(bitRate, size, data, kAudioConverterErr_BadPropertySizeError); status != 0) {
        return status;
    }
    if (file->writer) {
        return file->writer->setBitRate(bitRate);
    }
    file->readBitRate = bitRate;
    return 0;
}
