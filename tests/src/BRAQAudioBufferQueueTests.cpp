#include "BRAQAudio/BRAQAudioBufferQueue.h"

#include "tests/src/NumberedQueues.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/RealtimeGuard.h"
#include "tests/support/WorkerHold.h"

#include <gmock/gmock.h>

#include <semaphore>
#include <stdexcept>
#include <thread>

namespace {

using braq::WorkerPoint;
using braq::tests::FrameList;
using braq::tests::sampleOf;
using braq::tests::WorkerHold;
using queue_test::planarStereo;
using queue_test::Reader;
using queue_test::Writer;
using testing::ElementsAre;
using testing::HasSubstr;
using ClosedStretch = BRAQAudioBufferQueueGate::ClosedStretch;

UInt32 copyInto(BRAQAudioBufferQueue& queue, const FrameList& list, UInt32 frames) {
    BRAQAudioBufferQueueCopyInto(&queue, list.get(), &frames);
    return frames;
}

class Playback : public testing::Test {
  protected:
    FrameList list{queue_test::channels, 4096};
};

TEST_F(Playback, ARequestOverTwoBuffersDrainsAndHandsOverBoth) {
    Reader reader(4, 512);
    reader.prime();
    EXPECT_EQ(reader.fills, 4);
    EXPECT_EQ(copyInto(reader, list, 1024), 1024U);
    list.expectNumbered(0, 0, 1024);
    EXPECT_EQ(reader.currentIndex(), 2U);
    reader.waitUntilWorkerIsIdle();
    EXPECT_EQ(reader.fills, 6);
    EXPECT_EQ(reader.errorCount(), 0U);
}

TEST_F(Playback, ABufferThatIsNotBackYetEndsTheCopyAndCountsAnError) {
    std::counting_semaphore<> mayFill{0};
    const std::thread::id primer = std::this_thread::get_id();
    Reader reader(3, 64);
    reader.beforeFill = [&](BQueueableAudioBuffer*) {
        if (std::this_thread::get_id() != primer) {
            mayFill.acquire();
        }
    };
    reader.prime();
    list.fill(-1);
    EXPECT_EQ(copyInto(reader, list, 200), 192U);
    EXPECT_EQ(reader.errorCount(), 1U);
    EXPECT_EQ(reader.currentIndex(), 0U);
    list.expectNumbered(0, 0, 192);
    EXPECT_EQ(list.sample(0, 192), -1) << "what was not delivered is left as it was";
    EXPECT_EQ(copyInto(reader, list, 10), 0U);
    EXPECT_EQ(reader.errorCount(), 2U);
    mayFill.release(4); // the three that are waited for, and the one that the last copy hands over
    reader.waitUntilWorkerIsIdle();
    EXPECT_EQ(copyInto(reader, list, 100), 100U);
    list.expectNumbered(0, 192, 100);
}

TEST_F(Playback, TheEndOfTheStreamIsLatchedByTheFirstCallThatReachesIt) {
    Reader reader(2, 64, 100);
    reader.prime();
    EXPECT_FALSE(BRAQAudioBufferQueueReachedEndOfStream(&reader));
    list.fill(-1);
    EXPECT_EQ(copyInto(reader, list, 80), 80U) << "what it needs of the last buffer";
    EXPECT_TRUE(BRAQAudioBufferQueueReachedEndOfStream(&reader));
    EXPECT_TRUE(reader.endOfStream());
    EXPECT_EQ(list.sample(0, 80), -1);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(copyInto(reader, list, 10), 0U) << "the frames beyond that call's need are not delivered";
    }
    EXPECT_EQ(reader.errorCount(), 0U);
}

TEST_F(Playback, TheEndOfTheStreamIsLatchedWithFramesOfTheLastBufferLeft) {
    Reader reader(2, 64, 20);
    reader.prime();
    EXPECT_EQ(copyInto(reader, list, 10), 10U);
    list.expectNumbered(0, 0, 10);
    EXPECT_TRUE(BRAQAudioBufferQueueReachedEndOfStream(&reader));
    EXPECT_EQ(copyInto(reader, list, 10), 0U);
}

