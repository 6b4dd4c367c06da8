// A range of the file that is played again and again, without a seam.

#include "tests/src/FileHook.h"
#include "tests/src/PlayerFixture.h"
#include "tests/support/RealtimeGuard.h"

#include <limits>

namespace {

using braq::tests::FileHook;
using braq::tests::sampleOf;

constexpr UInt64 forever = BRAQExtendedAudioFilePlayer::loopForever;

class FilePlayerLoop : public player_test::PlayerTest {
  protected:
    /// Plays, and expects these frames, and before each cycle the position of the first one in it.
    void expectHeard(const std::vector<SInt64>& frames, UInt32 cycle = 512) {
        for (std::size_t done = 0; done < frames.size();) {
            const auto part = static_cast<UInt32>(std::min<std::size_t>(cycle, frames.size() - done));
            if (!player->audioFile()->reverse()) {
                ASSERT_EQ(player->currentFrame(), frames[done]) << "after " << done;
            }
            play(part);
            for (UInt32 i = 0; i < part; ++i) {
                ASSERT_EQ(outputs[0][i], sampleOf(static_cast<UInt64>(frames[done + i]), 0)) << "after " << done + i;
                ASSERT_EQ(outputs[1][i], sampleOf(static_cast<UInt64>(frames[done + i]), 1)) << "after " << done + i;
            }
            done += part;
            ASSERT_EQ(player->position(), player->audioFile()->reverse() ? frames[done - 1] : player->currentFrame())
                << "after " << done;
        }
    }

    /// Appends the frames from one on and up to another, or down to it.
    static void append(std::vector<SInt64>& frames, SInt64 first, SInt64 last) {
        const SInt64 step = last < first ? -1 : 1;
        for (SInt64 frame = first; frame != last + step; frame += step) {
            frames.push_back(frame);
        }
    }

    static std::vector<SInt64> rounds(SInt64 first, SInt64 last, UInt64 count) {
        std::vector<SInt64> frames;
        for (UInt64 round = 0; round < count; ++round) {
            append(frames, first, last);
        }
        return frames;
    }

