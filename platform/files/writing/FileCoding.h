#pragma once

#include "platform/files/formats/FileTypes.h"
#include "platform/files/libav/Libav.h"
#include "platform/samples/SampleLayout.h"

namespace braq {

/// The coding of a file's frames, and its codec.
struct FileCoding {
    AudioFileTypeID type;
    const FileMuxer* muxer;
    const BRAQAudioFileFormat* format;
    /// Complete except for the rate, which may be 0, and frames per packet unless it is linear PCM.
    AudioStreamBasicDescription description;
    AVCodecID codec;
    UInt32 codecTag;     ///< 0: the container's default
    SampleLayout sample; ///< of the file, or of the encoder's input

    bool isLinearPCM() const { return description.mFormatID == kAudioFormatLinearPCM; }
};

/// Determines how to code a file.
/// @return 0; 'typ?' for a type that cannot be written; 'fmt?' for a format that it cannot hold
OSStatus chooseCoding(AudioFileTypeID type, const AudioStreamBasicDescription& format, FileCoding& coding);

/// Why a file cannot have a rate, or a number of channels: phrases for `noteOwnReason`.
constexpr const char* rateReason = "the rate is not supported";
constexpr const char* channelsReason = "the number of channels is not supported";

} // namespace braq
