#include "BRAQAudio/BRAQOutputAudioUnit.h"

#include "tests/src/NumberedQueues.h"
#include "tests/src/Resources.h"
#include "tests/src/UnitFixture.h"
#include "tests/support/LargestStep.h"
#include "tests/support/RealtimeGuard.h"

#include <gmock/gmock.h>

#include <cmath>
#include <future>
#include <limits>
#include <numbers>
#include <thread>

// From one ring to the next, and between sound and silence.

namespace {

using braq::tests::sampleOf;

constexpr double frequency = 997.0;
constexpr double sampleRate = 44100.0;

float sineAt(UInt64 frame) {
    return static_cast<float>(std::sin(2.0 * std::numbers::pi * frequency * static_cast<double>(frame) / sampleRate));
}

double largestStep(const std::vector<Float32>& samples) {
    return braq::tests::largestStep(samples, frequency, sampleRate);
}

/// A sine at full level, without an end.
class Sine : public queue_test::OpenQueue {
  public:
    explicit Sine(UInt64 first = 0) : OpenQueue(3, 1024, queue_test::planarStereo()), mPosition(first) { prime(); }
    ~Sine() override { teardownWorkerThread(); }
    void processBuffer(BQueueableAudioBuffer* queued) override {
        BAudioBuffer* const buffer = &queued->mAudioBuffer;
        BAudioBufferSetEmpty(buffer);
        const AudioBufferList* const list = BAudioBufferAudioBufferList(buffer);
        for (UInt32 frame = 0; frame < mBufferSizeFrames; ++frame) {
            for (UInt32 channel = 0; channel < list->mNumberBuffers; ++channel) {
                static_cast<Float32*>(list->mBuffers[channel].mData)[frame] = sineAt(mPosition);
            }
            ++mPosition;
        }
        BAudioBufferSetEndFrame(buffer, static_cast<UInt32>(mBufferSizeFrames));
    }

  private:
    UInt64 mPosition;
};

class OutputUnitTransitions : public unit_test::UnitTest {
  protected:
    OutputUnitTransitions()
        : UnitTest({.sampleRate = sampleRate}),
          unit(
              BRAQOutputAudioUnit::initWithStreamDescription(device->deviceNativePlaybackStreamDescription(), device)) {
        unit->setEndOfStreamNotificationBlock([this](BQueueableAudioNotification*) { ++ends; });
        unit->setQueueChangeNotificationBlock([this](BQueueableAudioNotification*) { ++changes; });
    }
    ~OutputUnitTransitions() override { unit.reset(); }

    static std::shared_ptr<queue_test::Reader> numbered(UInt64 frames = queue_test::Reader::noEnd) {
        auto ring = std::make_shared<queue_test::Reader>(3, 512, frames);
        ring->prime();
        return ring;
    }

    /// A cycle, after which the rings are full again.
    void play(UInt32 frames, const std::vector<std::shared_ptr<queue_test::OpenQueue>>& rings) {
        const auto& played = step(frames);
        heard.insert(heard.end(), played[0].begin(), played[0].end());
        for (const auto& ring : rings) {
            const BRAQAudioBufferQueueGate::ClosedStretch closed(ring->gate());
            ring->waitUntilWorkerIsIdle();
        }
    }

    /// Stops the unit while the device makes cycles.
    void stopWhilePlaying(const std::vector<std::shared_ptr<queue_test::OpenQueue>>& rings) {
        auto stopped = std::async(std::launch::async, [this] { unit->stop(); });
        while (unit->isRunning() && heard.size() < 1'000'000) {
            inputs[0].resize(128);
            std::vector<Float32> left(128, 0.0F);
            std::vector<Float32> right(128, 0.0F);
            Float32* const to[2]{left.data(), right.data()};
            if (software->step(128, nullptr, to)) {
                heard.insert(heard.end(), left.begin(), left.end());
            }
            for (const auto& ring : rings) {
                const BRAQAudioBufferQueueGate::ClosedStretch closed(ring->gate());
                ring->waitUntilWorkerIsIdle();
            }
        }
        stopped.get();
    }

