#include "tests/src/pipewire/PlayUnderLoad.h"

#include "BRAQAudio/BRAQExtendedAudioFilePlayer.h"
#include "tests/support/BusyThreads.h"
#include "tests/support/NumberedFiles.h"
#include "tests/support/PrivateSoundServer.h"
#include "tests/support/RealtimePermission.h"

#include <gtest/gtest.h>

#include <iostream>
#include <memory>
#include <string>
#include <thread>

namespace player_test {

using braq::tests::eventually;

void playUnderLoad(std::chrono::seconds duration) {
    constexpr UInt32 rate = 48000;
    braq::tests::PrivateSoundServer server;
    for (const char* key : {"default.clock.quantum", "default.clock.min-quantum", "default.clock.max-quantum"}) {
        server.configure(key, "256");
    }
    server.keep({.name = "test.sink"});
    server.start();
    std::shared_ptr<BRAQAudioDevice> sink;
    ASSERT_TRUE(eventually([&] { return (sink = BRAQAudioDevice::initWithDeviceUID("test.sink")) != nullptr; }));
    EXPECT_EQ(sink->playbackBufferSize(), 256U);
    const std::string file = server.folder() / "numbered.wav";
    constexpr std::chrono::seconds spare{60};
    braq::tests::writeNumberedFile(file, static_cast<UInt64>((duration + spare).count()) * rate, 2, rate);

    const auto player = BRAQExtendedAudioFilePlayer::initWithFilename(file, sink);
    ASSERT_NE(player, nullptr);
    SInt64 framesPlayed = 0;
    UInt64 underruns = 0;
    {
        const braq::tests::BusyThreads busy;
        player->startFilePlaying();
        ASSERT_TRUE(eventually([&] { return player->currentFrame() > 0; }));
        const SInt64 first = player->currentFrame();
        std::this_thread::sleep_for(duration);
        framesPlayed = player->currentFrame() - first;
        underruns = player->errorCount();
        EXPECT_TRUE(player->isPlaying());
    }
    player->invalidate();
    std::cout << underruns << " underruns in " << framesPlayed << " frames\n";
    if (!braq::tests::mayUseRealtimeScheduling()) {
        GTEST_SKIP() << "not shown: this process has no permission for real-time scheduling; there were " << underruns
                     << " underruns";
    }
    EXPECT_EQ(underruns, 0U);
    // Not much is left out when a server that is not scheduled in real time cycles late.
    EXPECT_GT(framesPlayed, duration.count() * rate * 9 / 10);
}

} // namespace player_test
