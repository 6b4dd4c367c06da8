// What a fill of a buffer reads, and where it leaves the read head.

#include "tests/src/FileFixture.h"
#include "tests/src/FileHook.h"
#include "tests/src/OpenStreamers.h"
#include "tests/support/CapturedLog.h"

namespace {

using braq::tests::CapturedLog;
using braq::tests::FileHook;
using braq::tests::sampleOf;
using streamer_test::MadeUpFile;
using streamer_test::Reader;

/// A reader that was not started: buffers are filled by hand.
class ReaderFill : public FileTest {
  protected:
    void openFile(UInt64 frames) {
        file = BRAQExtendedAudioFile::initForPlaybackWithFilename(numbered(frames));
        reader.setAudioFile(file);
    }
    void fill(UInt64 index = 0) { reader.processBuffer(reader.buffer(index)); }
    /// Fills a buffer and expects what it holds and where the head is then.
    void expectFill(UInt32 frames, SInt64 head, bool endOfStream = false) {
        fill();
        EXPECT_EQ(reader.framesIn(0), frames);
        EXPECT_EQ(reader.currentFrame(), head);
        EXPECT_EQ(reader.isLast(0), endOfStream);
    }
    void expectFrames(UInt64 first, UInt32 frames) {
        braq::tests::expectNumbered(BAudioBufferAudioBufferList(&reader.buffer(0)->mAudioBuffer), 0, first, frames);
    }
    void expectFramesBackwards(UInt64 first, UInt32 frames) {
        const auto* const list = BAudioBufferAudioBufferList(&reader.buffer(0)->mAudioBuffer);
        for (UInt32 channel = 0; channel < streamer_test::channels; ++channel) {
            for (UInt32 frame = 0; frame < frames; ++frame) {
                ASSERT_EQ(static_cast<const Float32*>(list->mBuffers[channel].mData)[frame],
                          sampleOf(first - frame, channel));
            }
        }
    }

