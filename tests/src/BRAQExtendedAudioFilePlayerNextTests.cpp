#include "tests/src/FileHook.h"
#include "tests/src/PlayerFixture.h"

#include <atomic>
#include <chrono>
#include <thread>

// One file after another, and from one place of a file to another, without a gap.

namespace {

using braq::tests::FileHook;
using braq::tests::sampleOf;

class FilePlayerNext : public player_test::PlayerTest {
  protected:
    /// Another file than the player's, with frames numbered from 0.
    std::string anotherFile(UInt64 frames, UInt32 channels = 2, UInt32 rate = fileRate) const {
        const std::string name = path("next " + std::to_string(frames) + ".wav");
        braq::tests::writeNumberedFile(name, frames, channels, rate);
        return name;
    }
    std::shared_ptr<BRAQExtendedAudioFile> file(UInt64 frames, UInt32 channels = 2, UInt32 rate = fileRate) const {
        return BRAQExtendedAudioFile::initForPlaybackWithFilename(anotherFile(frames, channels, rate));
    }

    /// Plays that many frames, in cycles of 512.
    std::vector<Float32> hear(UInt64 frames) {
        std::vector<Float32> heard;
        while (heard.size() < frames) {
            const auto& played = play(512);
            heard.insert(heard.end(), played[0].begin(), played[0].end());
        }
        return heard;
    }
};

TEST_F(FilePlayerNext, ItsFirstFrameFollowsTheLastOneOfTheFileBefore) {
    for (const UInt64 length : {5000U, 4096U, 8192U, 5120U, 4097U}) {
        open(length);
        const auto next = file(20'000);
        player->setNextAudioFile(next);
        EXPECT_EQ(player->nextAudioFile(), next);
        player->startFilePlaying();
        const auto heard = hear(length + 10'000);
        for (UInt64 frame = 0; frame < heard.size(); ++frame) {
            ASSERT_EQ(heard[frame], sampleOf(frame < length ? frame : frame - length, 0)) << frame << " of " << length;
        }
        EXPECT_EQ(player->audioFile(), next);
        EXPECT_EQ(player->nextAudioFile(), nullptr);
        EXPECT_EQ(player->currentFrame(), static_cast<SInt64>(heard.size() - length));
        EXPECT_DOUBLE_EQ(player->maxTime(), 20'000.0 / fileRate * 1000.0);
        EXPECT_EQ(player->errorCount(), 0U);
        player->invalidate();
    }
}

TEST_F(FilePlayerNext, ItsBeginningIsToldInPlaceOfTheEndBefore) {
    open(5000);
    player->setNextAudioFile(file(3000));
    player->startFilePlaying();
    hear(6000);
    waitForMainQueue();
    queue.drain();
    EXPECT_EQ(delegate.nextFiles, 1);
    EXPECT_EQ(delegate.ends, 0);
    EXPECT_EQ(delegate.player, player.get());
    EXPECT_TRUE(player->isPlaying());
    playToTheEnd();
    EXPECT_EQ(delegate.ends, 1);
    EXPECT_FALSE(player->isPlaying());
    EXPECT_EQ(delegate.nextFiles, 1);
}

TEST_F(FilePlayerNext, FileAfterFileFollows) {
    open(5000);
    player->startFilePlaying();
    UInt64 before = 0;
    for (const UInt64 length : {5000U, 4500U, 6000U}) {
        const auto next = file(length + 1);
        player->setNextAudioFile(next);
        EXPECT_TRUE(resource_test::comesTrue([&] {
            play(64);
            return player->audioFile() == next;
        }));
        before = length;
    }
    EXPECT_LT(player->currentFrame(), 64);
    EXPECT_EQ(before, 6000U);
}

TEST_F(FilePlayerNext, IsConvertedToTheFormatOfTheFirst) {
    open(5000);
    std::shared_ptr<NSError> error;
    ASSERT_TRUE(player->setNextFileURL(NSURL::fileURLWithPath(anotherFile(20'000, 1, 22050)), &error));
    EXPECT_EQ(player->nextAudioFile()->clientDataFormat().mSampleRate, fileRate);
    EXPECT_EQ(player->nextAudioFile()->clientDataFormat().mChannelsPerFrame, 2U);
    player->startFilePlaying();
    const auto heard = hear(12'000);
    for (UInt64 frame = 6000; frame < heard.size(); ++frame) {
        ASSERT_NEAR(heard[frame], static_cast<double>(frame - 5000) * 8 / 2, 8.0) << "half as fast: " << frame;
    }
    EXPECT_EQ(player->audioFile()->fileDataFormat().mSampleRate, 22050);
}

TEST_F(FilePlayerNext, IsPlayedFromItsEndIfItIsReversed) {
    open(5000);
    const auto next = file(9000);
    next->setReverse(true);
    player->setNextAudioFile(next);
    player->startFilePlaying();
    const auto heard = hear(13'000);
    for (UInt64 frame = 0; frame < 13'000; ++frame) {
        ASSERT_EQ(heard[frame], sampleOf(frame < 5000 ? frame : 8999 - (frame - 5000), 0)) << frame;
    }
}

TEST_F(FilePlayerNext, ThatCannotBeOpenedLeavesTheOneThatWasSet) {
    open(5000);
    const auto next = file(3000);
    player->setNextAudioFile(next);
    std::shared_ptr<NSError> error;
    EXPECT_FALSE(player->setNextFileURL(NSURL::fileURLWithPath("/no/such/file.wav"), &error));
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(player->nextAudioFile(), next);
}

TEST_F(FilePlayerNext, OfAnotherFormatIsRefused) {
    open(5000);
    EXPECT_THROW(player->setNextAudioFile(file(3000, 1)), NSException);
    EXPECT_THROW(player->setNextAudioFile(file(3000, 2, 48000)), NSException);
    EXPECT_EQ(player->nextAudioFile(), nullptr);
}

TEST_F(FilePlayerNext, ThatIsTakenBackIsNotHeard) {
    open(5000);
    player->setNextAudioFile(file(3000));
    player->setNextAudioFile(nullptr);
    player->startFilePlaying();
    const auto heard = hear(6000);
    EXPECT_EQ(heard[5001], 0.0F);
    playToTheEnd();
    EXPECT_EQ(delegate.ends, 1);
    EXPECT_EQ(delegate.nextFiles, 0);
}

TEST_F(FilePlayerNext, FollowsAfterASeekAndIsSoughtInItself) {
    open(50'000);
    const auto next = file(20'000);
    player->setNextAudioFile(next);
    player->startFilePlaying();
    expectPlays(0, 700);
    player->setCurrentFrame(49'000);
    EXPECT_EQ(player->currentFrame(), 49'000);
    expectPlays(49'000, 1000);
    expectPlays(0, 2000);
    EXPECT_EQ(player->audioFile(), next);
    player->setCurrentFrame(15'000);
    expectPlays(15'000, 4000);
}

TEST_F(FilePlayerNext, FilesThatHaveBeenPlayedAreClosed) {
    open(5000);
    const std::weak_ptr<BRAQExtendedAudioFile> first = player->audioFile();
    player->setNextAudioFile(file(30'000));
    player->startFilePlaying();
    hear(6000);
    EXPECT_TRUE(resource_test::comesTrue([&] {
        software->step(16);
        return first.expired();
    })) << "it stays open";
}

TEST_F(FilePlayerNext, IsReleasedWithThePlayer) {
    open(5000);
    auto next = file(3000);
    const std::weak_ptr<BRAQExtendedAudioFile> watched = next;
    player->setNextAudioFile(std::exchange(next, nullptr));
    player->invalidate();
    player.reset();
    EXPECT_TRUE(watched.expired());
}

// The device runs on in real time while the file is sought, which takes 40 ms.
TEST_F(FilePlayerNext, ASeekIsNotHeardAsAGap) {
    open(2'000'000);
    const auto slow = [](void*) {
        std::this_thread::sleep_for(std::chrono::milliseconds(40));
        return FileHook::passOn;
    };
    const FileHook first("ExtAudioFileSeek", 1'000'000, slow);
    const FileHook second("ExtAudioFileSeek", 500'000, slow);
    player->setCurrentFrame(10);
    player->startFilePlaying();
    std::atomic<bool> isDone{false};
    std::vector<Float32> heard;
    std::thread stepping([&] {
        std::vector<Float32> left(64);
        std::vector<Float32> right(64);
        Float32* const to[2]{left.data(), right.data()};
        auto next = std::chrono::steady_clock::now();
        while (!isDone) {
            software->step(64, nullptr, to);
            heard.insert(heard.end(), left.begin(), left.end());
            next += std::chrono::microseconds(64 * 1'000'000 / fileRate);
            std::this_thread::sleep_until(next);
        }
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    player->setCurrentFrame(1'000'000);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    player->setCurrentFrame(500'000);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    isDone = true;
    stepping.join();
    std::vector<UInt64> jumps;
    for (std::size_t i = 1; i < heard.size(); ++i) {
        ASSERT_NE(heard[i], 0.0F) << "silence at " << i;
        if (heard[i] != heard[i - 1] + 8.0F) {
            jumps.push_back(frameOf(heard[i]));
        }
    }
    EXPECT_THAT(jumps, testing::ElementsAre(1'000'000, 500'000));
}

TEST_F(FilePlayerNext, ASeekThatFailsStopsThePlayerAndALaterOneWorks) {
    open(50'000);
    player->startFilePlaying();
    expectPlays(0, 512);
    {
        const FileHook failing("ExtAudioFileSeek", 30'000, kAudioFileUnspecifiedError);
        EXPECT_THROW(player->setCurrentFrame(30'000), NSException);
    }
    EXPECT_FALSE(player->isPlaying());
    player->setCurrentFrame(20'000);
    player->startFilePlaying();
    expectPlays(20'000, 9000);
}

TEST_F(FilePlayerNext, AFileThatIsPlayedFromItsBeginningDoesNotRise) {
    open(50'000);
    player->outputAudioUnit()->setTransitionTime(8.0);
    player->startFilePlaying();
    expectPlays(0, 2000);
    player->pausePlaying();
    player->setCurrentFrame(0);
    player->resumePlaying();
    expectPlays(0, 2000);
}

TEST_F(FilePlayerNext, AFileThatIsPlayedBackwardsFromItsEndDoesNotRise) {
    open(50'000);
    player->outputAudioUnit()->setTransitionTime(8.0);
    player->setCurrentFrame(50'000);
    player->setPlaybackSpeedAtOnce(-1.0F);
    player->startFilePlaying();
    const auto heard = hear(2000);
    for (UInt64 frame = 0; frame < heard.size(); ++frame) {
        ASSERT_EQ(heard[frame], sampleOf(49'999 - frame, 0)) << frame;
    }
}

TEST_F(FilePlayerNext, AFileThatIsPlayedFromElsewhereRises) {
    constexpr auto rise = static_cast<UInt64>(0.008 * fileRate) + 1;
    open(50'000);
    player->outputAudioUnit()->setTransitionTime(8.0);
    const auto expectRise = [&](UInt64 first) {
        const auto heard = hear(2048);
        EXPECT_LT(heard[0], 0.001F * sampleOf(first, 0));
        EXPECT_LT(heard[rise / 2], 0.6F * sampleOf(first + rise / 2, 0));
        for (UInt64 frame = rise; frame < heard.size(); ++frame) {
            ASSERT_EQ(heard[frame], sampleOf(first + frame, 0)) << frame;
        }
    };
    player->setCurrentFrame(30'000);
    player->startFilePlaying();
    expectRise(30'000);
    player->pausePlaying(); // on a device that stands still
    const auto paused = static_cast<UInt64>(player->currentFrame());
    player->resumePlaying();
    expectRise(paused);
    player->pausePlaying();
    player->setCurrentFrame(1);
    player->resumePlaying();
    expectRise(1);
}

TEST_F(FilePlayerNext, SeeksInQuickSuccessionEndAtTheLast) {
    open(50'000);
    player->startFilePlaying();
    expectPlays(0, 512);
    for (SInt64 frame = 1000; frame < 40'000; frame += 1000) {
        player->setCurrentFrame(frame);
    }
    expectPlays(39'000, 9000);
}

} // namespace