TEST_F(Playback, PartOfABufferIsNotTakenFromTheWorker) {
    Reader reader(2, 64);
    reader.prime();
    BQueueableAudioBufferSetInProgress(reader.buffer(0), true);
    EXPECT_EQ(copyInto(reader, list, 10), 0U);
    EXPECT_EQ(reader.errorCount(), 1U);
}

TEST_F(Playback, AShortLastBufferEndsTheCopy) {
    Reader reader(2, 64, 100);
    reader.prime();
    EXPECT_EQ(copyInto(reader, list, 500), 100U);
    list.expectNumbered(0, 0, 100);
    EXPECT_TRUE(reader.endOfStream());
}

TEST_F(Playback, PrimeStartsAgainAtTheFirstBuffer) {
    Reader reader(3, 64, 100);
    reader.prime();
    copyInto(reader, list, 100);
    ASSERT_TRUE(reader.endOfStream());
    reader.seek(10);
    EXPECT_FALSE(reader.endOfStream());
    EXPECT_EQ(reader.currentIndex(), 0U);
    EXPECT_EQ(copyInto(reader, list, 64), 64U);
    list.expectNumbered(0, 10, 64);
}

TEST_F(Playback, PrimeFillsInTheOrderOfTheRingAndLeavesTheErrorCount) {
    std::vector<BQueueableAudioBuffer*> order;
    Reader reader(3, 64);
    BQueueableAudioBufferSetInProgress(reader.buffer(0), true);
    copyInto(reader, list, 1);
    ASSERT_EQ(reader.errorCount(), 1U);
    reader.beforeFill = [&](BQueueableAudioBuffer* buffer) { order.push_back(buffer); };
    reader.prime();
    EXPECT_THAT(order, ElementsAre(reader.buffer(0), reader.buffer(1), reader.buffer(2)));
    EXPECT_EQ(reader.errorCount(), 1U);
    EXPECT_FALSE(reader.inProgress(0));
}

TEST_F(Playback, CurrentFrameIsTheEndFrameOfTheCurrentBuffer) {
    Reader reader(2, 64, 100);
    EXPECT_EQ(BRAQAudioBufferQueueCurrentFrame(&reader), 0U);
    reader.prime();
    copyInto(reader, list, 10);
    EXPECT_EQ(BRAQAudioBufferQueueCurrentFrame(&reader), 64U) << "not the start frame, which is 10";
    copyInto(reader, list, 60);
    EXPECT_EQ(BRAQAudioBufferQueueCurrentFrame(&reader), 36U);
}

TEST_F(Playback, ARequestForNothingStillLooksAtTheCurrentBuffer) {
    Reader reader(2, 64);
    reader.prime();
    EXPECT_EQ(copyInto(reader, list, 0), 0U);
    EXPECT_EQ(reader.currentIndex(), 0U) << "a buffer with frames stays";
    // Only what the next case needs: the current buffer is empty and not the last.
    BAudioBufferSetEmpty(&reader.buffer(0)->mAudioBuffer);
    EXPECT_EQ(copyInto(reader, list, 0), 0U);
    EXPECT_EQ(reader.currentIndex(), 1U);
    reader.waitUntilWorkerIsIdle();
    EXPECT_EQ(reader.fills, 3) << "it was handed to the worker";
    EXPECT_EQ(reader.errorCount(), 0U);
    BQueueableAudioBufferSetInProgress(reader.buffer(1), true);
    EXPECT_EQ(copyInto(reader, list, 0), 0U);
    EXPECT_EQ(reader.errorCount(), 1U);
}

