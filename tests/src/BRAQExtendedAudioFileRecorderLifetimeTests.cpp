// What a recorder tells when it stops, how long it lives, and what it leaves behind.

#include "tests/platform/files/SmallDisk.h"
#include "tests/src/RecorderFixture.h"
#include "tests/src/Resources.h"
#include "tests/support/CapturedLog.h"

#include <fstream>
#include <optional>

namespace {

using braq::tests::CapturedLog;
using braq::tests::runWithSmallDisk;
using recorder_test::Recorder;
using recorder_test::ringFrames;
using resource_test::comesTrue;
using resource_test::NothingLeft;

class FileRecorderStops : public recorder_test::RecorderTest {
  protected:
    /// Returns when the unit has reported what it has to, and nothing of it was told.
    static void waitUntilNotified() {
        std::promise<void> isDelivered;
        braq::Hardware::instance().notifications().run([&] { isDelivered.set_value(); });
        isDelivered.get_future().wait();
    }
};

TEST_F(FileRecorderStops, AreToldOnceEachOnTheMainThread) {
    open();
    EXPECT_EQ(recorder->delegate(), delegate);
    for (int round = 1; round <= 3; ++round) {
        recorder->startRecording();
        captureAll(100);
        recorder->stopRecording();
        EXPECT_EQ(delegate->stops, round - 1) << "it does not wait";
        drainUntil([&] { return delegate->stops == round; });
        EXPECT_EQ(delegate->recorder, recorder.get());
        EXPECT_EQ(delegate->thread, std::this_thread::get_id());
    }
    recorder->stopRecording();
    settle();
    EXPECT_EQ(delegate->stops, 3) << "nothing ran";
}

TEST_F(FileRecorderStops, AreToldToADelegateThatLivesAndHasTheOperation) {
    struct Mute {};
    open();
    EXPECT_EQ(delegate.use_count(), 1) << "it is not kept";
    const auto stop = [&] {
        recorder->startRecording();
        recorder->stopRecording();
        settle();
    };
    const auto mute = std::make_shared<Mute>();
    recorder->setDelegate(mute);
    EXPECT_EQ(recorder->delegate(), mute);
    stop();
    recorder->setDelegate(delegate);
    recorder->notifyDelegateOfStop();
    EXPECT_EQ(delegate->stops, 1);
    recorder->setDelegate(nullptr);
    EXPECT_EQ(recorder->delegate(), nullptr);
    stop();
    EXPECT_EQ(delegate->stops, 1);
    recorder->setDelegate(std::shared_ptr<recorder_test::Delegate>());
    stop();
    int told = 0;
    delegate->whenStopped = [&](const Recorder&) { ++told; };
    recorder->setDelegate(delegate);
    recorder->startRecording();
    recorder->stopRecording();
    delegate.reset();
    EXPECT_EQ(recorder->delegate(), nullptr);
    settle();
    EXPECT_EQ(told, 0) << "it was gone when the stop was to be told";
}

TEST_F(FileRecorderStops, AreToldWhenTheDeviceVanishesAndNothingOfTheFileIsLost) {
    open();
    recorder->startRecording();
    captureAll(40'000);
    software->vanishAfterCycles(1);
    EXPECT_TRUE(capture(512));
    EXPECT_TRUE(capture(512)) << "in the middle of it";
    drainUntil([&] { return delegate->stops == 1; });
    EXPECT_FALSE(recorder->isFileRecording());
    recorder->stopRecording();
    settle();
    EXPECT_EQ(delegate->stops, 1);
    EXPECT_EQ(recorder->currentFrame(), static_cast<SInt64>(captured));
    EXPECT_EQ(closedFile(), numbers(0, captured));
}

TEST_F(FileRecorderStops, InvalidatedAfterItsDeviceVanishedItHasWrittenEverything) {
    open();
    recorder->startRecording();
    captureAll(40'000);
    software->remove();
    EXPECT_FALSE(capture(16));
    EXPECT_EQ(closedFile(), numbers(0, 40'000));
}

// Whether the unit has reported it by then or not, and whether the main thread has something to do or not.
TEST_F(FileRecorderStops, AreToldOfARecorderThatWasLetGoBeforeTheMainThreadGotToThem) {
    for (int round = 1; round <= 20; ++round) {
        open();
        const void* const stopped = recorder.get();
        delegate->whenStopped = [](const Recorder& of) {
            EXPECT_EQ(of->currentFrame(), 480);
            EXPECT_EQ(of->currentTime(), 10.0);
            EXPECT_EQ(of->errorCount(), 0U);
            EXPECT_FALSE(of->isFileRecording());
            of->stopRecording();
        };
        recorder->startRecording();
        captureAll(480);
        recorder->stopRecording();
        if (round % 2 == 0) {
            waitUntilNotified();
        }
        const std::weak_ptr<BRAQExtendedAudioFile> file = recorder->recordFile();
        recorder->invalidate();
        recorder.reset();
        // The thread that delivers the stop may hold the recorder for a moment.
        EXPECT_TRUE(resource_test::comesTrue([&] { return file.expired(); }))
            << "a queue that is not drained does not keep it";
        EXPECT_EQ(braq::tests::framesOfFile(path("a.wav")), numbers(captured - 480, captured));
        EXPECT_EQ(delegate->stops, round - 1);
        drainUntil([&] { return delegate->stops == round; });
        ASSERT_EQ(delegate->stops, round);
        EXPECT_EQ(delegate->recorder, stopped);
    }
    settle();
    EXPECT_EQ(delegate->stops, 20);
}

TEST_F(FileRecorderStops, AreToldAsOftenAsTheyWereWhenItWasLetGo) {
    open();
    for (int run = 0; run < 3; ++run) {
        recorder->startRecording();
        captureAll(100);
        recorder->stopRecording();
    }
    recorder->audioUnitDidStop(nullptr);
    recorder->invalidate();
    recorder.reset();
    drainUntil([&] { return delegate->stops == 4; });
    settle();
    EXPECT_EQ(delegate->stops, 4);
}

TEST_F(FileRecorderStops, ADelegateMayKeepARecorderThatWasLetGo) {
    open();
    Recorder kept;
    delegate->whenStopped = [&](const Recorder& of) { kept = of; };
    recorder->startRecording();
    captureAll(100);
    recorder->stopRecording();
    recorder->invalidate();
    recorder.reset();
    drainUntil([&] { return kept != nullptr; });
    EXPECT_EQ(kept->recordFile(), nullptr);
    kept->startRecording();
    EXPECT_FALSE(kept->isFileRecording());
    kept->invalidate();
    kept->audioUnitDidStop(nullptr);
    kept.reset();
    settle();
    EXPECT_EQ(delegate->stops, 1) << "a recorder that is let go for the second time is gone";
}

TEST_F(FileRecorderStops, ARecorderThatIsLetGoWithNobodyToTellIsGone) {
    open();
    const std::weak_ptr<BRAQInputAudioUnit> unit = recorder->inputAudioUnit();
    recorder->startRecording();
    captureAll(100);
    delegate.reset();
    recorder->stopRecording();
    recorder->invalidate();
    recorder.reset();
    EXPECT_TRUE(resource_test::comesTrue([&] { return unit.expired(); })) << "without the main thread";
}

TEST_F(FileRecorderStops, ADelegateMayStartAgain) {
    open();
    delegate->whenStopped = [](const Recorder& of) { of->startRecording(); };
    recorder->startRecording();
    captureAll(100);
    recorder->stopRecording();
    drainUntil([&] { return delegate->stops == 1; });
    EXPECT_TRUE(recorder->isFileRecording());
    captureAll(100);
    EXPECT_EQ(closedFile(), numbers(0, 200));
}

class FileRecorderDisk : public recorder_test::RecorderTest {
  protected:
    static constexpr std::size_t diskBytes = std::size_t{1024} * 1024;

    /// Records more than there is room for. A ring is three quarters of the disk.
    void recordTooMuch() {
        std::ofstream(path("ballast")) << std::string(diskBytes / 2, 'x');
        open();
        recorder->startRecording();
        captureAll(ringFrames);
        EXPECT_THROW(recorder->stopRecording(), NSException);
        EXPECT_FALSE(recorder->isFileRecording());
    }
};

TEST_F(FileRecorderDisk, ThatIsFullIsRaisedByAStopAndNothingIsLostWhenThereIsRoomAgain) {
    const bool isRun = runWithSmallDisk(folder.path(), diskBytes, [&] {
        const CapturedLog log;
        recordTooMuch();
        EXPECT_THROW(recorder->stopRecording(), NSException) << "there is still no room";
        std::filesystem::remove(path("ballast"));
        recorder->stopRecording();
        EXPECT_EQ(recorder->errorCount(), 0U);
        recorder->startRecording();
        captureAll(1000);
        recorder->stopRecording();
        EXPECT_EQ(closedFile(), numbers(0, ringFrames + 1000));
    });
    if (!isRun) {
        GTEST_SKIP() << "not shown: this process may not mount a disk";
    }
}

TEST_F(FileRecorderDisk, ThatIsFullIsLoggedWhenItIsInvalidatedAndWhatIsThereCanBeRead) {
    const bool isRun = runWithSmallDisk(folder.path(), diskBytes, [&] {
        const CapturedLog log;
        recordTooMuch();
        const auto before = log.errors().size();
        recorder->invalidate();
        ASSERT_GT(log.errors().size(), before);
        EXPECT_TRUE(log.errors()[before].starts_with("(ERROR) BRAQExtendedAudioFileRecorder : "))
            << log.errors()[before];
        EXPECT_EQ(closedFile(), numbers(0, ringFrames / 3)) << "the buffer that there was room for";
    });
    if (!isRun) {
        GTEST_SKIP() << "not shown: this process may not mount a disk";
    }
}

class FileRecorderLifetime : public recorder_test::RecorderTest {
  protected:
    void SetUp() override {
        RecorderTest::SetUp();
        open(); // starts the threads that the library keeps
        recorder->startRecording();
        captureAll(512);
        recorder->invalidate();
        recorder.reset();
        settle();
        delegate->stops = 0;
        captured = 0;
        mNothingLeft.emplace();
        open();
        watchedRecorder = recorder;
        watchedUnit = recorder->inputAudioUnit();
        watchedFile = recorder->recordFile();
    }
    void TearDown() override {
        EXPECT_EQ(recorder, nullptr) << "the test is to let it go";
        EXPECT_TRUE(isGone());
        mNothingLeft.reset();
        EXPECT_FALSE(software->step(16)) << "nothing runs on the device any more";
        EXPECT_EQ(braq::tests::framesOfFile(path("a.wav")), numbers(0, captured));
        RecorderTest::TearDown();
    }

    /// Whether it goes, once what is on its way to the main queue has come and been done.
    bool isGone() {
        return comesTrue([&] {
            settle();
            return watchedRecorder.expired() && watchedUnit.expired() && watchedFile.expired();
        });
    }

    std::weak_ptr<BRAQExtendedAudioFileRecorder> watchedRecorder;
    std::weak_ptr<BRAQInputAudioUnit> watchedUnit;
    std::weak_ptr<BRAQExtendedAudioFile> watchedFile;

  private:
    std::optional<NothingLeft> mNothingLeft;
};

TEST_F(FileRecorderLifetime, KeepsItselfAliveUntilItIsInvalidated) {
    recorder->startRecording();
    recorder.reset();
    EXPECT_FALSE(watchedRecorder.expired());
    captureAll(1000);
    recorder = watchedRecorder.lock();
    recorder->invalidate();
    EXPECT_FALSE(recorder->isFileRecording());
    recorder.reset();
}

TEST_F(FileRecorderLifetime, InvalidatedItDoesNotStart) {
    recorder->startRecording();
    captureAll(1000);
    recorder->invalidate();
    recorder->invalidate();
    EXPECT_EQ(recorder->currentFrame(), 1000);
    recorder->startRecording();
    EXPECT_FALSE(recorder->isFileRecording());
    EXPECT_FALSE(capture(16));
    recorder->stopRecording();
    recorder->setCurrentFrame(5);
    EXPECT_EQ(recorder->currentFrame(), 5);
    recorder.reset();
}

TEST_F(FileRecorderLifetime, GoesWithoutHavingRecorded) {
    recorder->invalidate();
    recorder.reset();
}

TEST_F(FileRecorderLifetime, GoesWhereItIsInvalidatedByAnotherThread) {
    recorder->startRecording();
    captureAll(100);
    std::thread([this] {
        recorder->invalidate();
        recorder.reset();
    }).join();
}

TEST_F(FileRecorderLifetime, ADelegateMayInvalidateIt) {
    delegate->whenStopped = [&](const Recorder& of) {
        of->invalidate();
        recorder.reset();
    };
    recorder->startRecording();
    captureAll(100);
    recorder->stopRecording();
    drainUntil([&] { return delegate->stops == 1; });
}

TEST_F(FileRecorderLifetime, AnObserverMayInvalidateItAndLetItGo) {
    const auto token = recorder->addObserver("currentTime", [&](const std::string&) {
        recorder->invalidate();
        recorder.reset();
    });
    recorder->startRecording();
    captureAll(100);
    recorder->setCurrentFrame(0);
}

TEST_F(FileRecorderLifetime, WhoIsNotifiedThatItRunsOrNotMayInvalidateItAndLetItGo) {
    for (const char* notification : {"AudioUnitDidStartNotification", "AudioUnitDidStopNotification"}) {
        SCOPED_TRACE(notification);
        if (recorder == nullptr) {
            ASSERT_TRUE(isGone());
            captured = 0; // the file is another one
            open();
        }
        auto token = NSNotificationCenter::defaultCenter().addObserver(notification, recorder->inputAudioUnit(),
                                                                       [&](const NSNotification&) {
                                                                           recorder->invalidate();
                                                                           recorder.reset();
                                                                       });
        const auto held = recorder;
        held->startRecording();
        if (notification == std::string("AudioUnitDidStopNotification")) {
            captureAll(100);
            held->stopRecording();
        }
        settle();
        EXPECT_EQ(recorder, nullptr);
    }
}

TEST_F(FileRecorderLifetime, GoesWithItsDevice) {
    recorder->startRecording();
    captureAll(1000);
    software->remove();
    settle();
    recorder->invalidate();
    recorder.reset();
}

} // namespace
