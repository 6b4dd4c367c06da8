#pragma once

#include <array>
#include <filesystem>
#include <string>

namespace braq::bench {

/// A coding of ten minutes of sound.
struct Recording {
    const char* name;
    const char* extension;
    const char* arguments; ///< for ffmpeg
    double sampleRate = 44100;
    unsigned channels = 2;
};

inline constexpr double recordingSeconds = 600;

inline constexpr std::array recordings{
    Recording{"WAV16", "wav", "-c:a pcm_s16le"},
    Recording{"WAV24", "wav", "-c:a pcm_s24le"},
    Recording{"WAVfloat", "wav", "-c:a pcm_f32le"},
    Recording{"AIFF16", "aiff", "-c:a pcm_s16be"},
    Recording{"monoWAV16", "wav", "-ac 1 -c:a pcm_s16le", 44100, 1},
    Recording{"monoWAVfloat", "wav", "-ac 1 -c:a pcm_f32le", 44100, 1},
    Recording{"FLAC", "flac", "-c:a flac -sample_fmt s16"},
    Recording{"ALAC", "m4a", "-c:a alac -sample_fmt s16p"},
    Recording{"AAC", "m4a", "-c:a aac -b:a 128k"},
    Recording{"MP3", "mp3", "-c:a libmp3lame -b:a 128k"},
    Recording{"Vorbis", "ogg", "-c:a libvorbis -q:a 4"},
    Recording{"Opus", "opus", "-ar 48000 -c:a libopus -b:a 128k", 48000},
};

/// Where files for the benchmarks are made. The folder goes when the process ends.
const std::filesystem::path& folderOfMadeFiles();

/// Runs ffmpeg in that folder. Throws std::runtime_error when it fails.
void runFfmpeg(const std::string& arguments);

/// A minute of tones that swell, decay and tremble, over noise; another mixture of them on each of its two channels. The name
/// of a file in that folder; made when it is first asked for.
std::string minuteOfSound();

/// Made when it is first asked for. Throws std::runtime_error when that fails.
std::filesystem::path pathOf(const Recording& recording);

} // namespace braq::bench