TEST_F(Playback, DeliversEveryFrameInOrderThroughManyUnevenCalls) {
    Reader reader(3, 512);
    reader.prime();
    UInt64 delivered = 0;
    for (UInt32 step = 1; delivered < 200'000; ++step) {
        const UInt32 wanted = 1 + step * 7919 % 1024; // what is left of one buffer, and two more, are always there
        const UInt32 frames = copyInto(reader, list, wanted);
        ASSERT_EQ(frames, wanted);
        list.expectNumbered(0, delivered, frames);
        delivered += frames;
        reader.waitUntilWorkerIsIdle(); // a step of the device
    }
    EXPECT_EQ(reader.errorCount(), 0U);
}

TEST_F(Playback, KeepsTheRealtimeRules) {
    Reader reader(4, 64, 300);
    reader.prime();
    std::vector<UInt32> delivered(3, 0);
    UInt32 currentFrame = 0;
    bool reachedBefore = true;
    bool reachedAfter = false;
    braq::tests::runRealtime([&] {
        delivered[0] = copyInto(reader, list, 100);
        currentFrame = BRAQAudioBufferQueueCurrentFrame(&reader);
        reachedBefore = BRAQAudioBufferQueueReachedEndOfStream(&reader);
        {
            const braq::tests::RealtimePause pause;
            reader.waitUntilWorkerIsIdle();
        }
        delivered[1] = copyInto(reader, list, 300);
        reachedAfter = BRAQAudioBufferQueueReachedEndOfStream(&reader);
        delivered[2] = copyInto(reader, list, 300);
    });
    EXPECT_THAT(delivered, ElementsAre(100, 200, 0));
    EXPECT_EQ(currentFrame, 64U);
    EXPECT_FALSE(reachedBefore);
    EXPECT_TRUE(reachedAfter);
}

class Recording : public testing::Test {
  protected:
    void capture(BRAQAudioBufferQueue& queue, UInt32 frames) {
        braq::tests::number(list.get(), captured, frames);
        BRAQAudioBufferQueueCopyFrom(&queue, list.get(), frames);
        captured += frames;
    }
    static void expectWritten(const Writer& writer, UInt64 frames) {
        ASSERT_EQ(writer.written.size(), frames);
        for (UInt64 frame = 0; frame < frames; ++frame) {
            ASSERT_EQ(writer.written[frame], sampleOf(frame, 0));
        }
    }

    FrameList list{queue_test::channels, 4096};
    UInt64 captured = 0;
};

TEST_F(Recording, ACycleLargerThanTheSpaceLeftSpillsIntoTheNextBuffer) {
    Writer writer(3, 64);
    capture(writer, 50);
    EXPECT_EQ(writer.currentIndex(), 0U);
    capture(writer, 50);
    EXPECT_EQ(writer.currentIndex(), 1U);
    EXPECT_EQ(BRAQAudioBufferQueueCurrentFrame(&writer), 36U);
    writer.waitUntilWorkerIsIdle();
    expectWritten(writer, 64);
    writer.flush();
    expectWritten(writer, 100);
}

TEST_F(Recording, ACycleThatEndsWithTheBufferHandsItOver) {
    Writer writer(2, 64);
    capture(writer, 64);
    EXPECT_EQ(writer.currentIndex(), 1U);
    writer.waitUntilWorkerIsIdle();
    expectWritten(writer, 64);
}

TEST_F(Recording, AnOverrunDropsTheRestOfTheCycleAndCountsAnError) {
    std::counting_semaphore<2> mayWrite{0};
    Writer writer(2, 64);
    writer.beforeWrite = [&](BQueueableAudioBuffer*) { mayWrite.acquire(); };
    capture(writer, 200);
    EXPECT_EQ(writer.errorCount(), 1U);
    capture(writer, 10);
    EXPECT_EQ(writer.errorCount(), 2U);
    mayWrite.release(2);
    writer.waitUntilWorkerIsIdle();
    expectWritten(writer, 128);
}

