// How long a player lives, and what it leaves behind.

#include "tests/src/PlayerFixture.h"
#include "tests/src/Resources.h"
#include "tests/src/UnitCalls.h"

#include <optional>
#include <semaphore>

namespace {

using braq::tests::refused;
using braq::tests::UnitCalls;
using player_test::Player;
using resource_test::comesTrue;
using resource_test::NothingLeft;

class FilePlayerLifetime : public player_test::PlayerTest {
  protected:
    void SetUp() override {
        PlayerTest::SetUp();
        open(50'000); // starts the threads that the library keeps
        player->startFilePlaying();
        play(512);
        player->invalidate();
        player.reset();
        settle();
        mNothingLeft.emplace();
        open(50'000);
        watchedPlayer = player;
        watchedUnit = player->outputAudioUnit();
        watchedFile = reader().audioFile();
    }
    void TearDown() override {
        EXPECT_EQ(player, nullptr) << "the test is to let it go";
        EXPECT_TRUE(watchedPlayer.expired());
        EXPECT_TRUE(comesTrue([&] { return watchedUnit.expired() && watchedFile.expired(); }));
        mNothingLeft.reset();
        EXPECT_FALSE(software->step(16)) << "nothing runs on the device any more";
        PlayerTest::TearDown();
    }

    std::weak_ptr<BRAQExtendedAudioFilePlayer> watchedPlayer;
    std::weak_ptr<BRAQOutputAudioUnit> watchedUnit;
    std::weak_ptr<BRAQExtendedAudioFile> watchedFile;

  private:
    std::optional<NothingLeft> mNothingLeft;
};

TEST_F(FilePlayerLifetime, KeepsItselfAliveUntilItIsInvalidated) {
    player->startFilePlaying();
    Player held = std::move(player);
    held.reset();
    EXPECT_FALSE(watchedPlayer.expired());
    EXPECT_TRUE(software->step(512)) << "it plays on";
    held = watchedPlayer.lock();
    held->invalidate();
    EXPECT_FALSE(held->isPlaying());
    EXPECT_FALSE(watchedPlayer.expired()) << "it has a user";
    held.reset();
}

TEST_F(FilePlayerLifetime, IsNoDelegateOfItsUnitWhenItIsGone) {
    const auto unit = player->outputAudioUnit();
    EXPECT_NE(unit->delegate(), nullptr);
    player->invalidate();
    player.reset();
    EXPECT_TRUE(watchedPlayer.expired());
    EXPECT_EQ(unit->delegate(), nullptr);
}

TEST_F(FilePlayerLifetime, InvalidatedItNeitherStartsNorResumes) {
    player->startFilePlaying();
    expectPlays(0, 512);
    player->invalidate();
    player->invalidate();
    player->startFilePlaying();
    EXPECT_FALSE(player->isPlaying());
    player->resumePlaying();
    EXPECT_FALSE(player->isPlaying());
    player->setCurrentFrame(100);
    EXPECT_EQ(player->currentFrame(), 100);
    EXPECT_FALSE(player->isPlaying());
    player->setPlaybackSpeed(2.0F);
    player->pausePlaying();
    player->stopFilePlaying();
    player.reset();
}

TEST_F(FilePlayerLifetime, GoesWhereverItIsInvalidated) {
    player->invalidate(); // never played
    player.reset();
    open(50'000);
    player->startFilePlaying();
    play(512);
    player->pausePlaying();
    player->invalidate();
    player.reset();
    open(500);
    player->startFilePlaying();
    playToTheEnd();
    player->invalidate();
    player.reset();
    open(500);
    player->startFilePlaying();
    std::thread([&] { player->invalidate(); }).join();
    player.reset();
}

TEST_F(FilePlayerLifetime, AnEndThatIsSignalledBeforeItIsInvalidatedIsNotTold) {
    player->setCurrentFrame(49'000);
    player->startFilePlaying();
    playUntilTheEndIsSignalled();
    player->invalidate();
    player.reset();
    EXPECT_TRUE(watchedPlayer.expired()) << "what waits for the main queue does not keep it";
    queue.drain();
    EXPECT_EQ(delegate.ends, 0);
}

TEST_F(FilePlayerLifetime, AStopThatComesBeforeItIsInvalidatedIsTold) {
    const void* const stopped = player.get();
    player->audioUnitDidStop(nullptr);
    player->invalidate();
    player.reset();
    EXPECT_EQ(delegate.stops, 0);
    queue.drain();
    EXPECT_EQ(delegate.stops, 1);
    EXPECT_EQ(delegate.player, stopped);
}

TEST_F(FilePlayerLifetime, ADelegateMayInvalidateItAtTheEnd) {
    delegate.whenAtEnd = [&](const Player& of) {
        of->invalidate();
        EXPECT_FALSE(of->isPlaying());
        player.reset();
    };
    player->setCurrentFrame(49'000);
    player->startFilePlaying();
    playToTheEnd();
    EXPECT_EQ(delegate.ends, 1);
}

TEST_F(FilePlayerLifetime, ADelegateMayGoOnceItIsNoneAnyMore) {
    auto other = std::make_unique<player_test::Delegate>();
    player->setDelegate(other.get());
    player->setCurrentFrame(49'000);
    player->startFilePlaying();
    playUntilTheEndIsSignalled();
    player->setDelegate(nullptr);
    other.reset();
    queue.drain();
    EXPECT_FALSE(player->isPlaying());
    player->invalidate();
    player.reset();
}

TEST_F(FilePlayerLifetime, AnObserverMayInvalidateItAndLetItGo) {
    const auto token = player->addObserver("currentTime", [&](const std::string&) {
        player->invalidate();
        player.reset();
    });
    player->startFilePlaying();
    play(512);
    player->setCurrentFrame(100);
}

TEST_F(FilePlayerLifetime, TheUnitsOwnThreadMayInvalidateItAndLetItGo) {
    std::atomic<bool> isDone{false};
    auto kept = player->outputAudioUnit()->audioBufferQueue();
    player->outputAudioUnit()->setEndOfStreamNotificationBlock([&](BQueueableAudioNotification*) {
        player->invalidate();
        player.reset();
        isDone = true;
    });
    player->setCurrentFrame(49'000);
    player->startFilePlaying();
    EXPECT_TRUE(comesTrue([&] {
        software->step(512);
        return isDone.load();
    }));
    kept.reset();
}

TEST_F(FilePlayerLifetime, ABlockOfItsUnitsMayWantItWhileItIsInvalidated) {
    std::binary_semaphore isTold{0};
    std::binary_semaphore isBeingInvalidated{0};
    player->outputAudioUnit()->setEndOfStreamNotificationBlock([&](BQueueableAudioNotification*) {
        isTold.release();
        isBeingInvalidated.acquire();
        player->stopFilePlaying();
    });
    player->setCurrentFrame(49'000);
    player->startFilePlaying();
    EXPECT_TRUE(comesTrue([&] {
        play(512);
        return isTold.try_acquire();
    }));
    std::thread other([&] {
        while (player->isPlaying()) { // until it is being invalidated
            std::this_thread::yield();
        }
        isBeingInvalidated.release();
    });
    player->invalidate();
    other.join();
    player.reset();
}

TEST_F(FilePlayerLifetime, GoesWithItsDevice) {
    player->startFilePlaying();
    play(512);
    software->remove();
    settle();
    player->invalidate();
    player.reset();
}

TEST_F(FilePlayerLifetime, GoesWhenItsFileIsLetGoAfterIt) {
    const auto file = reader().audioFile();
    player->startFilePlaying();
    play(512);
    player->invalidate();
    player.reset();
    EXPECT_TRUE(comesTrue([&] { return file.use_count() == 1; }));
    EXPECT_EQ(file->frameCount(), 50'000) << "it is not closed under its other holder";
}

TEST_F(FilePlayerLifetime, KeepsNothingWhenItsUnitCannotBeMade) {
    const auto file = reader().audioFile();
    player->invalidate();
    player.reset();
    ASSERT_TRUE(comesTrue([&] { return file.use_count() == 1; }));
    constexpr std::size_t steps = 18;
    const NothingLeft nothing;
    for (std::size_t failing = 0; failing < steps; ++failing) {
        const UnitCalls calls(failing, refused);
        EXPECT_THROW(BRAQExtendedAudioFilePlayer::initWithAudioFile(file, device), NSException) << failing;
        EXPECT_EQ(file.use_count(), 1) << failing;
    }
}

} // namespace