    std::atomic<int> ends{0};
    std::atomic<int> changes{0};
    std::vector<Float32> heard; ///< of the first channel
    std::shared_ptr<BRAQOutputAudioUnit> unit;
};

TEST_F(OutputUnitTransitions, TheNextRingFollowsInTheSameCycle) {
    for (const UInt64 length : {712U, 1024U, 1U, 511U}) {
        heard.clear();
        ends = changes = 0;
        const auto first = numbered(length);
        const auto second = numbered();
        unit->setAudioBufferQueue(first);
        unit->setNextAudioBufferQueue(second);
        unit->start();
        for (int cycle = 0; cycle < 5; ++cycle) {
            play(512, {first, second});
        }
        for (UInt64 frame = 0; frame < length; ++frame) {
            ASSERT_EQ(heard[frame], sampleOf(frame, 0)) << frame << " of " << length;
        }
        for (UInt64 frame = 0; frame < 900; ++frame) {
            ASSERT_EQ(heard[length + frame], sampleOf(frame, 0)) << frame << " behind " << length;
        }
        EXPECT_EQ(unit->audioBufferQueue(), second);
        EXPECT_FALSE(unit->isUsing(first));
        stepUntil([&] { return changes > 0; });
        unit->stop();
        EXPECT_EQ(changes, 1);
        EXPECT_EQ(ends, 0) << "where another one follows is no end";
    }
}

TEST_F(OutputUnitTransitions, AShortRingBehindAShortOneIsHeardInTheSameCycle) {
    const auto first = numbered(100);
    const auto second = numbered(50);
    unit->setAudioBufferQueue(first);
    unit->setNextAudioBufferQueue(second);
    unit->start();
    play(512, {first, second});
    EXPECT_EQ(heard[149], sampleOf(49, 0));
    EXPECT_EQ(heard[150], 0.0F);
    stepUntil([&] { return ends == 1; });
}

TEST_F(OutputUnitTransitions, ANextRingThatIsTakenBackDoesNotFollow) {
    const auto first = numbered(100);
    const auto second = numbered();
    unit->setAudioBufferQueue(first);
    unit->setNextAudioBufferQueue(second);
    unit->setNextAudioBufferQueue(nullptr);
    EXPECT_FALSE(unit->isUsing(second));
    unit->start();
    play(512, {first});
    EXPECT_EQ(heard[100], 0.0F);
    stepUntil([&] { return ends == 1; });
    EXPECT_EQ(changes, 0);
}

TEST_F(OutputUnitTransitions, ARingThatIsChangedToBeginsWithTheNextCycle) {
    const auto first = numbered();
    const auto second = numbered();
    unit->setAudioBufferQueue(first);
    unit->start();
    play(300, {first});
    unit->changeAudioBufferQueue(second);
    EXPECT_EQ(unit->audioBufferQueue(), second);
    EXPECT_TRUE(unit->isUsing(first));
    play(300, {first, second});
    EXPECT_EQ(heard[299], sampleOf(299, 0));
    EXPECT_EQ(heard[300], sampleOf(0, 0));
    EXPECT_FALSE(unit->isUsing(first)) << "nothing of it is heard any more";
    EXPECT_EQ(changes, 0) << "whoever asks for it knows";
}

TEST_F(OutputUnitTransitions, ALaterChangeReplacesOneThatHasNotBegun) {
    const auto first = numbered();
    const auto second = numbered();
    const auto third = numbered(77);
    unit->setAudioBufferQueue(first);
    unit->start();
    unit->changeAudioBufferQueue(second);
    unit->changeAudioBufferQueue(third);
    EXPECT_FALSE(unit->isUsing(second));
    play(512, {first, second, third});
    EXPECT_EQ(heard[77], 0.0F);
}

TEST_F(OutputUnitTransitions, LetsGoOfARingThatIsNoLongerHeard) {
    auto first = std::make_shared<Sine>();
    const std::weak_ptr<Sine> weak = first;
    const auto second = numbered();
    unit->setAudioBufferQueue(std::exchange(first, nullptr));
    unit->start();
    play(64, {});
    unit->changeAudioBufferQueue(second);
    play(64, {second});
    EXPECT_FALSE(weak.expired()) << "the I/O thread releases nothing";
    unit->setNextAudioBufferQueue(nullptr);
    EXPECT_TRUE(weak.expired());
}

TEST_F(OutputUnitTransitions, RefusesRingsOfAnotherFormat) {
    const auto other = queue_test::planarStereo();
    other->setSampleRate(22050.0);
    const auto slow = BRAQAudioBufferQueue::initWithBufferCount(3, 512, other);
    const auto mono = queue_test::planarStereo();
    mono->setChannelsPerFrame(1);
    const auto narrow = BRAQAudioBufferQueue::initWithBufferCount(3, 512, mono);
    for (const auto& ring : {slow, narrow}) {
        ASSERT_NE(ring, nullptr);
        EXPECT_THROW(unit->changeAudioBufferQueue(ring), NSException);
        EXPECT_THROW(unit->setNextAudioBufferQueue(ring), NSException);
        EXPECT_FALSE(unit->isUsing(ring));
    }
    EXPECT_THROW(unit->changeAudioBufferQueue(nullptr), NSException);
}

TEST_F(OutputUnitTransitions, RefusesTimesThatAreNone) {
    EXPECT_EQ(unit->transitionTime(), 0.0);
    for (const double time : {-1.0, 1000.1, std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_THROW(unit->setTransitionTime(time), NSException);
    }
    EXPECT_EQ(unit->transitionTime(), 0.0);
    unit->setTransitionTime(8.0);
    EXPECT_EQ(unit->transitionTime(), 8.0);
}

TEST_F(OutputUnitTransitions, WithoutOneAStartAndAStopAreAsLoudAsWhatIsPlayed) {
    const auto ring = std::make_shared<Sine>(11);
    unit->setAudioBufferQueue(ring);
    unit->start();
    play(512, {ring});
    EXPECT_EQ(heard[0], sineAt(11));
}

TEST_F(OutputUnitTransitions, AStartAndAStopMakeNoStepInASine) {
    unit->setTransitionTime(8.0);
    const auto ring = std::make_shared<Sine>(11); // at its maximum
    unit->setAudioBufferQueue(ring);
    for (int round = 0; round < 3; ++round) {
        heard.assign(1, 0.0F);
        unit->start();
        for (int cycle = 0; cycle < 4 + round; ++cycle) {
            play(300, {ring});
        }
        stopWhilePlaying({ring});
        heard.push_back(0.0F);
        EXPECT_LE(largestStep(heard), 1.1) << "round " << round;
        EXPECT_GT(*std::max_element(heard.begin(), heard.end()), 0.99F);
    }
}

TEST_F(OutputUnitTransitions, AStartWithoutOneIsAsLoudAsWhatIsPlayed) {
    unit->setTransitionTime(8.0);
    const auto ring = numbered();
    unit->setAudioBufferQueue(ring);
    unit->startWithoutTransition();
    play(300, {ring});
    for (std::size_t frame = 0; frame < heard.size(); ++frame) {
        ASSERT_EQ(heard[frame], sampleOf(frame, 0)) << frame;
    }
    stopWhilePlaying({ring});
    EXPECT_LT(heard.back(), 1.0F) << "a stop falls to silence all the same";
    const auto another = numbered();
    unit->setAudioBufferQueue(another);
    heard.clear();
    unit->startWithoutTransition();
    play(300, {another});
    EXPECT_EQ(heard[1], sampleOf(1, 0)) << "also after a stop";
}

TEST_F(OutputUnitTransitions, AStopAtAnySpeedMakesNoStep) {
    unit->setTransitionTime(8.0);
    for (const double speed : {0.5, 2.0}) {
        const auto ring = std::make_shared<Sine>(11);
        unit->setAudioBufferQueue(ring);
        unit->setPlaybackRate(speed);
        heard.assign(1, 0.0F);
        unit->start();
        for (int cycle = 0; cycle < 6; ++cycle) {
            play(300, {ring});
        }
        stopWhilePlaying({ring});
        heard.push_back(0.0F);
        EXPECT_LE(largestStep(heard), 1.1 * speed) << "at " << speed;
    }
}

TEST_F(OutputUnitTransitions, AChangeMakesNoStepWhateverThePhases) {
    unit->setTransitionTime(8.0);
    for (const UInt64 offset : {0U, 7U, 11U, 22U, 30U}) {
        const auto first = std::make_shared<Sine>();
        const auto second = std::make_shared<Sine>(offset);
        unit->setAudioBufferQueue(first);
        heard.clear();
        unit->start();
        for (int cycle = 0; cycle < 4; ++cycle) {
            play(257, {first});
        }
        heard.erase(heard.begin(), heard.begin() + 512); // the rise
        unit->changeAudioBufferQueue(second);
        play(100, {first, second});
        EXPECT_TRUE(unit->isUsing(first));
        for (int cycle = 0; cycle < 4; ++cycle) {
            play(100, {first, second});
        }
        EXPECT_FALSE(unit->isUsing(first));
        EXPECT_EQ(heard.back(), sineAt(offset + 499)) << "and nothing is left of it";
        EXPECT_LE(largestStep(heard), 1.1) << "offset " << offset;
        unit->stop();
    }
}

TEST_F(OutputUnitTransitions, AChangeDuringAnotherBeginsWhenThatIsOver) {
    constexpr auto fade = static_cast<std::size_t>(0.008 * sampleRate) + 1;
    unit->setTransitionTime(8.0);
    const auto first = std::make_shared<Sine>();
    const auto second = std::make_shared<Sine>(22);
    const auto third = std::make_shared<Sine>(11);
    unit->setAudioBufferQueue(first);
    unit->startWithoutTransition();
    play(512, {first});
    unit->changeAudioBufferQueue(second);
    play(64, {first, second});
    unit->changeAudioBufferQueue(third);
    for (std::size_t frames = 64; frames < fade; frames += 64) {
        EXPECT_TRUE(unit->willChange());
        EXPECT_TRUE(unit->isUsing(first));
        play(64, {first, second, third});
    }
    for (int cycle = 0; cycle < 7; ++cycle) {
        play(64, {first, second, third});
        EXPECT_FALSE(unit->willChange());
        EXPECT_FALSE(unit->isUsing(first));
    }
    EXPECT_FALSE(unit->isUsing(second));
    EXPECT_EQ(heard.back(), sineAt(11 + 7 * 64 - 1)) << "it begins at its beginning";
    EXPECT_LE(largestStep(heard), 1.1);
}

TEST_F(OutputUnitTransitions, AChangeDoesNotWaitForARingThatHasEnded) {
    unit->setTransitionTime(1000.0);
    const auto first = std::make_shared<Sine>();
    const auto second = numbered(700);
    const auto third = std::make_shared<Sine>();
    unit->setAudioBufferQueue(first);
    unit->start();
    play(512, {first});
    unit->changeAudioBufferQueue(second);
    play(512, {first, second});
    unit->changeAudioBufferQueue(third);
    play(512, {first, second, third});
    EXPECT_TRUE(unit->willChange());
    play(512, {first, second, third});
    EXPECT_FALSE(unit->willChange());
    EXPECT_EQ(ends, 0) << "a change that waits follows the end";
}

TEST_F(OutputUnitTransitions, WhatIsHeardBetweenIsNotTouchedAndNoFrameIsLost) {
    unit->setTransitionTime(8.0);
    constexpr auto fade = static_cast<std::size_t>(0.008 * sampleRate) + 1;
    const auto ring = numbered();
    unit->setAudioBufferQueue(ring);
    unit->start();
    for (int cycle = 0; cycle < 4; ++cycle) {
        play(512, {ring});
    }
    for (std::size_t frame = fade; frame < heard.size(); ++frame) {
        ASSERT_EQ(heard[frame], sampleOf(frame, 0));
    }
    stopWhilePlaying({ring});
    while (heard.back() == 0.0F) {
        heard.pop_back();
    }
    const std::size_t before = heard.size();
    heard.clear();
    unit->start();
    play(512, {ring});
    EXPECT_EQ(heard[511], sampleOf(before + 511, 0)) << "it goes on behind what has faded out";
}

TEST_F(OutputUnitTransitions, AStopOfADeviceThatStandsStillReturns) {
    unit->setTransitionTime(8.0);
    const auto ring = numbered();
    unit->setAudioBufferQueue(ring);
    unit->start();
    play(512, {ring});
    unit->stop(); // nobody steps
    EXPECT_FALSE(unit->isRunning());
    unit->start();
    play(1024, {ring});
    EXPECT_NE(heard.back(), 0.0F);
}

TEST_F(OutputUnitTransitions, AStopAtTheEndOfTheStreamDoesNotWait) {
    unit->setTransitionTime(1000.0);
    const auto ring = numbered(100);
    unit->setAudioBufferQueue(ring);
    unit->start();
    stepUntil([&] { return ends == 1; });
    const auto begin = std::chrono::steady_clock::now();
    unit->stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(200));
}

TEST_F(OutputUnitTransitions, KeepTheRealtimeRules) {
    unit->setTransitionTime(8.0);
    const auto first = numbered(700);
    const auto second = numbered();
    const auto third = numbered();
    unit->setAudioBufferQueue(first);
    unit->setNextAudioBufferQueue(second);
    unit->start();
    braq::tests::runRealtime([&] {
        for (int cycle = 0; cycle < 4; ++cycle) {
            software->step(256);
        }
    });
    unit->changeAudioBufferQueue(third);
    braq::tests::runRealtime([&] {
        for (int cycle = 0; cycle < 4; ++cycle) {
            software->step(256);
        }
    });
    EXPECT_EQ(unit->audioBufferQueue(), third);
}

TEST_F(OutputUnitTransitions, ChangesAreSafeWhileTheDeviceRuns) {
    unit->setTransitionTime(1.0);
    const std::vector<std::shared_ptr<Sine>> rings{std::make_shared<Sine>(), std::make_shared<Sine>(7),
                                                   std::make_shared<Sine>(19)};
    unit->setAudioBufferQueue(rings[0]);
    unit->start();
    std::atomic<bool> isDone{false};
    std::thread io([&] {
        while (!isDone) {
            software->step(64);
        }
    });
    for (std::size_t round = 0; round < 3000; ++round) {
        unit->changeAudioBufferQueue(rings[round % 3]);
        unit->setNextAudioBufferQueue(round % 2 == 0 ? rings[(round + 1) % 3] : nullptr);
        if (round % 16 == 0) {
            std::this_thread::yield();
        }
    }
    EXPECT_EQ(unit->audioBufferQueue(), rings[2999 % 3]);
    isDone = true;
    io.join();
}

} // namespace
