// A writer that records: this thread takes the part of the real-time side, a step at a time.

#include "tests/src/FileFixture.h"
#include "tests/src/OpenStreamers.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/RealtimeGuard.h"
#include "tests/support/WorkerHold.h"

#include <limits>
#include <semaphore>
#include <thread>

namespace {

using braq::tests::CapturedLog;
using braq::tests::FrameList;
using braq::tests::framesOfFile;
using braq::tests::WorkerHold;
using streamer_test::MadeUpFile;
using streamer_test::numbers;
using streamer_test::record;
using streamer_test::Writer;
using testing::ElementsAre;

class FileWriter : public FileTest {
  protected:
    void openFile() {
        writer.setAudioFile(BRAQExtendedAudioFile::initForRecordingWithFilename(path("a.wav"), kAudioFileWAVEType,
                                                                                float32(), 0, nullptr));
    }
    void closeFile() { writer.audioFile()->closeFile(); }

    Writer writer{3, 64};
};

TEST_F(FileWriter, WritesEveryFrameInOrder) {
    openFile();
    writer.start();
    EXPECT_TRUE(writer.running());
    UInt64 next = 0;
    for (const UInt32 frames : {10U, 54U, 1U, 100U, 64U, 0U, 30U, 7U}) {
        record(writer, next, frames);
        next += frames;
        writer.settle();
    }
    writer.stop();
    EXPECT_FALSE(writer.running());
    EXPECT_EQ(writer.errorCount(), 0U);
    closeFile();
    EXPECT_EQ(framesOfFile(path("a.wav")), numbers(0, next));
}

TEST_F(FileWriter, WritesExactlyWhatAHalfFullBufferHoldsWhenItIsStopped) {
    openFile();
    writer.start();
    record(writer, 0, 32);
    EXPECT_EQ(writer.framesIn(0), 32U);
    writer.stop();
    EXPECT_EQ(writer.framesIn(0), 0U);
    EXPECT_EQ(writer.currentIndex(), 0U);
    writer.stop();
    closeFile();
    EXPECT_EQ(framesOfFile(path("a.wav")), numbers(0, 32));
}

TEST_F(FileWriter, IsStartedAndStoppedAgain) {
    openFile();
    for (UInt64 part = 0; part < 5; ++part) {
        writer.start();
        record(writer, part * 100, 100);
        writer.stop();
    }
    closeFile();
    EXPECT_EQ(framesOfFile(path("a.wav")), numbers(0, 500));
}

TEST_F(FileWriter, StopWritesWhatTheWorkerWasHandedBeforeThePartlyFilledBuffer) {
    const auto file = std::make_shared<MadeUpFile>();
    std::binary_semaphore writing{0};
    std::binary_semaphore mayWrite{0};
    file->beforeWrite = [&, first = true]() mutable {
        if (std::exchange(first, false)) {
            writing.release();
            mayWrite.acquire();
        }
    };
    writer.setAudioFile(file);
    writer.start();
    record(writer, 0, 150); // two buffers for the worker, which stands still at the first, and a part of the third
    writing.acquire();
    std::thread control([&] { writer.stop(); });
    while (!writer.gate().isClosed()) {
        std::this_thread::yield();
    }
    record(writer, 1000, 64); // comes too late
    mayWrite.release();
    control.join();
    EXPECT_EQ(file->written, numbers(0, 150));
    EXPECT_EQ(writer.errorCount(), 0U);
}

TEST_F(FileWriter, CountsOverrunsFromItsStartOn) {
    openFile();
    BQueueableAudioBufferSetInProgress(writer.buffer(0), true);
    record(writer, 0, 10);
    EXPECT_EQ(writer.errorCount(), 1U);
    writer.start();
    EXPECT_EQ(writer.errorCount(), 0U);
    EXPECT_TRUE(writer.running());
}

TEST_F(FileWriter, NeedsAFile) {
    const CapturedLog log;
    writer.start();
    record(writer, 0, 64);
    writer.settle();
    ASSERT_NE(writer.lastError(), nullptr);
    EXPECT_EQ(writer.lastError()->localizedDescription(), "there is no file to write to");
    EXPECT_THROW(writer.stop(), NSException);
    openFile();
    writer.stop();
    closeFile();
    EXPECT_EQ(framesOfFile(path("a.wav")), numbers(0, 64)) << "it was kept";
}

/// A writer to a file that can be told to refuse.
class FileWriterOnAFullDisk : public FileWriter {
  protected:
    FileWriterOnAFullDisk() {
        file->beforeWrite = [this] {
            ++tries;
            if (refusals > 0) {
                --refusals;
                throw NSException("write", "the disk is full");
            }
        };
        writer.setAudioFile(file);
        writer.start();
    }
    void recordAndSettle(UInt64 first, UInt32 frames) {
        record(writer, first, frames);
        writer.settle();
    }
    /// Has the real-time side look at each buffer of the ring; a full one goes to the worker.
    void comeRound() {
        for (UInt64 i = 0; i < writer.bufferCount(); ++i) {
            recordAndSettle(0, 0);
        }
    }

