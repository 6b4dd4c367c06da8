#include "BRAQAudio/BRAQAudioHardware.h"
#include "BRAQAudio/BRAQExtendedAudioFilePlayer.h"
#include "tests/src/pipewire/Ear.h"
#include "tests/support/NumberedFiles.h"
#include "tests/support/PrivateSoundServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <functional>
#include <thread>
#include <vector>

namespace {

using namespace braq::tests;

constexpr UInt32 heardCycle = 1024; // frames of the graph, at 48,000 a second

/// What a player says is heard, and when it says so.
struct Told {
    double time; ///< seconds
    SInt64 frame;
};

class HeardOnAServer : public testing::TestWithParam<UInt32> {
  protected:
    HeardOnAServer() {
        server.configure("default.clock.quantum", std::to_string(heardCycle));
        server.keep({.name = "sink"});
        server.start();
        EXPECT_TRUE(eventually([&] { return (sink = BRAQAudioDevice::initWithDeviceUID("sink")) != nullptr; }));
        const std::string file = server.folder() / "numbered.wav";
        writeNumberedFile(file, 900'000, 2, GetParam());
        player = BRAQExtendedAudioFilePlayer::initWithFilename(file, sink);
    }
    ~HeardOnAServer() override {
        if (player != nullptr) {
            player->invalidate();
        }
    }

    void ask() {
        using namespace std::chrono;
        for (const auto end = steady_clock::now() + 400ms; steady_clock::now() < end;) {
            const auto now = duration<double>(steady_clock::now().time_since_epoch());
            told.push_back({now.count(), player->heardFrame()});
            std::this_thread::sleep_for(3ms);
        }
    }

    PrivateSoundServer server;
    std::shared_ptr<BRAQAudioDevice> sink;
    std::shared_ptr<BRAQExtendedAudioFilePlayer> player;
    std::vector<Told> told;
};

// The time from when that frame, or one beside it, was in the monitor's recording to when it was told; at most a tenth of a
// second.
double distanceOf(const Told& told, const std::vector<Ear::Heard>& heard) {
    constexpr double widest = 0.1;
    double least = widest;
    auto frame = std::ranges::lower_bound(heard, told.time - widest, {}, &Ear::Heard::time);
    for (; frame != heard.end() && frame->time < told.time + widest; ++frame) {
        if (std::abs(static_cast<double>(frame->number) - static_cast<double>(told.frame)) <= 4.0) {
            least = std::abs(told.time - frame->time) < std::abs(least) ? told.time - frame->time : least;
        }
    }
    return least;
}

TEST_P(HeardOnAServer, IsWhatTheMonitorRecordsThenToWithinACycle) {
    ASSERT_NE(player, nullptr);
    Ear ear("sink.monitor");
    player->setCurrentFrame(300'000);
    player->startFilePlaying();
    ASSERT_TRUE(eventually([&] { return player->heardFrame() > 300'000 + 2 * SInt64{heardCycle}; }));
    const std::vector<std::function<void()>> changes{
        [] {},
        [&] { player->setPlaybackSpeed(2.0F); },
        [&] { player->setCurrentFrame(600'000); },
        [&] { player->setPlaybackSpeedAtOnce(-1.0F); },
        [&] { player->setPlaybackSpeed(-3.0F); },
        [&] { player->setPlaybackSpeedAtOnce(0.5F); },
        [&] { player->setLoop(player->position(), player->position() + 6000); }};
    for (const auto& change : changes) {
        change();
        ask();
    }
    player->stopFilePlaying();
    ASSERT_GT(told.size(), 300U);

    const auto heard = ear.heard();
    std::vector<double> distances;
    for (const auto& one : told) {
        distances.push_back(distanceOf(one, heard));
    }
    std::ranges::sort(distances);
    const auto at = [&](double part) {
        return distances[static_cast<std::size_t>(part * static_cast<double>(told.size() - 1))] * 1e3;
    };
    RecordProperty("leastMilliseconds", std::to_string(at(0.0)));
    RecordProperty("middleMilliseconds", std::to_string(at(0.5)));
    RecordProperty("mostMilliseconds", std::to_string(at(1.0)));
    const double cycleMilliseconds = heardCycle / 48.0;
    EXPECT_LE(std::abs(at(0.5)), cycleMilliseconds);
    // What a busy machine made the graph miss was never heard.
    EXPECT_GE(at(0.02), -cycleMilliseconds);
    EXPECT_LE(at(0.98), cycleMilliseconds);
}

INSTANTIATE_TEST_SUITE_P(AtRates, HeardOnAServer, testing::Values(48000, 44100),
                         [](const auto& rate) { return std::to_string(rate.param); });

} // namespace
