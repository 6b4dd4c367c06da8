#include "platform/files/writing/FileWriter.h"

#include "platform/files/writing/LibavFileWriter.h"
#include "platform/foundation/FailureReason.h"

#include <utility>

namespace braq {

namespace {

/// A writer that has no file yet.
OSStatus makeWriter(const std::string& path, const FileCoding& coding, std::unique_ptr<LibavFileWriter>& writer) {
    writer = std::make_unique<LibavFileWriter>(path, coding);
    const Float64 rate = coding.description.mSampleRate;
    return rate != 0 ? writer->settleRate(rate) : 0;
}

} // namespace

OSStatus FileWriter::create(const std::string& path, AudioFileTypeID type, const AudioStreamBasicDescription& format,
                            std::unique_ptr<FileWriter>& writer) {
    FileCoding coding{};
    OSStatus status = chooseCoding(type, format, coding);
    std::unique_ptr<LibavFileWriter> made;
    status = status == 0 ? makeWriter(path, coding, made) : status;
    status = status == 0 ? made->createFile() : status;
    if (status == 0) {
        writer = std::move(made);
    }
    return status;
}

OSStatus FileWriter::createForwards(int descriptor, AudioFileTypeID type, const AudioStreamBasicDescription& format,
                                    std::unique_ptr<FileWriter>& writer) {
    FileCoding coding{};
    OSStatus status = chooseCoding(type, format, coding);
    if (status == 0 && !coding.muxer->writesForwards) {
        noteOwnReason("it cannot be written forwards only");
        status = kAudioFileUnsupportedDataFormatError;
    }
    std::unique_ptr<LibavFileWriter> made;
    status = status == 0 ? makeWriter("descriptor " + std::to_string(descriptor), coding, made) : status;
    status = status == 0 ? made->createFileOn(descriptor) : status;
    if (status == 0) {
        writer = std::move(made);
    }
    return status;
}

} // namespace braq
