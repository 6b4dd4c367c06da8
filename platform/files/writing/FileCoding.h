#pragma once

#include "platform/files/formats/FileTypes.h"
#include "platform/files/libav/Libav.h"
#include "platform/samples/SampleLayout.h"

namespace braq {

/// How the frames of a file are coded, and by what.
struct FileCoding {
    AudioFileTypeID type;
    const FileMuxer* muxer;
    /// Complete but for the rate, which may be 0, and for the frames of a packet of what is not linear PCM.
    AudioStreamBasicDescription description;
    AVCodecID codec;
    UInt32 codecTag;     ///< 0: the container's usual one
    SampleLayout sample; ///< of the file, or of what its encoder takes

    bool isLinearPCM() const { return description.mFormatID == kAudioFormatLinearPCM; }
};

/// Finds out how a file is to be coded.
/// @return 0; 'typ?' for a type that cannot be written; 'fmt?' for a format that it cannot hold
OSStatus chooseCoding(AudioFileTypeID type, const AudioStreamBasicDescription& format, FileCoding& coding);

/// Whether files may have a rate: whole frames a second, up to a million.
bool isFileRate(Float64 rate);

} // namespace braq
