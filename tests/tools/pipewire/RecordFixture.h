#pragma once

#include "tests/tools/pipewire/Sound.h"
#include "tests/tools/pipewire/ToolFixture.h"

#include <gmock/gmock.h>

#include <cmath>
#include <csignal>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tool_test {

/// `braq record` on the monitor of a sink that `braq play` plays on.
class ToolRecord : public ToolOnASink {
  protected:
    /// Returns when it records; its log has the name of the file.
    std::unique_ptr<braq::tests::ChildProcess> startRecording(const std::string& name,
                                                              const std::vector<std::string>& more = {}) const {
        std::vector<std::string> arguments{"record", "--device", "test.sink.monitor", path(name)};
        arguments.insert(arguments.end(), more.begin(), more.end());
        auto tool = start(name, arguments);
        EXPECT_TRUE(eventuallyWrites(name, "recording")) << written(name);
        return tool;
    }
    void play(const std::string& name) const {
        EXPECT_EQ(start("play", {"play", "--device", "test.sink", path(name)})->wait(), 0) << written("play");
    }
    void finish(braq::tests::ChildProcess& tool, const std::string& name) const {
        tool.signal(SIGTERM);
        EXPECT_EQ(tool.wait(), 0) << written(name);
        EXPECT_THAT(written(name), testing::HasSubstr(", 0 overruns"));
    }

    /// Plays so many frames, of which a recording in every format keeps each one that can be kept.
    void expectLosslessRecordings(std::size_t frames) const {
        const Sound file = toneAndNoise(frames, rate);
        writeFile(path("played.wav"), file, rate);
        const std::vector<std::pair<std::string, std::string>> formats{
            {"16.wav", "pcm16"},   {"24.wav", "pcm24"},     {"32.rf64", "pcm32"},  {"float.wav", "float"},
            {"16.aiff", "pcm16"},  {"float.aifc", "float"}, {"24.caf", "pcm24"},   {"alac.caf", "alac"},
            {"float.au", "float"}, {"16.flac", "flac"},     {"24.flac", "flac24"}, {"16.m4a", "alac"},
            {"24.m4a", "alac24"},  {"16.mp4", "pcm16"}};
        std::vector<std::unique_ptr<braq::tests::ChildProcess>> recordings;
        for (const auto& [name, format] : formats) {
            recordings.push_back(startRecording(name, {"--format", format}));
        }
        play("played.wav");
        for (std::size_t i = 0; i < formats.size(); ++i) {
            finish(*recordings[i], formats[i].first);
        }
        for (const auto& [name, format] : formats) {
            const Sound recorded = readFile(path(name)).trimmed();
            EXPECT_EQ(recorded.frames(), file.frames()) << name;
            EXPECT_EQ(firstDifference(recorded, file), file.frames()) << name;
        }
    }

    /// Plays so many frames, whose length, level and pitch recordings in lossy formats keep.
    void expectLossyRecordings(std::size_t frames) const {
        writeFile(path("played.wav"), toneAndNoise(frames, rate), rate);
        const std::vector<std::string> names{"tone.m4a", "tone.mp4", "tone.aac"};
        std::vector<std::unique_ptr<braq::tests::ChildProcess>> recordings;
        for (const auto& name : names) {
            recordings.push_back(startRecording(name, {"--format", "aac"}));
        }
        play("played.wav");
        for (std::size_t i = 0; i < names.size(); ++i) {
            finish(*recordings[i], names[i]);
        }
        for (const auto& name : names) {
            const Sound recorded = readFile(path(name)).trimmed(0.01F);
            constexpr double twoPackets = 2048.0;
            EXPECT_NEAR(static_cast<double>(recorded.frames()), static_cast<double>(frames), twoPackets) << name;
            EXPECT_NEAR(20.0 * std::log10(levelOf(recorded.left()) * std::sqrt(2.0) / 0.5), 0.0, 0.5) << name;
            EXPECT_NEAR(frequencyOf(recorded.part(cycle, frames - 4 * cycle).left(), rate), 1000.0, 1.0) << name;
        }
    }
};

} // namespace tool_test
