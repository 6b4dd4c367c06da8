// Seeks, turns and loops in quick succession: each fades or cross-fades, and nothing is left out.

#include "tests/src/FileHook.h"
#include "tests/src/PlayerFixture.h"
#include "tests/support/LargestStep.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <mutex>
#include <numbers>
#include <thread>

namespace {

using braq::tests::FileHook;
using braq::tests::sampleOf;

class FilePlayerTransitions : public player_test::PlayerTest {
  protected:
    static constexpr double frequency = 997.13;
    static constexpr UInt32 cycle = 64;

    static Float32 sineAt(SInt64 frame) {
        const double waves = frequency * static_cast<double>(frame) / fileRate;
        return static_cast<Float32>(std::sin(2.0 * std::numbers::pi * waves));
    }

    struct Action {
        const char* name;
        std::function<void(BRAQExtendedAudioFilePlayer& player)> act;
    };
    static const std::vector<Action> actions;

    void SetUp() override {
        player_test::PlayerTest::SetUp();
        braq::tests::writeFile(path("sine.wav"), 250'000, 2, fileRate,
                               [](UInt64 frame, UInt32) { return sineAt(static_cast<SInt64>(frame)); });
    }
    /// A player whose device stands still is not waited for.
    void TearDown() override {
        player->outputAudioUnit()->setTransitionTime(0.0);
        player_test::PlayerTest::TearDown();
    }

    /// Plays a sine at full level for a while.
    void playSine(double transition, SInt64 first = 0) {
        player = BRAQExtendedAudioFilePlayer::initWithFilename(path("sine.wav"), device);
        player->outputAudioUnit()->setTransitionTime(transition);
        player->setCurrentFrame(first);
        player->startFilePlaying();
        listen(2048);
    }

    /// A cycle, while the player is at work.
    void stepOnly() {
        const std::lock_guard lock(heardMutex);
        std::vector<Float32> left(cycle, 99.0F);
        std::vector<Float32> right(cycle, 99.0F);
        Float32* const to[2]{left.data(), right.data()};
        EXPECT_TRUE(software->step(cycle, nullptr, to));
        heard.insert(heard.end(), left.begin(), left.end());
    }
    /// Plays that many frames, with full rings.
    void listen(UInt64 frames) {
        for (UInt64 done = 0; done < frames; done += cycle) {
            stepOnly();
            player_test::Insides::settle(ring());
        }
    }
    /// Has that many cycles pass while a reader is moved to that frame.
    FileHook cyclesWhileSeeking(SInt64 frame, int cycles) {
        return FileHook("ExtAudioFileSeek", frame, [this, cycles](void*) {
            for (int made = 0; made < cycles; ++made) {
                stepOnly();
            }
            return FileHook::passOn;
        });
    }

    void expectNeitherClickNorGap() const {
        EXPECT_LE(braq::tests::largestStep(heard, frequency, fileRate), 1.1);
        EXPECT_EQ(std::search_n(heard.begin(), heard.end(), 4, 0.0F), heard.end()) << "silence";
        EXPECT_EQ(player->errorCount(), 0U);
    }
    /// Forwards.
    void expectWholeAtTheEnd() const { EXPECT_EQ(heard.back(), sineAt(player->position() - 1)); }

