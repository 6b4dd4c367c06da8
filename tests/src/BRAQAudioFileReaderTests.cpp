// A reader that plays: this thread takes the part of the real-time side, a step at a time.

#include "tests/src/FileFixture.h"
#include "tests/src/OpenStreamers.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/RealtimeGuard.h"

#include <atomic>
#include <cstdint>
#include <fstream>
#include <semaphore>
#include <thread>

namespace {

using braq::tests::CapturedLog;
using braq::tests::FrameList;
using streamer_test::drain;
using streamer_test::MadeUpFile;
using streamer_test::planarStereoAt48k;
using streamer_test::Reader;
using testing::ElementsAre;
using testing::HasSubstr;

class FileReader : public FileTest {
  protected:
    void openFile(UInt64 frames) {
        reader.setAudioFile(BRAQExtendedAudioFile::initForPlaybackWithFilename(numbered(frames)));
    }
    /// Takes `frames` frames, a buffer at a time, and expects them to be those from `first` on.
    void expectPlays(UInt64 first, UInt32 frames) {
        for (UInt32 done = 0; done < frames;) {
            const UInt32 got = drain(reader, list, std::min(frames - done, 64U));
            ASSERT_GT(got, 0U) << "after " << done << " frames";
            list.expectNumbered(0, first + done, got);
            done += got;
            reader.settle();
        }
    }

