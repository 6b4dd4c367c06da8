#pragma once

#include "tests/platform/foundation/AllocatedBytes.h"
#include "tests/src/PlayerFixture.h"
#include "tests/src/Resources.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <limits>
#include <mutex>
#include <random>
#include <set>
#include <thread>

// A player that is told to do this and that at random while another thread steps its device.
namespace player_test {

class PlayerHammerTest : public PlayerTest {
  protected:
    static constexpr UInt32 cycleFrames = 512;

    /// Steps the device, about twenty times as fast as it would be heard, for as long as `control` takes.
    template <class Control>
    void hammer(Control control) {
        std::atomic<bool> isDone = false;
        std::thread stepping([&] {
            std::vector<Float32> left(cycleFrames);
            std::vector<Float32> right(cycleFrames);
            Float32* const to[2]{left.data(), right.data()};
            auto next = std::chrono::steady_clock::now();
            while (!isDone) {
                if (software->step(cycleFrames, nullptr, to)) {
                    look(left, right);
                }
                ++mCycles;
                next += std::chrono::microseconds(500);
                std::this_thread::sleep_until(next);
            }
        });
        control();
        isDone = true;
        stepping.join();
        EXPECT_EQ(mFaults, 0U) << "the first: frame " << mFaultyFrame << " after " << mFrameBefore;
    }

    /// From now on playback may go on at that frame.
    void mayJumpTo(SInt64 frame) {
        const std::lock_guard lock(mMutex);
        mTargets.insert(frame);
    }

    /// From now on playback may go on behind that frame, too, by as many frames as were heard while a change took place:
    /// at most while the longest one of `change` did.
    void mayJumpBehind(SInt64 frame) {
        const std::lock_guard lock(mMutex);
        mTargetsOfChanges.insert(frame);
    }
    template <class Control>
    void change(Control control) {
        mChangeBegan = mCycles.load();
        control();
        mLongestChange = longestChange();
        mChangeBegan = noChange;
    }

    /// What is told to the player at random. Speeds stay 1 and -1 unless `isAtAnySpeed`; then what is heard is no frame of the
    /// file any more, but its channels still belong together.
    void doAnything(std::mt19937& random, int rounds, UInt64 fileFrames, bool isAtAnySpeed) {
        mIsAtAnySpeed = isAtAnySpeed;
        const auto upTo = [&](UInt64 most) { return std::uniform_int_distribution<UInt64>(0, most)(random); };
        for (int round = 0; round < rounds; ++round) {
            switch (upTo(7)) {
            case 0:
            case 1:
            case 2: seek(static_cast<SInt64>(upTo(fileFrames))); break;
            case 3: player->setPlaybackSpeed(speed(random, isAtAnySpeed)); break;
            case 4: player->pausePlaying(); break;
            case 5: player->resumePlaying(); break;
            case 6:
                player->stopFilePlaying();
                mayJumpTo(player->currentFrame());
                mayJumpTo(player->currentFrame() - 1); // backwards
                [[fallthrough]];
            default: player->startFilePlaying(); break;
            }
            queue.drain();
            std::this_thread::sleep_for(std::chrono::microseconds(upTo(4000))); // let it play
        }
        player->setPlaybackSpeed(1.0F);
        player->startFilePlaying();
        seek(5);
        EXPECT_TRUE(resource_test::comesTrue([&] { return player->currentFrame() > 5000; }));
        player->stopFilePlaying();
    }

    void seek(SInt64 frame) {
        mayJumpTo(frame);
        mayJumpTo(frame - 1); // backwards
        const UInt64 cycles = mCycles;
        player->setCurrentFrame(frame);
        const SInt64 position = player->currentFrame();
        // In either direction it counts up within a buffer; backwards the next buffer is farther down.
        const auto farthest = static_cast<SInt64>((mCycles - cycles + 1) * cycleFrames * framesOfFile());
        EXPECT_LE(std::abs(position - frame), farthest) << "after a seek to " << frame;
    }

    /// Makes players one after the other and expects nothing to be left of them.
    void comeAndGo(int players) {
        constexpr int asUsual = 20; // until the library has what it keeps
        playMoments(asUsual);
        const resource_test::NothingLeft nothing;
        const std::size_t before = allocatedBytes();
        playMoments(players);
        EXPECT_LT(allocatedBytes(), before + static_cast<std::size_t>(players) * slackBytes);
    }

