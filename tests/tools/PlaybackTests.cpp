#include "tests/src/UnitFixture.h"
#include "tests/support/FrameLists.h"
#include "tests/support/NumberedFiles.h"
#include "tests/support/PrivateSoundServer.h"
#include "tests/support/TemporaryFolder.h"
#include "tools/braq/play/FilePlayback.h"
#include "tools/braq/play/LoopPlayback.h"

#include <gmock/gmock.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

using braq::tests::eventually;
using braq::tests::sampleOf;

/// A file that says once that it cannot be read from a frame on, and then ends there.
class BrokenFile final : public BRAQExtendedAudioFile {
  public:
    BrokenFile(const std::string& path, SInt64 broken)
        : BRAQExtendedAudioFile(NSURL::fileURLWithPath(path), Options()), mBroken(broken) {}

    void readIntoAudioBufferList(AudioBufferList* list, SInt64 startFrame, UInt32* framesRead) override {
        if (startFrame < mBroken) {
            BRAQExtendedAudioFile::readIntoAudioBufferList(list, startFrame, framesRead);
            return;
        }
        *framesRead = 0;
        if (!std::exchange(mHasSaidSo, true)) {
            throw NSException(NSInternalInconsistencyException, "it is broken there");
        }
    }

  private:
    const SInt64 mBroken;
    bool mHasSaidSo = false; // one thread at a time reads
};

class Tool_Playback : public unit_test::UnitTest {
  protected:
    // All that is asked for here is read ahead before it is played, so that no worker is waited for.
    std::shared_ptr<BRAQExtendedAudioFile> numbered(UInt64 frames) const {
        const std::string path = folder.path() / "numbered.wav";
        braq::tests::writeNumberedFile(path, frames);
        return BRAQExtendedAudioFile::initForPlaybackWithFilename(path);
    }

    /// Expects that the next cycle plays the frames from `first` on.
    /// @param direction 1 upwards, -1 downwards
    void expectCycle(SInt64 first, int direction, UInt32 frames = 500) {
        const auto& played = step(frames);
        for (UInt32 frame = 0; frame < frames; ++frame) {
            const auto expected = static_cast<UInt64>(first + direction * SInt64{frame});
            ASSERT_EQ(played[0][frame], sampleOf(expected, 0)) << "frame " << frame;
            ASSERT_EQ(played[1][frame], sampleOf(expected, 1)) << "frame " << frame;
        }
    }

    /// The same, behind frames that fade or cross-fade.
    void expectCycleBehindAFade(SInt64 first, int direction) {
        constexpr UInt32 fade = 400; // a little more than 8 ms
        step(fade);
        expectCycle(first + direction * SInt64{fade}, direction);
    }

    braq::tests::TemporaryFolder folder;
};

TEST_F(Tool_Playback, AFileEndsWhenTheMainThreadHearsOfIt) {
    FilePlayback playback(numbered(1000), device);
    playback.start();
    expectCycle(0, 1);
    EXPECT_EQ(playback.frame(), 500);
    EXPECT_FALSE(playback.hasEnded());
    expectCycle(500, 1);
    step(500);
    EXPECT_TRUE(eventually([&] {
        BRAQMainQueue::mainQueue().drain();
        return playback.hasEnded();
    }));
    EXPECT_FALSE(playback.isRunning());
    EXPECT_EQ(playback.frame(), 1000);
    EXPECT_EQ(playback.underruns(), 0U);
}

TEST_F(Tool_Playback, AFileEndsAlsoWhenNobodySaysSo) {
    FilePlayback playback(numbered(1000), device);
    playback.start();
    step(1000);
    step(500);
    EXPECT_FALSE(playback.hasEnded()) << "it is given a moment";
    EXPECT_TRUE(eventually([&] { return playback.hasEnded(); })) << "the main queue has not been run";
}

TEST_F(Tool_Playback, AFileThatHasEndedGoesOnWhenItIsMoved) {
    FilePlayback playback(numbered(1000), device);
    playback.start();
    step(1000);
    step(500);
    EXPECT_FALSE(playback.hasEnded());
    playback.goTo(50);
    BRAQMainQueue::mainQueue().drain();
    EXPECT_FALSE(playback.hasEnded());
    expectCycleBehindAFade(50, 1);
}