TEST_F(Recording, ACycleOfNothingStillLooksAtTheCurrentBuffer) {
    Writer writer(2, 64);
    capture(writer, 0);
    EXPECT_EQ(writer.errorCount(), 0U);
    EXPECT_EQ(writer.currentIndex(), 0U);
    BQueueableAudioBufferSetInProgress(writer.buffer(0), true);
    capture(writer, 0);
    EXPECT_EQ(writer.errorCount(), 1U);
}

TEST_F(Recording, PartOfABufferIsNotPutIntoWhatTheWorkerHas) {
    Writer writer(2, 64);
    capture(writer, 10);
    BQueueableAudioBufferSetInProgress(writer.buffer(0), true);
    capture(writer, 10);
    EXPECT_EQ(writer.errorCount(), 1U);
    EXPECT_EQ(BRAQAudioBufferQueueCurrentFrame(&writer), 10U);
}

TEST_F(Recording, FramesGoBehindThoseHeldAlsoWhereSomeWereTakenOut) {
    Writer writer(2, 64);
    BAudioBuffer* const buffer = &writer.buffer(0)->mAudioBuffer;
    BAudioBufferSetStartFrame(buffer, 10);
    BAudioBufferSetEndFrame(buffer, 15);
    capture(writer, 20);
    EXPECT_EQ(BAudioBufferEndFrame(buffer), 35U);
    braq::tests::expectNumbered(BAudioBufferAudioBufferList(buffer), 5, 0, 20);
}

TEST_F(Recording, FlushWritesThePartlyFilledBufferAndStaysAtIt) {
    Writer writer(2, 64);
    writer.flush();
    EXPECT_EQ(writer.writes, 0) << "an empty buffer is not written";
    capture(writer, 20);
    writer.flush();
    expectWritten(writer, 20);
    EXPECT_EQ(writer.currentIndex(), 0U);
    capture(writer, 64);
    writer.waitUntilWorkerIsIdle();
    expectWritten(writer, 84);
}

TEST_F(Recording, FlushLeavesABufferThatIsInProgressAlone) {
    Writer writer(2, 64);
    capture(writer, 20);
    BQueueableAudioBufferSetInProgress(writer.buffer(0), true);
    writer.flush();
    EXPECT_TRUE(writer.written.empty());
    EXPECT_TRUE(writer.inProgress(0));
}

TEST_F(Recording, KeepsEveryFrameInOrderThroughManyUnevenCycles) {
    Writer writer(3, 512);
    for (UInt32 step = 1; step < 300; ++step) {
        capture(writer, 1 + step * 7919 % 1024);
        writer.waitUntilWorkerIsIdle(); // a step of the device
    }
    writer.flush();
    EXPECT_EQ(writer.errorCount(), 0U);
    expectWritten(writer, captured);
}

TEST_F(Recording, KeepsTheRealtimeRules) {
    Writer writer(4, 64);
    braq::tests::number(list.get(), 0, 200);
    braq::tests::runRealtime([&] { BRAQAudioBufferQueueCopyFrom(&writer, list.get(), 200); });
    writer.flush();
    expectWritten(writer, 200);
}

class Queue : public testing::Test {
  protected:
    FrameList list{queue_test::channels, 256};
};

TEST_F(Queue, TellsWhatItWasMadeOf) {
    const auto description = planarStereo();
    const auto queue = BRAQAudioBufferQueue::initWithBufferCount(3, 512, description);
    ASSERT_NE(queue, nullptr);
    EXPECT_EQ(queue->bufferCount(), 3U);
    EXPECT_EQ(queue->streamDescription(), description);
    EXPECT_FALSE(queue->endOfStream());
    EXPECT_EQ(queue->errorCount(), 0U);
    EXPECT_EQ(queue->lastError(), nullptr);
}