    std::mutex heardMutex;
    std::vector<Float32> heard;
};

// The seam is among the frames that are read ahead, so that another reader is needed; 973 frames are 22 waves.
const std::vector<FilePlayerTransitions::Action> FilePlayerTransitions::actions{
    {"seek ahead", [](auto& player) { player.setCurrentFrame(200'011); }},
    {"seek back", [](auto& player) { player.setCurrentFrame(30'022); }},
    {"loop", [](auto& player) { player.setLoop(player.position() - 373, player.position() + 600); }},
    {"no loop", [](auto& player) { player.clearLoop(); }},
    {"backwards", [](auto& player) { player.setPlaybackSpeedAtOnce(-1.0F); }},
    {"forwards", [](auto& player) { player.setPlaybackSpeedAtOnce(1.0F); }},
};

// 353 frames are a transition.
TEST_F(FilePlayerTransitions, TwoInQuickSuccessionDoNotClick) {
    for (const auto& first : actions) {
        for (const auto& second : actions) {
            for (const UInt64 between : {0U, 64U, 192U, 320U}) {
                SCOPED_TRACE(std::string(first.name) + ", " + second.name + " after " + std::to_string(between));
                heard.clear();
                playSine(8.0, 50'000);
                first.act(*player);
                listen(between);
                second.act(*player);
                listen(1536); // over the seam of the loop
                expectNeitherClickNorGap();
                player->outputAudioUnit()->setTransitionTime(0.0);
                player->invalidate();
            }
        }
    }
}

TEST_F(FilePlayerTransitions, ManyInQuickSuccessionDoNotClick) {
    playSine(8.0);
    for (int round = 0; round < 40; ++round) {
        player->setCurrentFrame(10'000 + 1717 * round);
        listen(static_cast<UInt64>(round % 4) * cycle);
    }
    listen(1024);
    expectNeitherClickNorGap();
    expectWholeAtTheEnd();
    const SInt64 latest = 10'000 + 1717 * 39 + 3 * SInt64{cycle} + 1024; // it may have waited for the one before
    EXPECT_THAT(player->position(), testing::AllOf(testing::Gt(latest - 400), testing::Le(latest)));
}

TEST_F(FilePlayerTransitions, CyclesThatPassMeanwhileDoNotClick) {
    playSine(8.0);
    const auto loop = cyclesWhileSeeking(2048, 3);
    const auto seek = cyclesWhileSeeking(30'022, 3);
    player->setLoop(1000, 6000);
    player->setCurrentFrame(30'022);
    listen(1024);
    expectNeitherClickNorGap();
    expectWholeAtTheEnd();
}

// What the old place still has is not enough for a transition as long.
TEST_F(FilePlayerTransitions, LongOnesDoNotClick) {
    playSine(400.0);
    player->setCurrentFrame(100'011);
    listen(1024);
    player->setCurrentFrame(200'022);
    listen(30'000);
    expectNeitherClickNorGap();
    expectWholeAtTheEnd();
}

// Cycles pass while each place is read, and none in between unless the player waits.
TEST_F(FilePlayerTransitions, SeeksWithoutAPauseAreHeardNowAndThen) {
    playSine(8.0);
    std::atomic<bool> isDone{false};
    std::thread waiting([&] {
        while (!isDone) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            if (player->outputAudioUnit()->willChange()) {
                stepOnly();
            }
        }
    });
    for (SInt64 round = 0; round < 120; ++round) {
        const SInt64 frame = 20'000 + 1717 * round;
        const auto hook = cyclesWhileSeeking(frame, 4);
        player->setCurrentFrame(frame);
    }
    isDone = true;
    waiting.join();
    listen(1024);
    expectNeitherClickNorGap();
    expectWholeAtTheEnd();
}

class FilePlayerSuccession : public FilePlayerTransitions {
  protected:
    /// Plays 2,048 numbered frames without a transition.
    void playNumbered() {
        open(50'000);
        player->startFilePlaying();
        listen(2048);
    }
    void expectHeard(const std::vector<SInt64>& frames) const {
        ASSERT_LE(frames.size(), heard.size());
        for (std::size_t i = 0; i < frames.size(); ++i) {
            ASSERT_EQ(heard[i], sampleOf(static_cast<UInt64>(frames[i]), 0)) << i;
        }
    }
    static void append(std::vector<SInt64>& frames, SInt64 first, SInt64 last) {
        const SInt64 step = last < first ? -1 : 1;
        for (SInt64 frame = first; frame != last + step; frame += step) {
            frames.push_back(frame);
        }
    }

    std::vector<SInt64> expected;
};

TEST_F(FilePlayerSuccession, ASeekAfterALoopBeginsAtItsFrame) {
    for (const bool isPaused : {false, true}) {
        heard.clear();
        expected.clear();
        playNumbered();
        {
            const auto cycles = cyclesWhileSeeking(2048, 2);
            player->setLoop(1000, 6000);
        }
        if (isPaused) {
            player->pausePlaying();
        }
        player->setCurrentFrame(30'000);
        if (isPaused) {
            player->resumePlaying();
        }
        listen(4096);
        append(expected, 0, 2175);
        append(expected, 30'000, 34'095);
        expectHeard(expected);
        player->invalidate();
    }
}

TEST_F(FilePlayerSuccession, LoopsThatReplaceEachOtherAreInTime) {
    playNumbered();
    {
        const auto cycles = cyclesWhileSeeking(2048, 2);
        player->setLoop(1000, 6000);
        player->clearLoop();
        player->setLoop(1000, 2500);
    }
    listen(4096);
    append(expected, 0, 2499);
    append(expected, 1000, 2499);
    append(expected, 1000, 2000);
    expectHeard(expected);
}

TEST_F(FilePlayerSuccession, ATurnAfterALoopBeginsAtTheFrameThatWasHeardLast) {
    playNumbered();
    {
        const auto cycles = cyclesWhileSeeking(2048, 2);
        player->setLoop(1000, 6000);
    }
    player->setPlaybackSpeedAtOnce(-1.0F);
    listen(2048);
    append(expected, 0, 2175);
    append(expected, 2175, 1000);
    append(expected, 5999, 5500);
    expectHeard(expected);
}

TEST_F(FilePlayerSuccession, ATurnAfterASeekBeginsThere) {
    playNumbered();
    player->setCurrentFrame(30'000);
    player->setPlaybackSpeedAtOnce(-1.0F);
    listen(2048);
    append(expected, 0, 2047);
    append(expected, 29'999, 28'000);
    expectHeard(expected);
}

TEST_F(FilePlayerSuccession, ALoopAfterASeekIsThatOfItsPlace) {
    playNumbered();
    player->setCurrentFrame(30'000);
    player->setLoop(29'000, 30'500);
    listen(4096);
    append(expected, 0, 2047);
    append(expected, 30'000, 30'499);
    append(expected, 29'000, 30'499);
    append(expected, 29'000, 30'499);
    expectHeard(expected);
}

TEST_F(FilePlayerSuccession, ANextFileAfterASeekFollowsTheEnd) {
    playNumbered();
    player->setCurrentFrame(49'000);
    braq::tests::writeNumberedFile(path("next.wav"), 9000, 2, fileRate);
    player->setNextAudioFile(BRAQExtendedAudioFile::initForPlaybackWithFilename(path("next.wav")));
    player->setCurrentFrame(49'500);
    listen(2048);
    append(expected, 0, 2047);
    append(expected, 49'500, 49'999);
    append(expected, 0, 1000);
    expectHeard(expected);
}

TEST_F(FilePlayerSuccession, ASeekThatFailsAfterAnotherStopsThePlayerAndALaterOneWorks) {
    playNumbered();
    player->setCurrentFrame(10'000);
    {
        const FileHook failing("ExtAudioFileSeek", 30'000, kAudioFileUnspecifiedError);
        EXPECT_THROW(player->setCurrentFrame(30'000), NSException);
    }
    EXPECT_FALSE(player->isPlaying());
    player->setCurrentFrame(20'000);
    player->startFilePlaying();
    expectPlays(20'000, 9000);
}

} // namespace
