#include "platform/files/writing/FileWriter.h"

#include "platform/files/writing/LibavFileWriter.h"

#include <utility>

namespace braq {

OSStatus FileWriter::create(const std::string& path, AudioFileTypeID type, const AudioStreamBasicDescription& format,
                            std::unique_ptr<FileWriter>& writer) {
    FileCoding coding{};
    OSStatus status = chooseCoding(type, format, coding);
    if (status != 0) {
        return status;
    }
    auto made = std::make_unique<LibavFileWriter>(path, coding);
    if (format.mSampleRate != 0) {
        status = made->settleRate(format.mSampleRate);
    }
    status = status == 0 ? made->createFile() : status;
    if (status == 0) {
        writer = std::move(made);
    }
    return status;
}

} // namespace braq