TEST_F(Queue, MakesBuffersOfItsSizeAndChannels) {
    const Reader reader(2, 512);
    for (UInt64 i = 0; i < 2; ++i) {
        const AudioBufferList* const buffers = BAudioBufferAudioBufferList(&reader.buffer(i)->mAudioBuffer);
        EXPECT_EQ(buffers->mNumberBuffers, 2U);
        EXPECT_EQ(buffers->mBuffers[0].mDataByteSize, 2048U);
        EXPECT_FALSE(reader.inProgress(i));
    }
}

TEST_F(Queue, RefusesWhatNoRingCanBeMadeOf) {
    const braq::tests::CapturedLog log;
    const auto noChannels = planarStereo();
    noChannels->setChannelsPerFrame(0);
    EXPECT_EQ(BRAQAudioBufferQueue::initWithBufferCount(3, 512, nullptr), nullptr);
    EXPECT_EQ(BRAQAudioBufferQueue::initWithBufferCount(3, 512, noChannels), nullptr);
    const auto interleaved = BRAQAudioStreamBasicDescription::nativeStreamDescription();
    EXPECT_EQ(BRAQAudioBufferQueue::initWithBufferCount(3, 512, interleaved), nullptr);
    EXPECT_EQ(BRAQAudioBufferQueue::initWithBufferCount(0, 512, planarStereo()), nullptr);
    EXPECT_EQ(BRAQAudioBufferQueue::initWithBufferCount(3, 0, planarStereo()), nullptr);
    EXPECT_EQ(BRAQAudioBufferQueue::initWithBufferCount(3, 0x40000000, planarStereo()), nullptr);
    EXPECT_THAT(log.errors(),
                testing::Each(testing::StartsWith("(ERROR) BRAQAudioBufferQueue : An audio buffer queue")));
    EXPECT_EQ(log.errors().size(), 6U);
}

TEST_F(Queue, HasNoIdeaOfProcessingByItself) {
    const braq::tests::CapturedLog log;
    const auto queue = BRAQAudioBufferQueue::initWithBufferCount(2, 64, planarStereo());
    try {
        queue->prime();
        FAIL() << "nothing was raised";
    } catch (const NSException& raised) {
        EXPECT_EQ(raised.name(), NSInvalidArgumentException);
        EXPECT_THAT(raised.reason(), HasSubstr("-[BRAQAudioBufferQueue processBuffer:]: unrecognized selector"));
    }
    EXPECT_FALSE(BRAQAudioBufferQueueReachedEndOfStream(queue.get()));
    // On the worker's thread the same error is kept for the owner.
    UInt32 frames = 1;
    BRAQAudioBufferQueueCopyInto(queue.get(), list.get(), &frames);
    while (queue->lastError() == nullptr) {
        std::this_thread::yield();
    }
    EXPECT_THAT(queue->lastError()->localizedDescription(), HasSubstr("processBuffer:"));
}

TEST_F(Queue, AFillThatThrowsOnTheWorkerCountsAsProcessed) {
    const braq::tests::CapturedLog log;
    bool fail = false;
    Reader reader(2, 64);
    reader.beforeFill = [&](BQueueableAudioBuffer*) {
        if (fail) {
            fail = false;
            throw std::runtime_error("unreadable");
        }
    };
    reader.prime();
    fail = true;
    EXPECT_EQ(copyInto(reader, list, 64), 64U);
    reader.waitUntilWorkerIsIdle();
    EXPECT_FALSE(reader.inProgress(0));
    EXPECT_EQ(reader.lastError()->localizedDescription(), "unreadable");
    reader.teardownWorkerThread();
    EXPECT_EQ(reader.lastError()->localizedDescription(), "unreadable") << "its owner may ask when all is done";
    EXPECT_THAT(log.errors(), ElementsAre("(ERROR) BAudioBufferQueueWorker : unreadable"));
}

