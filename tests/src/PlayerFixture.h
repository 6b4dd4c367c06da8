#pragma once

#include "BRAQAudio/BRAQAudioFileReader.h"
#include "BRAQAudio/BRAQExtendedAudioFilePlayer.h"
#include "tests/src/FileFixture.h"
#include "tests/src/Resources.h"
#include "tests/support/FrameLists.h"

#include <gmock/gmock.h>
#include <poll.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

// A player on a stepped device of 44.1 kHz, whose main queue is drained by hand.
namespace player_test {

using Player = std::shared_ptr<BRAQExtendedAudioFilePlayer>;

constexpr UInt32 bufferFrames = 4096;
constexpr UInt64 readAhead = UInt64{3} * bufferFrames;

/// Opens the insides of a ring that somebody else has made.
class Insides : public BRAQAudioBufferQueue {
  public:
    /// Returns when the worker has done what it was given.
    static void settle(BRAQAudioBufferQueue& queue) {
        const BRAQAudioBufferQueueGate::ClosedStretch closed(queue.*&Insides::mGate);
        (queue.*&Insides::waitUntilWorkerIsIdle)();
    }
};

/// What a delegate was told, and where.
struct Delegate {
    int ends = 0;
    int stops = 0;
    int nextFiles = 0;
    const void* player = nullptr;
    std::thread::id thread;
    std::function<void(const Player&)> whenAtEnd;

    void audioFilePlayerDidReachEndOfFile(const Player& of) {
        ++ends;
        player = of.get();
        thread = std::this_thread::get_id();
        if (whenAtEnd) {
            whenAtEnd(of);
        }
    }
    void audioFilePlayerDidBeginNextFile(const Player& of) {
        ++nextFiles;
        player = of.get();
        thread = std::this_thread::get_id();
    }
    void audioFilePlayerDidStop(const Player& of) {
        ++stops;
        player = of.get();
        thread = std::this_thread::get_id();
    }
};

class PlayerTest : public FileTest {
  protected:
    static constexpr UInt32 fileRate = 44100;

    explicit PlayerTest(Float64 deviceRate = fileRate)
        : software(makeDeviceWith({.uid = "player", .sampleRate = deviceRate, .loopback = true})),
          device(BRAQAudioDevice::initWithDeviceID(software->deviceID())) {}

    void TearDown() override {
        if (player != nullptr) {
            player->invalidate();
            player.reset();
        }
        FileTest::TearDown();
    }

    /// Makes the player of a numbered file of that many frames, with the delegate.
    void open(UInt64 frames) {
        player = BRAQExtendedAudioFilePlayer::initWithFilename(numbered(frames, 2, fileRate), device);
        player->setDelegate(&delegate);
    }

    BRAQAudioBufferQueue& ring() const { return *player->outputAudioUnit()->audioBufferQueue(); }
    BRAQAudioFileReader& reader() const { return dynamic_cast<BRAQAudioFileReader&>(ring()); }

    /// A cycle, after which the ring is full again.
    const std::vector<std::vector<Float32>>& play(UInt32 frames) {
        outputs.assign(2, std::vector<Float32>(frames, 99.0F));
        Float32* const to[2]{outputs[0].data(), outputs[1].data()};
        EXPECT_TRUE(software->step(frames, nullptr, to));
        Insides::settle(ring());
        return outputs;
    }

    static UInt64 frameOf(Float32 leftSample) { return static_cast<UInt64>(leftSample) / 8; }

    /// Plays `frames` frames and expects them to be those from `first` on.
    void expectPlays(UInt64 first, UInt64 frames) {
        for (UInt64 done = 0, part = 0; done < frames; done += part) {
            part = std::min<UInt64>(frames - done, 512);
            play(static_cast<UInt32>(part));
            for (UInt64 i = 0; i < part; ++i) {
                ASSERT_EQ(outputs[0][i], braq::tests::sampleOf(first + done + i, 0)) << "after " << done + i;
                ASSERT_EQ(outputs[1][i], braq::tests::sampleOf(first + done + i, 1)) << "after " << done + i;
            }
        }
    }

    /// Plays, and expects the position before each cycle to be the frame that is heard first in it.
    void expectPositionIsHeard(SInt64 first, int cycles, UInt32 frames) {
        for (int cycle = 0; cycle < cycles; ++cycle) {
            const SInt64 position = player->currentFrame();
            EXPECT_EQ(position, first + cycle * SInt64{frames});
            expectPlays(static_cast<UInt64>(position), frames);
        }
    }

    void expectSilent(UInt32 frames) {
        for (const auto& channel : play(frames)) {
            EXPECT_THAT(channel, testing::Each(0.0F));
        }
    }

    /// Plays until the end is on its way to the main thread, which has not heard of it yet.
    void playUntilTheEndIsSignalled() {
        do {
            play(512);
        } while (!BRAQAudioBufferQueueReachedEndOfStream(&ring()));
        waitForMainQueue();
    }
    /// The end is signalled in every cycle until it is told: the unit's thread may not have been waiting for the first.
    void waitForMainQueue() {
        pollfd watched = {queue.fileDescriptor(), POLLIN, 0};
        ASSERT_TRUE(resource_test::comesTrue([&] {
            software->step(16);
            return ::poll(&watched, 1, 1) == 1;
        })) << "it never came";
    }
    void playToTheEnd() {
        playUntilTheEndIsSignalled();
        queue.drain();
    }

    const std::shared_ptr<BRAQSoftwareDevice> software;
    const std::shared_ptr<BRAQAudioDevice> device;
    std::vector<std::vector<Float32>> outputs;
    Delegate delegate;
    Player player;
};

} // namespace player_test