    Reader reader{2, 4096};
    std::shared_ptr<BRAQExtendedAudioFile> file;
};

TEST_F(ReaderFill, EndsTheStreamWithTheFirstEmptyOne) {
    openFile(5000);
    expectFill(4096, 4096);
    expectFrames(0, 4096);
    expectFill(904, 5000);
    expectFrames(4096, 904);
    expectFill(0, 5000, true);
    reader.setCurrentFrame(10);
    expectFill(4096, 4106);
    expectFrames(10, 4096);
}

TEST_F(ReaderFill, RemembersWhereInTheFileItBegan) {
    openFile(9000);
    reader.setCurrentFrame(100);
    fill(0);
    fill(1);
    EXPECT_EQ(BQueueableAudioBufferFileStartFrame(reader.buffer(0)), 100);
    EXPECT_EQ(BQueueableAudioBufferFileStartFrame(reader.buffer(1)), 4196);
}

TEST_F(ReaderFill, LeavesTheListOfTheBufferAsItWas) {
    openFile(10);
    fill();
    EXPECT_EQ(BAudioBufferAudioBufferList(&reader.buffer(0)->mAudioBuffer)->mBuffers[1].mDataByteSize, 4096 * 4U);
}

TEST_F(ReaderFill, StopsAtTheEndOfALoopAndGoesBackWithAnEmptyBuffer) {
    openFile(20000);
    reader.enableLoopingInRange({.location = 1000, .length = 5000});
    reader.setCurrentFrame(1000);
    for (int round = 0; round < 3; ++round) {
        expectFill(4096, 5096);
        expectFrames(1000, 4096);
        expectFill(904, 6000);
        expectFrames(5096, 904);
        expectFill(0, 1000);
    }
}

TEST_F(ReaderFill, PlaysALoopWithoutLengthToTheEndOfTheFile) {
    openFile(5000);
    reader.enableLoopingInRange({.location = 1000, .length = 0});
    reader.setCurrentFrame(2000);
    expectFill(3000, 5000);
    expectFill(0, 1000);
    expectFill(4000, 5000);
    expectFrames(1000, 4000);
}

TEST_F(ReaderFill, GoesBackIntoTheLoopFromBeyondItsEnd) {
    const CapturedLog log; // the read that is too large is in it
    openFile(20000);
    reader.enableLoopingInRange({.location = 1000, .length = 5000});
    reader.setCurrentFrame(7000);
    expectFill(0, 1000);
    expectFill(4096, 5096);
    expectFrames(1000, 4096);
}

TEST_F(ReaderFill, PlaysWhatLiesBeforeALoopFirst) {
    openFile(20000);
    reader.enableLoopingInRange({.location = 5000, .length = 1000});
    expectFill(4096, 4096);
    expectFrames(0, 4096);
    expectFill(1904, 6000);
}

TEST_F(ReaderFill, TakesALoopAsLongAsAFileCanBe) {
    openFile(5000);
    reader.enableLoopingInRange({.location = 0, .length = ~UInt64{0}});
    expectFill(4096, 4096);
    expectFill(904, 5000);
    expectFill(0, 0);
}

TEST_F(ReaderFill, ReadsBackwardsToTheBeginningOfTheFile) {
    openFile(20000);
    reader.setReverse(true);
    reader.setCurrentFrame(5000);
    expectFill(4096, 904);
    expectFramesBackwards(4999, 4096);
    expectFill(904, 0);
    expectFramesBackwards(903, 904);
    expectFill(0, 0, true);
}

TEST_F(ReaderFill, PlaysALoopBackwardsOnceAndThenNothing) {
    openFile(20000);
    reader.setReverse(true);
    reader.enableLoopingInRange({.location = 1000, .length = 5000});
    reader.setCurrentFrame(5000);
    expectFill(1000, 4000);
    expectFramesBackwards(4999, 1000);
    expectFill(2000, 2000);
    expectFramesBackwards(3999, 2000);
    expectFill(2000, 6000);
    expectFramesBackwards(1999, 2000); // below the loop
    for (int i = 0; i < 3; ++i) {
        expectFill(0, 6000);
    }
}

TEST_F(ReaderFill, GoesBackwardsFromTheBeginningToTheLocationOfALoopWithoutLength) {
    openFile(20000);
    reader.setReverse(true);
    reader.enableLoopingInRange({.location = 3000, .length = 0});
    reader.setCurrentFrame(1000);
    expectFill(1000, 0);
    expectFill(0, 3000);
    expectFill(3000, 0);
    expectFramesBackwards(2999, 3000);
}

// The difference to the end of the loop wraps in 32 bits; so far before its beginning the file has no frames to read.
TEST_F(ReaderFill, SurvivesABackwardsHeadBeyondTheEndOfTheLoop) {
    const CapturedLog log; // the read that is too large is in it
    openFile(20000);
    reader.setReverse(true);
    reader.enableLoopingInRange({.location = 1000, .length = 1000});
    reader.setCurrentFrame(9000);
    expectFill(0, 2000);
    expectFill(0, 2000);
}

TEST_F(ReaderFill, AfterAChangeOfDirectionBeginsAtTheHead) {
    openFile(20000);
    reader.setCurrentFrame(10000);
    expectFill(4096, 14096);
    reader.setReverse(true);
    EXPECT_TRUE(reader.reverse());
    expectFill(4096, 10000);
    expectFramesBackwards(14095, 4096);
    expectFill(4096, 5904);
    expectFramesBackwards(9999, 4096);
    reader.setReverse(false);
    expectFill(4096, 10000);
    expectFrames(5904, 4096);
}

TEST_F(ReaderFill, OfAReadThatFailsEndsTheStream) {
    openFile(20000);
    const FileHook hook("ExtAudioFileRead", 0, -50);
    expectFill(0, 0, true);
}

TEST_F(ReaderFill, WithoutAFileEndsTheStream) {
    expectFill(0, 0, true);
    EXPECT_FALSE(reader.reverse());
    reader.setReverse(true);
    EXPECT_FALSE(reader.reverse());
}

TEST_F(ReaderFill, PassesOnWhatTheFileRaises) {
    const auto madeUp = std::make_shared<MadeUpFile>();
    madeUp->beforeSeek = [] { throw NSException("seek", "no"); };
    reader.setAudioFile(madeUp);
    reader.setReverse(true);
    EXPECT_THROW(fill(), NSException) << "it wants to go to the head";
    EXPECT_EQ(reader.currentFrame(), 0);
    EXPECT_THROW(reader.setCurrentFrame(5), NSException);
}

} // namespace