TEST_F(Queue, StartAndStopOfTheWorkerLeaveItRunning) {
    Reader reader(2, 64);
    reader.prime();
    reader.startWorker();
    reader.stopWorker();
    copyInto(reader, list, 64);
    reader.waitUntilWorkerIsIdle();
    EXPECT_EQ(reader.fills, 3);
}

TEST_F(Queue, TeardownEndsTheWorkerAndClosesTheGateForGood) {
    Reader reader(2, 64);
    reader.prime();
    reader.teardownWorkerThread();
    EXPECT_EQ(reader.worker(), nullptr);
    EXPECT_TRUE(reader.gate().isClosed());
    EXPECT_EQ(copyInto(reader, list, 64), 0U);
    EXPECT_EQ(reader.errorCount(), 0U);
    reader.teardownWorkerThread(); // does nothing
    reader.stopWorker();
    EXPECT_EQ(reader.lastError(), nullptr);
}

TEST_F(Queue, TeardownLeavesWhatIsPendingUnprocessed) {
    std::binary_semaphore filling{0};
    std::binary_semaphore mayFill{0};
    const std::thread::id primer = std::this_thread::get_id();
    Reader reader(3, 64);
    reader.beforeFill = [&](BQueueableAudioBuffer*) {
        if (std::this_thread::get_id() != primer) {
            filling.release();
            mayFill.acquire();
        }
    };
    reader.prime();
    copyInto(reader, list, 64);
    filling.acquire();
    copyInto(reader, list, 64);
    std::thread teardown([&] { reader.teardownWorkerThread(); });
    while (!reader.worker()->mStopRequested) {
        std::this_thread::yield();
    }
    mayFill.release();
    teardown.join();
    EXPECT_EQ(reader.fills, 4) << "the one it was at";
    EXPECT_TRUE(reader.inProgress(1));
}

TEST_F(Queue, AClosedGateDeliversNothingCountsNothingAndEndsNothing) {
    Reader reader(2, 64, 100);
    reader.prime();
    copyInto(reader, list, 100);
    ASSERT_TRUE(BRAQAudioBufferQueueReachedEndOfStream(&reader));
    reader.seek(0);
    BQueueableAudioBufferSetInProgress(reader.buffer(0), true); // would count an error
    {
        const ClosedStretch outer(reader.gate());
        {
            const ClosedStretch inner(reader.gate());
            EXPECT_EQ(copyInto(reader, list, 64), 0U);
        }
        EXPECT_EQ(copyInto(reader, list, 64), 0U) << "it nests";
        EXPECT_EQ(reader.errorCount(), 0U);
    }
    BQueueableAudioBufferSetInProgress(reader.buffer(0), false);
    EXPECT_EQ(copyInto(reader, list, 100), 100U);
    {
        const ClosedStretch closed(reader.gate());
        EXPECT_FALSE(BRAQAudioBufferQueueReachedEndOfStream(&reader));
    }
    EXPECT_TRUE(BRAQAudioBufferQueueReachedEndOfStream(&reader));
}

TEST_F(Queue, AClosedGateTakesNothing) {
    Writer writer(2, 64);
    braq::tests::number(list.get(), 0, 64);
    {
        const ClosedStretch closed(writer.gate());
        braq::tests::runRealtime([&] { BRAQAudioBufferQueueCopyFrom(&writer, list.get(), 64); });
    }
    EXPECT_EQ(writer.currentIndex(), 0U);
    EXPECT_EQ(writer.errorCount(), 0U);
    writer.flush();
    EXPECT_TRUE(writer.written.empty());
}