    std::atomic<UInt64> framesHeard{0};
    std::atomic<SInt64> lastFrame{-1}; ///< that was heard
    std::atomic<UInt64> beginnings{0}; ///< how often the first frame of the file was heard

  private:
    // A player; what it reads ahead alone takes 100 times as much as the allocator's own caches grow by.
#ifdef BRAQ_TEST_SANITIZER_ALLOCATES
    static constexpr std::size_t slackBytes = 32; // less than any object
#else
    static constexpr std::size_t slackBytes = 1024;
#endif

    void playMoments(int players) {
        for (int i = 0; i < players; ++i) {
            open(20'000);
            player->setCurrentFrame(100);
            player->startFilePlaying();
            expectPlays(100, 512);
            player->invalidate();
            const std::weak_ptr<BRAQOutputAudioUnit> unit = player->outputAudioUnit();
            player.reset();
            EXPECT_TRUE(resource_test::comesTrue([&] { return unit.expired(); }));
        }
        settle();
    }

    static float speed(std::mt19937& random, bool isAny) {
        const float magnitude = isAny ? std::uniform_real_distribution<float>(0.25F, 4.0F)(random) : 1.0F;
        return std::bernoulli_distribution(0.5)(random) ? magnitude : -magnitude;
    }
    /// Of a frame that is played at the fastest.
    UInt64 framesOfFile() const { return mIsAtAnySpeed ? 6 : 1; }

    void look(const std::vector<Float32>& left, const std::vector<Float32>& right) {
        for (std::size_t i = 0; i < left.size(); ++i) {
            if (left[i] == 0.0F && right[i] == 0.0F) {
                continue; // silence
            }
            if (mIsAtAnySpeed) {
                // 1, as far as that is resolved beside a jump, and less where silence begins and ends; a frame apart is 8.
                const Float32 apart = right[i] - left[i];
                if (apart < -3.0F || apart > 4.0F) {
                    report(static_cast<SInt64>(left[i] / 8));
                }
                lastFrame = static_cast<SInt64>(left[i] / 8);
            } else {
                lookAtFrame(left[i], right[i]);
            }
            ++framesHeard;
        }
    }

    void lookAtFrame(Float32 left, Float32 right) {
        const auto frame = static_cast<SInt64>(frameOf(left));
        const bool isWhole = left == static_cast<Float32>(8 * frame) && right == left + 1;
        if (!isWhole || (lastFrame >= 0 && std::abs(frame - lastFrame) > 1 && !isTarget(frame))) {
            report(frame);
        }
        lastFrame = frame;
        if (frame == 0) {
            ++beginnings;
        }
    }

    bool isTarget(SInt64 frame) {
        // What was handed over is heard a cycle later, and begins within one.
        const SInt64 most = static_cast<SInt64>(longestChange() + 2) * cycleFrames;
        const std::lock_guard lock(mMutex);
        return mTargets.contains(frame) || std::any_of(mTargetsOfChanges.begin(), mTargetsOfChanges.end(),
                                                       [&](SInt64 t) { return frame >= t && frame <= t + most; });
    }

    UInt64 longestChange() const {
        const UInt64 began = mChangeBegan;
        return std::max<UInt64>(mLongestChange, began == noChange ? 0 : mCycles - began);
    }

    void report(SInt64 frame) {
        if (mFaults++ == 0) {
            mFaultyFrame = frame;
            mFrameBefore = lastFrame;
        }
    }

    bool mIsAtAnySpeed = false; // set before the other thread is started, or while nothing plays
    std::atomic<UInt64> mCycles{0};
    std::mutex mMutex;
    std::set<SInt64> mTargets;          // under mMutex
    std::set<SInt64> mTargetsOfChanges; // under mMutex
    static constexpr UInt64 noChange = std::numeric_limits<UInt64>::max();
    std::atomic<UInt64> mChangeBegan{noChange}; ///< the cycle in which the change that takes place began
    std::atomic<UInt64> mLongestChange{0};      ///< in cycles
    // Read when the other thread has ended.
    UInt64 mFaults = 0;
    SInt64 mFaultyFrame = 0;
    SInt64 mFrameBefore = 0;
};

} // namespace player_test