    void playBackwardsFrom(SInt64 frame) {
        player->setCurrentFrame(frame);
        player->setPlaybackSpeedAtOnce(-1.0F);
        player->startFilePlaying();
    }
};

TEST_F(FilePlayerLoop, PlaysItsRangeAsOftenAsItSaysAndThenWhatIsBehind) {
    struct Case {
        SInt64 first;
        SInt64 end;
        UInt64 count;
    };
    for (const auto& [first, end, count] : {Case{0, 60'000, 3}, Case{1000, 5000, 5}, Case{4096, 8192, 4}, //
                                            Case{100, 101, 9000}, Case{7, 10, 5000}, Case{0, 1, 3},
                                            Case{20'000, 20'700, 30}, Case{59'999, 60'000, 2000}, Case{500, 9000, 1}}) {
        SCOPED_TRACE(std::to_string(first) + " to " + std::to_string(end));
        open(60'000);
        player->setLoop(first, end, count);
        EXPECT_EQ(player->loop(), (BRAQFrameRange{static_cast<UInt64>(first), static_cast<UInt64>(end - first)}));
        EXPECT_EQ(player->loopCount(), count);
        player->startFilePlaying();
        std::vector<SInt64> frames;
        append(frames, 0, first - 1 < 0 ? 0 : first - 1);
        if (first == 0) {
            frames.clear();
        }
        const auto repeated = rounds(first, end - 1, count);
        frames.insert(frames.end(), repeated.begin(), repeated.end());
        if (end < 60'000) {
            append(frames, end, 59'999);
        }
        expectHeard(frames);
        EXPECT_EQ(player->currentFrame(), 60'000);
        expectSilent(512);
        EXPECT_EQ(player->errorCount(), 0U);
        player->invalidate();
    }
}

TEST_F(FilePlayerLoop, GoesOnForEverUntilItIsCleared) {
    open(30'000);
    player->setLoop(1000, 8000);
    player->setCurrentFrame(6000);
    player->startFilePlaying();
    std::vector<SInt64> frames;
    append(frames, 6000, 7999);
    const auto repeated = rounds(1000, 7999, 20);
    frames.insert(frames.end(), repeated.begin(), repeated.end());
    append(frames, 1000, 3000);
    expectHeard(frames);
    player->clearLoop();
    EXPECT_EQ(player->loop().length, 0U);
    EXPECT_EQ(player->currentFrame(), 3001);
    expectPlays(3001, 26'999);
    playToTheEnd();
    EXPECT_EQ(delegate.ends, 1);
}

// The seam is among the frames that were read ahead, or behind them, or the end of the file was read.
TEST_F(FilePlayerLoop, SetWhilePlayingItHoldsForFramesThatWereReadAhead) {
    for (const SInt64 end : {600, 5000, 12'000, 12'700, 12'800, 12'801, 13'000, 30'000, 40'000}) {
        SCOPED_TRACE(end);
        open(40'000);
        player->startFilePlaying();
        expectPlays(0, 512);
        player->setLoop(300, end, 2);
        EXPECT_TRUE(player->isPlaying());
        std::vector<SInt64> frames;
        append(frames, 512, end - 1);
        append(frames, 300, end - 1);
        if (end < 40'000) {
            append(frames, end, 39'999);
        }
        expectHeard(frames);
        player->invalidate();
    }
}

TEST_F(FilePlayerLoop, SetWhenTheEndOfTheFileWasReadItGoesOn) {
    open(3000);
    player->startFilePlaying();
    expectPlays(0, 512);
    player->setLoop(2000, 3000, 4);
    std::vector<SInt64> frames;
    append(frames, 512, 2999);
    const auto repeated = rounds(2000, 2999, 3);
    frames.insert(frames.end(), repeated.begin(), repeated.end());
    expectHeard(frames);
    playToTheEnd();
    EXPECT_EQ(delegate.ends, 1);
}

TEST_F(FilePlayerLoop, ClearedOrChangedItHoldsForFramesThatWereReadAhead) {
    open(30'000);
    player->setLoop(100, 130);
    player->startFilePlaying();
    std::vector<SInt64> frames;
    append(frames, 0, 129);
    const auto repeated = rounds(100, 129, 200);
    frames.insert(frames.end(), repeated.begin(), repeated.end());
    append(frames, 100, 110);
    expectHeard(frames);
    player->setLoop(50, 120, 3);
    frames = rounds(50, 119, 2);
    frames.insert(frames.begin(), {111, 112, 113, 114, 115, 116, 117, 118, 119});
    append(frames, 120, 1000);
    expectHeard(frames);
    player->setLoop(900, 1100);
    frames.clear();
    append(frames, 1001, 1099);
    append(frames, 900, 1049);
    expectHeard(frames);
    player->clearLoop();
    expectPlays(1050, 28'950);
}

TEST_F(FilePlayerLoop, ACountThatIsChangedCountsFromTheRoundThatIsHeard) {
    open(30'000);
    player->setLoop(1000, 2000, 2);
    player->setCurrentFrame(1000);
    player->startFilePlaying();
    expectHeard(rounds(1000, 1999, 1));
    player->setLoop(1000, 2000, 3);
    expectHeard(rounds(1000, 1999, 3));
    expectPlays(2000, 1000);
    player->setLoop(1000, 2000, 3); // it is behind the range
    expectPlays(3000, 1000);
}

TEST_F(FilePlayerLoop, ASeekBeginsTheCountAnewAndBehindTheRangeLeadsToTheEnd) {
    open(30'000);
    player->setLoop(1000, 2000, 2);
    player->startFilePlaying();
    expectPlays(0, 2000);
    expectPlays(1000, 500);
    player->setCurrentFrame(1700);
    expectPlays(1700, 300);
    expectHeard(rounds(1000, 1999, 1));
    expectPlays(2000, 100);
    player->setCurrentFrame(500);
    expectPlays(500, 1500);
    expectHeard(rounds(1000, 1999, 1));
    expectPlays(2000, 100);
    for (const SInt64 behind : {2000, 2001, 20'000}) {
        player->setCurrentFrame(behind);
        expectPlays(static_cast<UInt64>(behind), 10'000);
    }
    playToTheEnd();
    EXPECT_EQ(delegate.ends, 1);
}

TEST_F(FilePlayerLoop, BackwardsItsRangeIsPlayedBackwards) {
    struct Case {
        SInt64 first;
        SInt64 end;
        UInt64 count;
    };
    for (const auto& [first, end, count] :
         {Case{1000, 5000, 5}, Case{4096, 8192, 4}, Case{100, 101, 9000}, Case{7, 10, 5000}, Case{10'000, 20'000, 2}}) {
        SCOPED_TRACE(std::to_string(first) + " to " + std::to_string(end));
        open(20'000);
        player->setLoop(first, end, count);
        playBackwardsFrom(20'000);
        std::vector<SInt64> frames;
        if (end < 20'000) {
            append(frames, 19'999, end);
        }
        const auto repeated = rounds(end - 1, first, count);
        frames.insert(frames.end(), repeated.begin(), repeated.end());
        append(frames, first - 1, 0);
        expectHeard(frames);
        expectSilent(512);
        player->invalidate();
    }
}

TEST_F(FilePlayerLoop, SetAndClearedBackwardsItHoldsForFramesThatWereReadAhead) {
    open(50'000);
    playBackwardsFrom(40'000);
    std::vector<SInt64> frames;
    append(frames, 39'999, 39'000);
    expectHeard(frames);
    player->setLoop(38'500, 39'200);
    frames.clear();
    append(frames, 38'999, 38'500);
    const auto repeated = rounds(39'199, 38'500, 40);
    frames.insert(frames.end(), repeated.begin(), repeated.end());
    append(frames, 39'199, 39'000);
    expectHeard(frames);
    player->clearLoop();
    frames.clear();
    append(frames, 38'999, 0);
    expectHeard(frames);
}

TEST_F(FilePlayerLoop, ATurnStaysInTheRoundThatIsHeard) {
    for (const double transition : {0.0, 0.001}) {
        open(50'000);
        player->outputAudioUnit()->setTransitionTime(transition);
        player->setLoop(1000, 2000, 3);
        player->setCurrentFrame(1000);
        player->startFilePlaying();
        play(512);
        play(512 + 476); // up to frame 1,499 in the second round
        EXPECT_EQ(player->position(), 1500);
        player->setPlaybackSpeedAtOnce(-1.0F);
        play(2); // a transition may still be heard
        std::vector<SInt64> frames;
        append(frames, 1497, 1000);
        append(frames, 1999, 1000);
        append(frames, 999, 0);
        expectHeard(frames);
        player->invalidate();
    }
}

TEST_F(FilePlayerLoop, ATurnJustAfterItWasSetStaysInIt) {
    open(50'000);
    player->startFilePlaying();
    expectPlays(0, 1500);
    player->setLoop(1000, 40'000, 2);
    player->setPlaybackSpeedAtOnce(-1.0F);
    std::vector<SInt64> frames;
    append(frames, 1499, 1000);
    append(frames, 39'999, 0);
    expectHeard(frames);
}

TEST_F(FilePlayerLoop, ATransitionTimeIsNotHeardAtTheSeam) {
    open(50'000);
    player->outputAudioUnit()->setTransitionTime(8.0);
    player->startFilePlaying();
    expectPlays(0, 2000);
    player->setLoop(1000, 2100, 3); // the seam is among the frames read ahead, 100 frames from here
    expectPlays(2000, 100);
    expectHeard(rounds(1000, 2099, 2));
    player->clearLoop();
    expectPlays(2100, 20'000);
}

TEST_F(FilePlayerLoop, TheNextFileFollowsAfterTheLastRound) {
    open(10'000);
    braq::tests::writeNumberedFile(path("next.wav"), 9000, 2, fileRate);
    player->setNextAudioFile(BRAQExtendedAudioFile::initForPlaybackWithFilename(path("next.wav")));
    player->startFilePlaying();
    expectPlays(0, 512);
    player->setLoop(3000, 10'000, 2);
    expectPlays(512, 9488);
    expectPlays(3000, 7000);
    expectPlays(0, 9000);
    EXPECT_EQ(player->loop().length, 0U) << "the loop was that of the file before";
    queue.drain();
    EXPECT_EQ(delegate.ends, 0);
}

TEST_F(FilePlayerLoop, IsHeardAtOtherSpeedsToo) {
    open(50'000);
    player->setPlaybackSpeed(2.0F);
    player->setLoop(10'000, 11'000);
    player->setCurrentFrame(10'000);
    player->startFilePlaying();
    for (int cycle = 0; cycle < 200; ++cycle) {
        play(512);
        EXPECT_GE(player->currentFrame(), 10'000);
        EXPECT_LT(player->currentFrame(), 11'000);
    }
    EXPECT_EQ(player->errorCount(), 0U);
}

TEST_F(FilePlayerLoop, HoldsAfterStopsAndPauses) {
    open(50'000);
    player->setLoop(0, 5000);
    player->startFilePlaying();
    expectPlays(0, 1000);
    player->pausePlaying();
    player->setLoop(0, 2000, 2);
    EXPECT_EQ(player->currentFrame(), 1000);
    player->resumePlaying();
    expectPlays(1000, 1000);
    expectPlays(0, 1500);
    player->setLoop(0, 4096);
    player->stopFilePlaying(); // what was read ahead is left out: 12,288 frames are three rounds
    EXPECT_LT(player->currentFrame(), 4096);
    const auto stopped = static_cast<UInt64>(player->currentFrame());
    player->startFilePlaying();
    expectPlays(stopped, 4096 - stopped);
    expectPlays(0, 4096);
}

TEST_F(FilePlayerLoop, ARangeThatIsNotInTheFileIsRefusedAndNothingChanges) {
    open(50'000);
    player->setLoop(100, 200, 7);
    constexpr SInt64 most = std::numeric_limits<SInt64>::max();
    const std::pair<SInt64, SInt64> refused[] = {{-1, 5},
                                                 {5, 5},
                                                 {6, 5},
                                                 {0, 50'001},
                                                 {50'000, 50'001},
                                                 {most, most},
                                                 {std::numeric_limits<SInt64>::min(), most}};
    for (const auto& [first, end] : refused) {
        EXPECT_THROW(player->setLoop(first, end), NSException) << first << " " << end;
    }
    EXPECT_EQ(player->loop(), (BRAQFrameRange{100, 100}));
    EXPECT_EQ(player->loopCount(), 7U);
    player->startFilePlaying();
    expectPlays(0, 200);
    expectPlays(100, 100);
}

TEST_F(FilePlayerLoop, LeavesLoopingAsItIs) {
    open(5000);
    player->setLoop(100, 200, 2);
    EXPECT_FALSE(player->looping());
    player->setLooping(true);
    player->startFilePlaying();
    expectPlays(0, 200);
    expectPlays(100, 4900);
    expectSilent(512);
}

TEST_F(FilePlayerLoop, IsSetAndClearedWithoutASeekIfWhatWasReadAheadIsPlayedAllTheSame) {
    open(50'000);
    player->startFilePlaying();
    expectPlays(0, 512);
    braq::tests::FileCalls calls;
    player->setLoop(100, 40'000);
    player->setLoop(200, 30'000, 2);
    player->clearLoop();
    for (const auto& call : calls.take()) {
        EXPECT_NE(call.function, "ExtAudioFileSeek");
    }
    expectPlays(512, 40'000);
}

TEST_F(FilePlayerLoop, ThatCannotBeReadIsRaisedAndStops) {
    open(50'000);
    player->startFilePlaying();
    expectPlays(0, 512);
    {
        const FileHook hook("ExtAudioFileSeek", 512, kAudioFileUnspecifiedError);
        EXPECT_THROW(player->setLoop(100, 1000), NSException);
    }
    EXPECT_FALSE(player->isPlaying());
    player->setCurrentFrame(20'000);
    player->startFilePlaying();
    expectPlays(20'000, 9000);
}

TEST_F(FilePlayerLoop, KeepsTheRealtimeRules) {
    open(60'000);
    std::vector<Float32> left(512);
    std::vector<Float32> right(512);
    Float32* const to[2]{left.data(), right.data()};
    player->startFilePlaying();
    SInt64 highest = 0;
    for (int change = 0; change < 6; ++change) {
        change % 2 == 0 ? player->setLoop(2000, 6000) : player->setLoop(100, 101);
        player->setCurrentFrame(50);
        braq::tests::runRealtime([&] {
            for (int cycle = 0; cycle < 20; ++cycle) {
                software->step(512, nullptr, to);
                const braq::tests::RealtimePause pause;
                highest = std::max(highest, player->currentFrame());
            }
        });
        player->clearLoop(); // the seams of the loop were read ahead, so another ring goes on where this one is
        braq::tests::runRealtime([&] { software->step(512, nullptr, to); });
    }
    EXPECT_GT(highest, 2000);
    EXPECT_LT(highest, 6000);
}

} // namespace