TEST_F(Queue, PrimeWaitsUntilTheWorkerIsAtNoBuffer) {
    std::binary_semaphore filling{0};
    std::binary_semaphore mayFill{0};
    std::atomic<bool> blockNext = false;
    std::atomic<bool> primed = false;
    Reader reader(3, 64);
    reader.beforeFill = [&](BQueueableAudioBuffer*) {
        if (blockNext.exchange(false)) {
            filling.release();
            mayFill.acquire();
        }
    };
    reader.prime();
    blockNext = true;
    copyInto(reader, list, 128);
    filling.acquire();
    std::thread control([&] {
        reader.seek(1000); // fills alone, or the reader says so
        primed = true;
    });
    while (!reader.gate().isClosed()) {
        std::this_thread::yield();
    }
    EXPECT_EQ(copyInto(reader, list, 64), 0U);
    EXPECT_FALSE(primed);
    mayFill.release();
    control.join();
    EXPECT_EQ(copyInto(reader, list, 64), 64U);
    list.expectNumbered(0, 1000, 64);
    EXPECT_EQ(reader.errorCount(), 0U);
}

// What `prime` and `flush` wait for, held: the worker inside a buffer, or the real-time side inside a copy.
class ControlOperations : public testing::Test {
  protected:
    ~ControlOperations() override {
        mayGoOn.release();
        if (control.joinable()) {
            control.join();
        }
    }
    std::function<void(BQueueableAudioBuffer*)> holdOnce() {
        return [this](BQueueableAudioBuffer*) {
            if (hold.exchange(false)) {
                held.release();
                mayGoOn.acquire();
            }
        };
    }
    // Runs `operation` on a control thread and expects that it processes nothing until `letGo` was called.
    template <class Operation, class Count, class LetGo>
    void expectToWait(Operation operation, Count count, LetGo letGo, BRAQAudioBufferQueueGate& gate) {
        const int before = count();
        control = std::thread(operation);
        while (!gate.isClosed()) {
            std::this_thread::yield();
        }
        for (int i = 0; i < 2000; ++i) {
            std::this_thread::yield();
            ASSERT_EQ(count(), before);
        }
        letGo();
        control.join();
        EXPECT_GT(count(), before);
    }

    FrameList list{queue_test::channels, 256};
    std::atomic<bool> hold = false;
    std::binary_semaphore held{0};
    std::binary_semaphore mayGoOn{0};
    std::thread control;
};

TEST_F(ControlOperations, PrimeWaitsForTheWorker) {
    Reader reader(3, 64);
    reader.beforeFill = holdOnce();
    reader.prime();
    hold = true;
    copyInto(reader, list, 64);
    held.acquire();
    expectToWait([&] { reader.prime(); }, [&] { return reader.fills.load(); }, [&] { mayGoOn.release(); },
                 reader.gate());
}

TEST_F(ControlOperations, PrimeWaitsForACopyThatIsUnderWay) {
    Reader reader(3, 64);
    reader.prime();
    ASSERT_TRUE(reader.gate().enter());
    expectToWait([&] { reader.prime(); }, [&] { return reader.fills.load(); }, [&] { reader.gate().leave(); },
                 reader.gate());
}

TEST_F(ControlOperations, FlushWaitsForTheWorker) {
    Writer writer(3, 64);
    writer.beforeWrite = holdOnce();
    hold = true;
    braq::tests::number(list.get(), 0, 100);
    BRAQAudioBufferQueueCopyFrom(&writer, list.get(), 100);
    held.acquire();
    expectToWait([&] { writer.flush(); }, [&] { return writer.writes.load(); }, [&] { mayGoOn.release(); },
                 writer.gate());
    EXPECT_EQ(writer.writes, 2);
}

TEST_F(ControlOperations, FlushWaitsForACopyThatIsUnderWay) {
    Writer writer(3, 64);
    braq::tests::number(list.get(), 0, 20);
    BRAQAudioBufferQueueCopyFrom(&writer, list.get(), 20);
    ASSERT_TRUE(writer.gate().enter());
    expectToWait([&] { writer.flush(); }, [&] { return writer.writes.load(); }, [&] { writer.gate().leave(); },
                 writer.gate());
}

