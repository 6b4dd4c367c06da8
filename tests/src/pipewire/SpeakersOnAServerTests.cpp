#include "BRAQAudio/BRAQAudioHardware.h"
#include "BRAQAudio/BRAQExtendedAudioFilePlayer.h"
#include "BRAQAudio/BRAQInputAudioUnit.h"
#include "tests/src/pipewire/UnitRecording.h"
#include "tests/support/FrameLists.h"
#include "tests/support/NumberedFiles.h"
#include "tests/support/PrivateSoundServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <ostream>
#include <string>
#include <vector>

namespace {

using braq::tests::cycle;
using braq::tests::eventually;
using braq::tests::PrivateSoundServer;
using braq::tests::sampleOf;
using braq::tests::UnitRecording;

constexpr UInt32 rate = 48000;
constexpr UInt64 fileFrames = 50'000;

struct Speakers {
    std::string positions;         // of the sink, in its order
    UInt32 mask;                   // of the file's channels
    std::vector<int> fileChannels; // that each of the sink's is to play; -1: none

    friend void PrintTo(const Speakers& speakers, std::ostream* out) {
        *out << "a file with mask " << speakers.mask << " on " << speakers.positions;
    }
};

/// Plays a file on a sink, and what the sink plays is recorded from its monitor.
class SpeakersOnAServer : public testing::TestWithParam<Speakers> {
  protected:
    SpeakersOnAServer() {
        server.configure("default.clock.quantum", std::to_string(cycle));
        server.configure("default.clock.max-quantum", "8192");
        server.keep({.name = "test.sink", .positions = GetParam().positions});
        server.start();
        EXPECT_TRUE(eventually([&] {
            sink = BRAQAudioDevice::initWithDeviceUID("test.sink");
            monitor = BRAQAudioDevice::initWithDeviceUID("test.sink.monitor");
            return sink != nullptr && monitor != nullptr;
        }));
    }

    PrivateSoundServer server;
    std::shared_ptr<BRAQAudioDevice> sink;
    std::shared_ptr<BRAQAudioDevice> monitor;
};

TEST_P(SpeakersOnAServer, HearEachChannelOfAFileBitForBit) {
    const std::string file = server.folder() / "file.wav";
    const auto channels =
        static_cast<UInt32>(std::ranges::count_if(GetParam().fileChannels, [](int from) { return from >= 0; }));
    braq::tests::writeNumberedFile(file, fileFrames, channels, rate, GetParam().mask);
    const auto input = BRAQInputAudioUnit::initWithDevice(monitor, std::nullopt);
    const UnitRecording recording(input, GetParam().fileChannels.size());
    input->start();
    ASSERT_TRUE(eventually([&] { return recording.frames() > 0; }));
    const auto player = BRAQExtendedAudioFilePlayer::initWithFilename(file, sink);
    ASSERT_NE(player, nullptr);
    player->startFilePlaying();
    ASSERT_TRUE(player->isPlaying());
    ASSERT_TRUE(eventually([&] { return recording.frames() >= recording.firstHeard() + fileFrames; }));
    player->stopFilePlaying();
    player->invalidate();
    input->stop();

    const std::size_t first = recording.firstHeard(); // of the first frame, all but channel 0 is heard
    for (std::size_t channel = 0; channel < GetParam().fileChannels.size(); ++channel) {
        const int from = GetParam().fileChannels[channel];
        for (std::size_t frame = 0; frame < fileFrames; ++frame) {
            ASSERT_EQ(recording.sample(channel, first + frame),
                      from < 0 ? 0.0F : sampleOf(frame, static_cast<UInt32>(from)))
                << "channel " << channel << " of the sink, frame " << frame;
        }
    }
}

// FL FR FC LFE RL RR is 0x3F in a file, with SL SR in the place of RL RR 0x60F, and 0 says nothing.
INSTANTIATE_TEST_SUITE_P(OfASink, SpeakersOnAServer,
                         testing::Values(Speakers{"FL,FR,RL,RR,FC,LFE", 0x3F, {0, 1, 4, 5, 2, 3}},
                                         Speakers{"FL,FR,RL,RR,FC,LFE", 0x60F, {0, 1, 4, 5, 2, 3}},
                                         Speakers{"FL,FR,RL,RR,FC,LFE", 0, {0, 1, 4, 5, 2, 3}},
                                         Speakers{"FL,FR,RL,RR,FC,LFE,SL,SR", 0x63F, {0, 1, 4, 5, 2, 3, 6, 7}},
                                         Speakers{"FL,FR,RL,RR,FC,LFE", 0x33, {0, 1, 2, 3, -1, -1}},
                                         Speakers{"FL,FR,FC,LFE,SL,SR", 0x3F, {0, 1, 2, 3, 4, 5}},
                                         Speakers{"AUX0,AUX1,AUX2,AUX3,AUX4,AUX5", 0x3F, {0, 1, 2, 3, 4, 5}}));

} // namespace