TEST_F(Tool_Playback, ARangeIsPlayedAgainAndAgainUntilItIsLetGo) {
    FilePlayback playback(numbered(20'000), device);
    EXPECT_TRUE(playback.canLoopRange());
    playback.start();
    expectCycle(0, 1, 1000);
    constexpr SInt64 end = 1000 - 480; // where a ramp is most like that at its beginning
    playback.setLoop(0, 1000);
    playback.goTo(0); // as the second mark does
    step(500);
    expectCycle(500, 1, end - 500);
    expectCycle(0, 1, end);
    expectCycle(0, 1, 250);
    playback.clearLoop();
    expectCycle(250, 1, end - 250);
    expectCycle(end, 1, 500);
}

TEST_F(Tool_Playback, WhatFollowsIsGoneOnWithWhenItHasBegun) {
    const auto first = numbered(1000);
    const std::string path = folder.path() / "next.wav";
    braq::tests::writeNumberedFile(path, 3000);
    FilePlayback playback(first, device);
    EXPECT_TRUE(playback.setNext(path, false));
    playback.start();
    expectCycle(0, 1);
    EXPECT_FALSE(playback.takePlayed());
    expectCycle(500, 1);
    expectCycle(0, 1);
    const auto played = playback.takePlayed();
    ASSERT_TRUE(played);
    EXPECT_EQ(played->seconds, 1000 / playback.rate());
    EXPECT_EQ(played->underruns, 0U);
    EXPECT_EQ(played->lastError, nullptr);
    EXPECT_EQ(playback.frames(), 3000);
    EXPECT_EQ(playback.frame(), 500);
    EXPECT_FALSE(playback.takePlayed()) << "once";
    EXPECT_FALSE(playback.hasEnded());
}

TEST_F(Tool_Playback, AFileThatBreaksOffTellsWhyAlsoWhenAnotherOneFollows) {
    numbered(40'000);
    const auto broken = std::make_shared<BrokenFile>(folder.path() / "numbered.wav", 16'384);
    const std::string path = folder.path() / "next.wav";
    braq::tests::writeNumberedFile(path, 3000);
    FilePlayback playback(broken, device);
    EXPECT_TRUE(playback.setNext(path, false));
    playback.start();
    std::optional<Played> played;
    ASSERT_TRUE(eventually([&] {
        step(500);
        played = playback.takePlayed();
        return played.has_value();
    }));
    EXPECT_EQ(played->seconds, 16'384 / playback.rate());
    EXPECT_NE(played->lastError, nullptr);
    EXPECT_EQ(playback.lastError(), nullptr) << "the next one is whole";
}

TEST_F(Tool_Playback, WhatCannotBeOpenedDoesNotFollow) {
    FilePlayback playback(numbered(1000), device);
    EXPECT_THROW(playback.setNext("/no/such/file.wav", false), std::runtime_error);
    playback.start();
    expectCycle(0, 1);
    expectCycle(500, 1);
    EXPECT_FALSE(playback.takePlayed());
    EXPECT_TRUE(eventually([&] {
        step(16);
        BRAQMainQueue::mainQueue().drain();
        return playback.hasEnded();
    }));
}

TEST_F(Tool_Playback, TurningRoundIsHeardAtOnce) {
    FilePlayback playback(numbered(20'000), device);
    playback.start();
    expectCycle(0, 1);
    expectCycle(500, 1);
    playback.setSpeed(-1.0);
    expectCycleBehindAFade(999, -1);
    EXPECT_EQ(playback.frame(), 100) << "not counted up";
    playback.setSpeed(1.0);
    expectCycleBehindAFade(100, 1);
    EXPECT_EQ(playback.frame(), 1000);
}

TEST_F(Tool_Playback, APauseLeavesNothingOut) {
    FilePlayback playback(numbered(5000), device);
    playback.start();
    expectCycle(0, 1);
    playback.pause(); // on a device that stands still
    EXPECT_FALSE(playback.isRunning());
    playback.resume();
    expectCycleBehindAFade(500, 1);
    playback.pause();
    playback.goTo(3000);
    playback.resume();
    expectCycleBehindAFade(3000, 1);
}

TEST_F(Tool_Playback, TellsOfTheLevel) {
    FilePlayback playback(numbered(5000), device);
    playback.setVolume(-20.0);
    playback.start();
    step(500);
    EXPECT_FLOAT_EQ(playback.takeLevel(0), 0.1F * sampleOf(499, 0));
    EXPECT_EQ(playback.takeLevel(0), 0.0F);
}

TEST_F(Tool_Playback, ALoopGoesOnWithItsFirstFrame) {
    for (const UInt32 length : {10'000U, 4096U, 500U, 7U}) {
        LoopPlayback playback(numbered(length), device);
        playback.start();
        constexpr UInt32 frames = 12'000;
        const auto& played = step(frames);
        for (UInt32 frame = 0; frame < frames; ++frame) {
            ASSERT_EQ(played[1][frame], sampleOf(frame % length, 1)) << "frame " << frame << " of " << length;
        }
        EXPECT_EQ(playback.underruns(), 0U);
        EXPECT_FALSE(playback.hasEnded());
    }
}

TEST_F(Tool_Playback, ALoopCanBePausedAndMoved) {
    LoopPlayback playback(numbered(10'000), device);
    EXPECT_FALSE(playback.canPlayBackwards());
    playback.goTo(9'000);
    playback.start();
    expectCycleBehindAFade(9'000, 1);
    expectCycle(9'900, 1, 100);
    expectCycle(0, 1);
    playback.pause();
    playback.goTo(4'000);
    playback.resume();
    expectCycleBehindAFade(4'000, 1);
    EXPECT_EQ(playback.frame(), 4'900);
    playback.goTo(0);
    expectCycle(0, 1);
}

TEST_F(Tool_Playback, AnEmptyFileIsNoLoop) { EXPECT_THROW(LoopPlayback(numbered(0), device), std::runtime_error); }

} // namespace