    const std::shared_ptr<MadeUpFile> file = std::make_shared<MadeUpFile>();
    static constexpr int always = std::numeric_limits<int>::max();
    int refusals = 0; // changed while the worker is idle
    int tries = 0;
    const CapturedLog log;
};

TEST_F(FileWriterOnAFullDisk, TriesAgainWhenTheBufferComesRound) {
    refusals = 1;
    recordAndSettle(0, 64);
    EXPECT_EQ(writer.framesIn(0), 64U) << "not marked empty";
    EXPECT_FALSE(BQueueableAudioBufferInProgress(writer.buffer(0)));
    EXPECT_TRUE(file->written.empty());
    recordAndSettle(64, 64);
    recordAndSettle(128, 64);
    EXPECT_TRUE(file->written.empty()) << "the first one comes first";
    comeRound();
    EXPECT_EQ(file->written, numbers(0, 192)) << "there is room again, and everything is in its order";
    recordAndSettle(192, 100);
    writer.stop();
    EXPECT_EQ(file->written, numbers(0, 292));
    EXPECT_EQ(writer.errorCount(), 0U);
}

TEST_F(FileWriterOnAFullDisk, LogsOnceForARunOfFailures) {
    refusals = always;
    for (UInt64 i = 0; i < 20; ++i) {
        recordAndSettle(i * 64, 64);
    }
    EXPECT_GT(tries, 5);
    EXPECT_THAT(log.errors(), ElementsAre("(ERROR) BAudioBufferQueueWorker : the disk is full"));
    EXPECT_EQ(writer.lastError()->localizedDescription(), "the disk is full");
    refusals = 0;
    comeRound();
    comeRound();
    EXPECT_EQ(file->written, numbers(0, 192)) << "what was in the ring";
    EXPECT_EQ(log.errors().size(), 1U);
    refusals = 1;
    recordAndSettle(5001, 200);
    EXPECT_EQ(log.errors().size(), 2U) << "another run";
    refusals = 0;
    writer.stop();
}

TEST_F(FileWriterOnAFullDisk, StopWritesWhatWaitsInOrderHoweverFarTheRingHasCome) {
    for (const UInt32 waiting : {64U, 100U, 128U, 150U, 192U}) {
        SCOPED_TRACE(waiting);
        file->written.clear();
        refusals = always;
        recordAndSettle(0, waiting);
        for (UInt32 looks = 0; looks < waiting % 3; ++looks) {
            recordAndSettle(0, 0);
        }
        refusals = 0;
        writer.stop();
        EXPECT_EQ(file->written, numbers(0, waiting));
        writer.start();
    }
}

// The worker has written the oldest one by then, and the real-time side stands at the next, which is full already.
TEST_F(FileWriterOnAFullDisk, StopWritesWhatWaitsInOrderWhenOnlyTheOldestCameRound) {
    refusals = always;
    recordAndSettle(0, 192);
    refusals = 0;
    recordAndSettle(0, 0);
    ASSERT_EQ(file->written, numbers(0, 64));
    writer.stop();
    EXPECT_EQ(file->written, numbers(0, 192));
}

TEST_F(FileWriterOnAFullDisk, AStopThatFailsKeepsTheRestForTheNextOne) {
    refusals = always;
    recordAndSettle(0, 150);
    refusals = 1;
    EXPECT_THROW(writer.stop(), NSException);
    EXPECT_TRUE(writer.running());
    EXPECT_FALSE(writer.gate().isClosed());
    refusals = 0;
    writer.stop();
    EXPECT_FALSE(writer.running());
    EXPECT_EQ(file->written, numbers(0, 150));
}

TEST_F(FileWriterOnAFullDisk, AFailureOfThePartlyFilledBufferIsRaisedByStop) {
    recordAndSettle(0, 10);
    refusals = 1;
    EXPECT_THROW(writer.stop(), NSException);
    recordAndSettle(10, 20);
    writer.stop();
    EXPECT_EQ(file->written, numbers(0, 30));
    EXPECT_TRUE(log.errors().empty()) << "the caller has it";
}

// A worker held up between clearing a flag and reading the link, while the real-time side fills that buffer and queues
// it again.
TEST_F(FileWriter, WritesEverythingInOrderAlthoughItsWorkerWasHeldUp) {
    const auto file = std::make_shared<MadeUpFile>();
    std::binary_semaphore writing{0};
    std::binary_semaphore mayWrite{0};
    file->beforeWrite = [&, first = true]() mutable {
        if (std::exchange(first, false)) {
            writing.release();
            mayWrite.acquire();
        }
    };
    Writer ring(4, 64);
    ring.setAudioFile(file);
    ring.start();
    WorkerHold hold(braq::WorkerPoint::flagCleared, ring.buffer(1));
    record(ring, 0, 64);
    writing.acquire();     // the worker is at buffer 0,
    record(ring, 64, 128); // so 1 and 2 become one chain
    mayWrite.release();
    hold.waitUntilHeld();   // 0 and 1 are back
    record(ring, 192, 192); // 3, 0, and 1 once more: the link of 1 leads elsewhere now
    hold.release();
    ring.settle();
    record(ring, 384, 100);
    EXPECT_EQ(ring.errorCount(), 0U);
    ring.stop();
    EXPECT_EQ(file->written, numbers(0, 484));
}

TEST_F(FileWriter, KeepsTheRealtimeRules) {
    openFile();
    writer.start();
    const FrameList list(2, 64);
    braq::tests::number(list.get(), 0, 64);
    braq::tests::runRealtime([&] { BRAQAudioBufferQueueCopyFrom(&writer, list.get(), 64); });
    writer.stop();
    closeFile();
    EXPECT_EQ(framesOfFile(path("a.wav")), numbers(0, 64));
}

} // namespace
