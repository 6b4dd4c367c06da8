#pragma once

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/types.h"

#include <string>
#include <string_view>
#include <vector>

/// @addtogroup filetypes
/// @{

/// What is left of a file if the process is killed while it is being written.
enum class BRAQAudioFileSurvival {
    nothing,     ///< the file cannot be read: it gets its index or its sizes on closing
    mostPackets, ///< all but the last packets, see `mostPacketsLost`
    everything,  ///< every frame of the calls that had returned
};

/// A kind of sample in a file.
struct BRAQAudioFileSample {
    /// A short name for users: "pcm8", "pcm16", "pcm24", "pcm32", "float", "double" for linear PCM, "alac" and "flac" for
    /// 16 bits, "alac24" and "flac24" for 24 bits, "aac", "mp3", "vorbis", "opus". Samples that differ in their byte order
    /// alone have the same name.
    const char* name;
    /// Coding, flags and bits per channel, as the operations that create a file take them; rate, channels and byte counts
    /// are 0: any.
    AudioStreamBasicDescription description;
};

/// Rates in Hz: `first`, and from there in steps to `last`.
struct BRAQAudioFileRates {
    UInt32 first;
    UInt32 last;
    UInt32 step;
};

/// A coding in a type of file. Files of each can be read, with any rate and number of channels that the library can play;
/// what is said of writing is empty if they cannot be written.
struct BRAQ_EXPORT BRAQAudioFileFormat {
    UInt32 fileType;                     ///< AudioFileTypeID
    const char* fileTypeName;            ///< such as "WAVE"
    std::vector<std::string> extensions; ///< that select the type, in lower case, without the dot; the usual one first
    UInt32 formatID;
    const char* formatName; ///< such as "linear PCM"

    /// The usual one comes first of those that differ in their byte order alone.
    std::vector<BRAQAudioFileSample> samples;

    bool canBeWritten;
    std::vector<BRAQAudioFileRates> rates; ///< that can be written, ascending
    std::vector<UInt32> channels;          ///< numbers of channels that can be written, ascending

    BRAQAudioFileSurvival survival;
    /// Of what was written before the process was killed, fewer frames are lost than this many packets have (AAC: 1,024
    /// each; FLAC: 4,608 at 44,100 and 48,000 Hz). 0 unless `mostPackets` are left.
    UInt32 mostPacketsLost;
    /// Whether other programs read the same; otherwise the header states a length of 0, which they believe.
    bool survivesForOthers;
    /// Whether it can be written into a pipe, see `BRAQExtAudioFileCreateWithDescriptor`.
    bool canBeWrittenForwards = false;

    /// Whether files with this rate can be written.
    bool allowsRate(Float64 rate) const noexcept;
    /// Whether files with this number of channels can be written.
    bool allowsChannels(UInt32 count) const noexcept;
    /// The first sample of this name; null if the format has none.
    const BRAQAudioFileSample* sampleNamed(std::string_view name) const noexcept;
};

/// Every coding of every type of file that the library reads or writes, those of a type together and its default first; types
/// that can be written come first. The writer refuses what is not in it. Valid until the process ends. Any thread but an
/// I/O thread.
BRAQ_EXPORT const std::vector<BRAQAudioFileFormat>& BRAQAudioFileFormats();

/// @}
