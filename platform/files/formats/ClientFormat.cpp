#include "platform/files/formats/ClientFormat.h"

#include "platform/samples/StreamFormat.h"

namespace braq {

OSStatus checkClientFormat(const AudioStreamBasicDescription& format) {
    if (format.mFormatID != kAudioFormatLinearPCM) {
        return kExtAudioFileError_NonPCMClientFormat;
    }
    const bool isPacked = format.mBytesPerPacket == format.mBytesPerFrame && format.mFramesPerPacket == 1;
    return isFloatFormat(format, mostClientChannels) && format.mSampleRate >= 0 && isPacked
               ? 0
               : kExtAudioFileError_InvalidDataFormat;
}

} // namespace braq
