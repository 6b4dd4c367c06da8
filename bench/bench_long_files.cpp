// How long it takes to open a file of ten hours, and to go to its end.

#include "bench/MadeFiles.h"
#include "bench/OpenServiceFile.h"
#include "bench/Quantile.h"

#include <benchmark/benchmark.h>

#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using braq::bench::folderOfMadeFiles;
using braq::bench::Layout;
using braq::bench::OpenServiceFile;
using Path = std::filesystem::path;

constexpr double seconds = 36000;
constexpr UInt32 framesRead = 512;

void writeNumber(std::ofstream& file, std::uint32_t number, int bytes) {
    for (int i = 0; i < bytes; ++i) {
        file.put(static_cast<char>(number >> (8 * i) & 0xFF));
    }
}

/// One channel of 16 bits, silent: nothing but the header takes room on the disk.
void makeWave(const Path& path, UInt32 sampleRate) {
    const auto bytes = static_cast<std::uint32_t>(seconds * sampleRate * 2);
    constexpr std::uint32_t headerBytes = 44;
    std::ofstream file(path, std::ios::binary);
    file << "RIFF";
    writeNumber(file, headerBytes - 8 + bytes, 4);
    file << "WAVEfmt ";
    writeNumber(file, 16, 4);
    writeNumber(file, 1, 2); // linear
    writeNumber(file, 1, 2);
    writeNumber(file, sampleRate, 4);
    writeNumber(file, 2 * sampleRate, 4);
    writeNumber(file, 2, 2);
    writeNumber(file, 16, 2);
    file << "data";
    writeNumber(file, bytes, 4);
    file.close();
    std::filesystem::resize_file(path, std::uintmax_t{headerBytes} + bytes);
}

/// The minute again and again, without coding it again.
void repeatMinute(const Path& path, const std::string& coding) {
    const std::string minute = "minute-" + path.filename().string();
    braq::bench::runFfmpeg("-i " + braq::bench::minuteOfSound() + " " + coding + " " + minute);
    braq::bench::runFfmpeg("-stream_loop 599 -i " + minute + " -c copy " + path.filename().string());
}

struct LongFile {
    const char* name;
    const char* extension;
    double sampleRate;
    void (*make)(const Path&);
};

constexpr std::array longFiles{
    LongFile{"WAV", "wav", 44100, [](const Path& path) { makeWave(path, 44100); }},
    // Silent, because ten hours of anything else are large without losses, and ffmpeg puts nothing lossy into this container.
    LongFile{"CAF", "caf", 44100, [](const Path& path) { repeatMinute(path, "-af volume=0 -c:a alac"); }},
    LongFile{"M4A", "m4a", 44100, [](const Path& path) { repeatMinute(path, "-c:a aac -b:a 48k"); }},
    // Coding it anew is what takes long here: packets say in themselves where they are.
    LongFile{"FLAC", "flac", 8000,
             [](const Path& path) {
                 braq::bench::runFfmpeg("-f lavfi -i anullsrc=r=8000:cl=mono:d=36000 -c:a flac -compression_level 0 " +
                                        path.filename().string());
             }},
    LongFile{"Vorbis", "ogg", 44100, [](const Path& path) { repeatMinute(path, "-c:a libvorbis -q:a 0"); }},
};

Path pathOf(const LongFile& file) {
    const Path path = folderOfMadeFiles() / (std::string("long-") + file.name + "." + file.extension);
    if (!exists(path)) {
        file.make(path);
    }
    return path;
}

template <class Action>
double milliseconds(const Action& action) {
    const auto begin = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

void openLongFile(benchmark::State& state, const LongFile& longFile) try {
    constexpr int times = 3;
    const Path path = pathOf(longFile);
    std::vector<double> opening;
    std::vector<double> end;
    for ([[maybe_unused]] auto iteration : state) {
        for (int i = 0; i < times; ++i) {
            std::unique_ptr<OpenServiceFile> file;
            opening.push_back(
                milliseconds([&] { file = std::make_unique<OpenServiceFile>(path, Layout::planar, framesRead); }));
            const auto length = static_cast<double>(file->lengthFrames());
            if (std::abs(length / longFile.sampleRate - seconds) > 0.001 * seconds) {
                throw std::runtime_error("it is not ten hours long");
            }
            UInt32 frames = 0;
            end.push_back(milliseconds([&] {
                file->seek(file->lengthFrames() - framesRead);
                frames = file->read();
            }));
            if (frames != framesRead) {
                throw std::runtime_error("there is nothing at its end");
            }
        }
        state.SetIterationTime(opening.back() * 1e-3);
    }
    state.counters["opening"] = braq::bench::quantile(opening, 0.5);
    state.counters["first seek, to the end"] = braq::bench::quantile(end, 0.5);
} catch (const std::exception& failure) {
    state.SkipWithError(failure.what());
}

const bool isRegistered = [] {
    for (const LongFile& longFile : longFiles) {
        benchmark::RegisterBenchmark((std::string("openLongFile/") + longFile.name).c_str(),
                                     [&longFile](benchmark::State& state) { openLongFile(state, longFile); })
            ->Iterations(1)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    }
    return true;
}();

} // namespace