    Reader reader{3, 64};
    const FrameList list{2, 1024};
};

TEST_F(FileReader, PlaysEveryFrameInOrderAndThenEnds) {
    openFile(1000);
    reader.start();
    EXPECT_TRUE(reader.running());
    expectPlays(0, 1000);
    for (int i = 0; i < 3 && !BRAQAudioBufferQueueReachedEndOfStream(&reader); ++i) {
        EXPECT_EQ(drain(reader, list, 64), 0U);
        reader.settle();
    }
    EXPECT_TRUE(reader.endOfStream());
    EXPECT_EQ(reader.errorCount(), 0U);
    EXPECT_EQ(reader.lastError(), nullptr);
}

TEST_F(FileReader, SaysWhatIsHeardWhileItRunsAndWhereItReadsWhileItDoesNot) {
    openFile(1000);
    EXPECT_EQ(reader.currentFrame(), 0);
    reader.start();
    EXPECT_EQ(reader.currentFrame(), 0);
    drain(reader, list, 100);
    EXPECT_EQ(reader.currentFrame(), 100);
    EXPECT_EQ(BRAQAudioFileReaderGetCurrentFrame(&reader), 100);
    reader.settle();
    reader.stop();
    EXPECT_FALSE(reader.running());
    EXPECT_EQ(reader.currentFrame(), 256) << "three buffers and the one that was refilled";
    EXPECT_EQ(BRAQAudioFileReaderGetCurrentFrame(&reader), 100);
}

TEST_F(FileReader, KeepsWhatItReadWhenItIsStopped) {
    openFile(1000);
    reader.start();
    reader.stop();
    EXPECT_EQ(drain(reader, list, 50), 50U);
    list.expectNumbered(0, 0, 50);
}

TEST_F(FileReader, ClearsUnderrunsAndTheEndWhenItStarts) {
    openFile(100);
    reader.start();
    BQueueableAudioBufferSetInProgress(reader.buffer(0), true);
    EXPECT_EQ(drain(reader, list, 10), 0U);
    EXPECT_EQ(reader.errorCount(), 1U);
    reader.setCurrentFrame(100);
    EXPECT_EQ(reader.errorCount(), 0U) << "a seek starts it anew";
    EXPECT_EQ(drain(reader, list, 10), 0U);
    EXPECT_TRUE(reader.endOfStream());
    reader.setCurrentFrame(0);
    EXPECT_FALSE(reader.endOfStream());
    expectPlays(0, 100);
}

TEST_F(FileReader, SeeksWhileItIsStopped) {
    openFile(1000);
    reader.setCurrentFrame(500);
    EXPECT_EQ(reader.currentFrame(), 500);
    EXPECT_FALSE(reader.running());
    reader.start();
    expectPlays(500, 200);
}

TEST_F(FileReader, SeeksWhileItRunsAndDropsWhatItHadRead) {
    openFile(1000);
    reader.start();
    expectPlays(0, 100);
    reader.setCurrentFrame(700);
    EXPECT_TRUE(reader.running());
    EXPECT_EQ(reader.currentFrame(), 700);
    expectPlays(700, 300);
    reader.setCurrentFrame(3);
    expectPlays(3, 300);
}

TEST_F(FileReader, TakesTheStepsOfASeekInOrder) {
    const auto file = std::make_shared<MadeUpFile>();
    reader.setAudioFile(file);
    reader.start();
    drain(reader, list, 10);
    file->calls.clear();
    reader.setCurrentFrame(5000);
    EXPECT_THAT(file->calls, ElementsAre("read 192 64", "seek 5000", "read 5000 64", "read 5064 64", "read 5128 64"));
}

TEST_F(FileReader, IsStoppedByASeekThatFails) {
    const auto file = std::make_shared<MadeUpFile>();
    reader.setAudioFile(file);
    reader.start();
    file->beforeSeek = [] { throw NSException("seek", "no"); };
    EXPECT_THROW(reader.setCurrentFrame(5000), NSException);
    EXPECT_FALSE(reader.running());
    EXPECT_FALSE(reader.gate().isClosed());
}

TEST_F(FileReader, KeepsWhatTheFileRaisesOnTheWorker) {
    const CapturedLog log;
    const auto file = std::make_shared<MadeUpFile>();
    reader.setAudioFile(file);
    reader.start();
    file->beforeRead = [] { throw NSException("read", "the cable is out"); };
    drain(reader, list, 64 * 3);
    reader.settle();
    ASSERT_NE(reader.lastError(), nullptr);
    EXPECT_EQ(reader.lastError()->localizedDescription(), "the cable is out");
    EXPECT_EQ(log.errors().size(), 1U) << "one line for a run of failures";
}

TEST_F(FileReader, EndsWhereTheFileRaisesOnTheWorkerAndGoesOnThereWhenItIsStartedAgain) {
    const CapturedLog log;
    const auto file = std::make_shared<MadeUpFile>();
    reader.setAudioFile(file);
    reader.start();
    file->beforeRead = [] { throw NSException("read", "the cable is out"); };
    EXPECT_EQ(drain(reader, list, 64), 64U);
    reader.settle();
    EXPECT_EQ(drain(reader, list, 1000), 128U) << "what was read before";
    EXPECT_EQ(drain(reader, list, 64), 0U);
    EXPECT_TRUE(BRAQAudioBufferQueueReachedEndOfStream(&reader));
    reader.settle();
    file->beforeRead = nullptr;
    reader.stop();
    file->calls.clear();
    reader.start();
    EXPECT_THAT(file->calls, ElementsAre("seek 192", "read 192 64", "read 256 64", "read 320 64"));
    EXPECT_FALSE(BRAQAudioBufferQueueReachedEndOfStream(&reader));
}

TEST_F(FileReader, ALoopWhoseSeekFailsEndsAndIsAtItsSeamAfterwards) {
    const CapturedLog log;
    const auto file = std::make_shared<MadeUpFile>();
    reader.setAudioFile(file);
    reader.setRepeat({.location = 10, .length = 246}, 3);
    reader.start(); // up to 192
    file->beforeSeek = [] { throw NSException("seek", "the cable is out"); };
    EXPECT_EQ(drain(reader, list, 64), 64U); // up to the seam
    reader.settle();
    EXPECT_EQ(drain(reader, list, 64), 64U);
    reader.settle();
    drain(reader, list, 1000);
    reader.settle();
    EXPECT_TRUE(BRAQAudioBufferQueueReachedEndOfStream(&reader));
    ASSERT_NE(reader.lastError(), nullptr);
    file->beforeSeek = nullptr;
    file->calls.clear();
    reader.stop();
    reader.start();
    EXPECT_THAT(file->calls, ElementsAre("seek 10", "read 10 64", "read 74 64", "read 138 64")) << "the second round";
}

TEST_F(FileReader, LoopsFromWhatIsHeardIfThatIsInsideTheRange) {
    openFile(1000);
    reader.start();
    expectPlays(0, 130);
    reader.enableLoopingInRange({.location = 100, .length = 200});
    EXPECT_TRUE(reader.isLooping());
    EXPECT_EQ(reader.loopRange(), (BRAQFrameRange{100, 200}));
    EXPECT_EQ(reader.currentFrame(), 130);
    expectPlays(130, 170);
    drain(reader, list, 0); // the empty buffer of the turn
    reader.settle();
    expectPlays(100, 200);
}

TEST_F(FileReader, LoopsFromTheBeginningOfTheRangeOtherwise) {
    openFile(1000);
    for (const UInt32 heard : {0U, 50U, 600U}) {
        SCOPED_TRACE(heard);
        reader.setCurrentFrame(heard);
        reader.start();
        reader.enableLoopingInRange({.location = 100, .length = 500});
        EXPECT_EQ(reader.currentFrame(), 100);
        expectPlays(100, 200);
        reader.stop();
        reader.disableLooping();
    }
}

TEST_F(FileReader, LeavesItsHeadWhereItIsWhenTheLoopChangesWhileItIsStopped) {
    openFile(1000);
    reader.setCurrentFrame(700);
    reader.enableLoopingInRange({.location = 100, .length = 500});
    EXPECT_EQ(reader.currentFrame(), 700);
    EXPECT_TRUE(reader.isLooping());
    reader.disableLooping();
    EXPECT_EQ(reader.currentFrame(), 700);
    EXPECT_FALSE(reader.isLooping());
    EXPECT_EQ(reader.loopRange(), (BRAQFrameRange{100, 500}));
}

TEST_F(FileReader, PlaysOnWhenLoopingEnds) {
    openFile(1000);
    reader.setCurrentFrame(100);
    reader.enableLoopingInRange({.location = 100, .length = 100});
    reader.start();
    expectPlays(100, 90);
    reader.disableLooping();
    EXPECT_EQ(reader.currentFrame(), 190);
    EXPECT_EQ(reader.loopRange(), (BRAQFrameRange{100, 100}));
    expectPlays(190, 500);
}

TEST_F(FileReader, ChangesJustTheLoopWithoutDroppingAnything) {
    openFile(1000);
    reader.setLoopRange({.location = 0, .length = 500});
    reader.start();
    expectPlays(0, 64);
    reader.setLooping(true);
    expectPlays(64, 436);
    drain(reader, list, 0);
    reader.settle();
    expectPlays(0, 100);
}

TEST_F(FileReader, PlaysWhatItHadReadBeforeItTurnsRound) {
    openFile(1000);
    reader.setCurrentFrame(200);
    reader.start();
    reader.setReverse(true);
    UInt64 expected = 200;
    for (; expected < 392; expected += 64) {
        EXPECT_EQ(drain(reader, list, 64), 64U);
        list.expectNumbered(0, expected, 64);
        reader.settle();
    }
    EXPECT_EQ(drain(reader, list, 64), 64U);
    EXPECT_EQ(streamer_test::frameOf(list.sample(0, 0)), 391U);
    EXPECT_EQ(streamer_test::frameOf(list.sample(0, 63)), 328U);
    EXPECT_EQ(reader.currentFrame(), 328) << "where the next buffer was filled";
    drain(reader, list, 10);
    EXPECT_EQ(reader.currentFrame(), 338) << "counts up within a buffer";
}

TEST_F(FileReader, TurnsAtOnceAndGoesOnWithTheFrameThatWasDeliveredLast) {
    openFile(100'000);
    reader.setCurrentFrame(50'000);
    reader.start();
    SInt64 last = 49'999; // delivered last
    for (UInt32 turn = 1; turn <= 400; ++turn) {
        const bool backwards = turn % 2 != 0;
        reader.turn(backwards);
        EXPECT_EQ(reader.position(), backwards ? last + 1 : last);
        for (UInt32 left = 1 + turn * 37 % 300; left != 0;) {
            const UInt32 got = drain(reader, list, std::min(left, 64U));
            ASSERT_GT(got, 0U) << turn;
            const auto first = static_cast<SInt64>(streamer_test::frameOf(list.sample(0, 0)));
            if (turn > 1 && left == 1 + turn * 37 % 300) {
                ASSERT_EQ(first, last) << "jumps in turn " << turn;
            }
            last = static_cast<SInt64>(streamer_test::frameOf(list.sample(0, got - 1)));
            ASSERT_EQ(last - first, (backwards ? -1 : 1) * (static_cast<SInt64>(got) - 1)) << turn;
            reader.settle();
            ASSERT_EQ(reader.position(), backwards ? last : last + 1) << turn;
            ASSERT_EQ(BRAQAudioFileReaderGetPosition(&reader), reader.position());
            left -= got;
        }
    }
}

TEST_F(FileReader, TurnedWhereItGoesAlreadyItDropsNothing) {
    const auto file = std::make_shared<MadeUpFile>();
    reader.setAudioFile(file);
    reader.start();
    file->calls.clear();
    reader.turn(false);
    EXPECT_TRUE(file->calls.empty());
    reader.setReverse(true);
    reader.turn(false); // nothing is read backwards yet
    EXPECT_THAT(file->calls, ElementsAre("seek 0", "read 0 64", "read 64 64", "read 128 64"));
    EXPECT_FALSE(reader.reverse());
}

TEST_F(FileReader, TurnedWhileItIsStoppedItReadsInThatDirectionFromItsHead) {
    openFile(1000);
    reader.setCurrentFrame(500);
    reader.turn(true);
    EXPECT_FALSE(reader.running());
    EXPECT_EQ(reader.position(), 500);
    reader.start();
    drain(reader, list, 10);
    EXPECT_EQ(streamer_test::frameOf(list.sample(0, 0)), 499U);
    EXPECT_EQ(reader.position(), 490);
}

TEST_F(FileReader, TurnedAtAnEndItGoesBack) {
    openFile(100);
    reader.setCurrentFrame(60);
    reader.start();
    drain(reader, list, 64);
    reader.settle();
    drain(reader, list, 64);
    ASSERT_TRUE(reader.endOfStream());
    reader.turn(true);
    EXPECT_FALSE(reader.endOfStream());
    drain(reader, list, 1);
    EXPECT_EQ(streamer_test::frameOf(list.sample(0, 0)), 99U);
}

// A file of two seconds more than single precision can count, of which only those two seconds are written.
TEST_F(FileReader, ReadsEveryFrameOfALongFileBackwards) {
    constexpr UInt64 written = 51'200;
    constexpr UInt64 frames = 16'777'216 + written;
    constexpr UInt32 bytesPerFrame = 4;
    const auto valueOf = [](UInt64 frame) { return static_cast<std::int16_t>(frame % 32'749); };
    {
        std::ofstream file(path("long.wav"), std::ios::binary);
        const auto put = [&](auto value) { file.write(reinterpret_cast<const char*>(&value), sizeof(value)); };
        file << "RIFF";
        put(static_cast<UInt32>(36 + frames * bytesPerFrame));
        file << "WAVEfmt ";
        put(UInt32{16});
        put(std::uint16_t{1});
        put(std::uint16_t{2});
        put(UInt32{48'000});
        put(UInt32{48'000 * bytesPerFrame});
        put(std::uint16_t{bytesPerFrame});
        put(std::uint16_t{16});
        file << "data";
        put(static_cast<UInt32>(frames * bytesPerFrame));
        file.seekp(static_cast<std::streamoff>((frames - written) * bytesPerFrame), std::ios::cur);
        for (UInt64 frame = frames - written; frame < frames; ++frame) {
            put(valueOf(frame));
            put(valueOf(frame));
        }
    }
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(path("long.wav"));
    ASSERT_EQ(file->exactFrameCount(), static_cast<SInt64>(frames));
    reader.setAudioFile(file);
    reader.setReverse(true);
    reader.setCurrentFrame(static_cast<SInt64>(frames - 1));
    reader.start();
    UInt64 next = frames - 2;
    UInt32 wrongBlocks = 0;
    for (int block = 0; block < 799; ++block) {
        ASSERT_EQ(drain(reader, list, 64), 64U);
        bool isWrong = false;
        for (UInt32 i = 0; i < 64; ++i, --next) {
            isWrong = isWrong || list.sample(0, i) * 32'768.0F != static_cast<Float32>(valueOf(next));
        }
        wrongBlocks += isWrong ? 1 : 0;
        reader.settle();
    }
    EXPECT_EQ(wrongBlocks, 0U) << "of 799";
    reader.turn(false);
    EXPECT_EQ(reader.position(), static_cast<SInt64>(next + 1));
    drain(reader, list, 1);
    EXPECT_EQ(list.sample(0, 0) * 32'768.0F, static_cast<Float32>(valueOf(next + 1)));
}

TEST_F(FileReader, KeepsTheRealtimeRules) {
    openFile(10000);
    reader.start();
    SInt64 heard = 0;
    braq::tests::runRealtime([&] {
        for (int cycle = 0; cycle < 4; ++cycle) {
            UInt32 frames = 40;
            BRAQAudioBufferQueueCopyInto(&reader, list.get(), &frames);
            heard = BRAQAudioFileReaderGetCurrentFrame(&reader);
        }
    });
    EXPECT_EQ(heard, 160);
}

TEST_F(FileReader, IsNeverAheadOfWhatIsHeardWhileItsWorkerReads) {
    const auto file = std::make_shared<MadeUpFile>();
    std::atomic<SInt64> taken{0}; // counted before it is taken
    std::atomic<SInt64> farthestAhead{0};
    reader.setAudioFile(file);
    file->beforeRead = [&] {
        // Primed by this thread first; then on the worker, which a buffer wakes before the ring has returned.
        const SInt64 ahead = BRAQAudioFileReaderGetCurrentFrame(&reader) - taken;
        farthestAhead = std::max(farthestAhead.load(), ahead);
    };
    reader.start();
    for (int i = 0; i < 10'000; ++i) {
        taken += 64;
        drain(reader, list, 64);
        reader.settle();
    }
    EXPECT_LE(farthestAhead, 0);
    EXPECT_EQ(reader.errorCount(), 0U);
}

TEST_F(FileReader, NeitherFillsNorDeliversWhileItSeeks) {
    const auto file = std::make_shared<MadeUpFile>();
    reader.setAudioFile(file);
    reader.start();
    std::binary_semaphore seeking{0};
    std::binary_semaphore maySeek{0};
    file->beforeSeek = [&] {
        seeking.release();
        maySeek.acquire();
    };
    std::thread control([&] { reader.setCurrentFrame(5000); });
    seeking.acquire();
    EXPECT_EQ(drain(reader, list, 10), 0U);
    EXPECT_FALSE(BRAQAudioBufferQueueReachedEndOfStream(&reader));
    maySeek.release();
    control.join();
    EXPECT_EQ(reader.errorCount(), 0U) << "a closed gate is no underrun";
    expectPlays(5000, 100);
}

TEST(FileStreamer, IsAbstract) {
    const auto streamer = BRAQAudioFileStreamer::initWithBufferCount(2, 64, planarStereoAt48k());
    ASSERT_NE(streamer, nullptr);
    const auto reasonOf = [](const std::function<void()>& operation) -> std::string {
        try {
            operation();
        } catch (const NSException& raised) {
            EXPECT_EQ(raised.name(), NSInternalInconsistencyException);
            return raised.reason();
        }
        return "nothing was raised";
    };
    EXPECT_THAT(reasonOf([&] { streamer->start(); }),
                testing::AllOf(HasSubstr("-[BRAQAudioFileStreamer start]"), HasSubstr("BRAQAudioFileStreamer"),
                               HasSubstr("18"), HasSubstr("Abstract base class")));
    EXPECT_THAT(reasonOf([&] { streamer->stop(); }), testing::AllOf(HasSubstr("-[BRAQAudioFileStreamer stop]"),
                                                                    HasSubstr("22"), HasSubstr("Abstract base class")));
    EXPECT_FALSE(streamer->running());
    EXPECT_EQ(streamer->audioFile(), nullptr);
}

TEST(FileStreamer, IsNotMadeWithoutBuffersOrDescription) {
    const CapturedLog log;
    EXPECT_EQ(BRAQAudioFileStreamer::initWithBufferCount(0, 64, planarStereoAt48k()), nullptr);
    EXPECT_EQ(BRAQAudioFileReader::initWithBufferCount(3, 0, planarStereoAt48k()), nullptr);
    EXPECT_EQ(BRAQAudioFileWriter::initWithBufferCount(3, 64, nullptr), nullptr);
    EXPECT_EQ(log.errors().size(), 3U);
    EXPECT_NE(BRAQAudioFileReader::initWithBufferCount(3, 64, planarStereoAt48k()), nullptr);
    EXPECT_NE(BRAQAudioFileWriter::initWithBufferCount(3, 64, planarStereoAt48k()), nullptr);
}

TEST(FileStreamer, HoldsItsFile) {
    const auto file = std::make_shared<MadeUpFile>();
    {
        Reader reader(2, 64);
        reader.setAudioFile(file);
        EXPECT_EQ(reader.audioFile(), file);
        EXPECT_EQ(file.use_count(), 2);
        reader.setAudioFile(nullptr);
        EXPECT_EQ(file.use_count(), 1);
        reader.setAudioFile(file);
    }
    EXPECT_EQ(file.use_count(), 1);
}

} // namespace