TEST_F(ControlOperations, TeardownWaitsForACopyThatIsUnderWay) {
    Reader reader(3, 64);
    reader.prime();
    ASSERT_TRUE(reader.gate().enter());
    control = std::thread([&] { reader.teardownWorkerThread(); });
    while (!reader.gate().isClosed()) {
        std::this_thread::yield();
    }
    bool isStopped = false;
    for (int i = 0; i < 2000; ++i) {
        std::this_thread::yield();
        isStopped = isStopped || reader.worker() == nullptr || reader.worker()->mStopRequested;
    }
    EXPECT_FALSE(isStopped);
    reader.gate().leave();
    control.join();
    EXPECT_EQ(reader.worker(), nullptr);
}

// Held up at the last link of its chain, the worker has nothing more to follow, whatever that link leads to by then.
TEST_F(Queue, AWorkerHeldUpAtTheEndOfItsChainLosesNothing) {
    Reader reader(4, 16);
    reader.prime();
    WorkerHold hold(WorkerPoint::flagCleared, reader.buffer(1));
    EXPECT_EQ(copyInto(reader, list, 16), 16U);
    reader.waitUntilWorkerIsIdle();
    EXPECT_EQ(copyInto(reader, list, 16), 16U);
    hold.waitUntilHeld();
    EXPECT_EQ(copyInto(reader, list, 64), 64U) << "2, 3, 0 and 1 once more";
    list.expectNumbered(0, 32, 64);
    hold.release();
    reader.waitUntilWorkerIsIdle();
    EXPECT_EQ(reader.errorCount(), 0U);
    for (UInt64 frame = 96; frame < 400; frame += 16) {
        EXPECT_EQ(copyInto(reader, list, 16), 16U);
        list.expectNumbered(0, frame, 16);
        reader.waitUntilWorkerIsIdle();
    }
}

// A worker held up between clearing a flag and reading the link, while the real-time side drains that buffer and queues
// it again.
TEST_F(Queue, AWorkerHeldUpInsideItsChainLosesNothing) {
    std::binary_semaphore filling{0};
    std::binary_semaphore mayFill{0};
    std::atomic<bool> blockNext = false;
    Reader reader(4, 16);
    reader.beforeFill = [&](BQueueableAudioBuffer*) {
        if (blockNext.exchange(false)) {
            filling.release();
            mayFill.acquire();
        }
    };
    reader.prime();
    WorkerHold hold(WorkerPoint::flagCleared, reader.buffer(1));
    blockNext = true;
    EXPECT_EQ(copyInto(reader, list, 16), 16U);
    filling.acquire(); // the worker is at buffer 0, so 1 and 2 become one chain
    EXPECT_EQ(copyInto(reader, list, 32), 32U);
    mayFill.release();
    hold.waitUntilHeld();
    ASSERT_FALSE(reader.inProgress(1));
    ASSERT_TRUE(reader.inProgress(2));
    EXPECT_EQ(copyInto(reader, list, 64), 48U) << "buffers 3, 0 and 1 once more, then 2 is missing";
    EXPECT_EQ(reader.errorCount(), 1U);
    list.expectNumbered(0, 48, 48);
    hold.release();
    reader.waitUntilWorkerIsIdle();

    for (UInt64 i = 0; i < 4; ++i) {
        EXPECT_FALSE(reader.inProgress(i));
    }
    for (UInt64 frame = 96; frame < 400; frame += 16) {
        EXPECT_EQ(copyInto(reader, list, 16), 16U);
        list.expectNumbered(0, frame, 16);
        reader.waitUntilWorkerIsIdle();
    }
    EXPECT_EQ(reader.errorCount(), 1U);
}

TEST_F(Queue, LetsItsBuffersWorkerAndDescriptionGo) {
    const auto description = planarStereo();
    {
        const auto queue = BRAQAudioBufferQueue::initWithBufferCount(3, 512, description);
        EXPECT_EQ(description.use_count(), 2);
    }
    EXPECT_EQ(description.use_count(), 1);
}

} // namespace
