// A writer that is told of frames that went missing: this thread takes the part of the real-time side.

#include "tests/src/FileFixture.h"
#include "tests/src/OpenStreamers.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/RealtimeGuard.h"

namespace {

using braq::tests::CapturedLog;
using braq::tests::runRealtime;
using streamer_test::MadeUpFile;
using streamer_test::numbers;
using streamer_test::record;
using streamer_test::Writer;
using testing::ElementsAre;
using testing::Pair;

class FileWriterLostFrames : public FileTest {
  protected:
    FileWriterLostFrames() {
        writer.setAudioFile(file);
        writer.setLostStretchBlock(
            [this](const BRAQLostStretch& stretch) { told.emplace_back(stretch.frame, stretch.frames); });
    }

    /// The numbers of the frames that are expected in the file; 0 for silence.
    static std::vector<UInt64> after(std::vector<UInt64> frames, UInt64 silent, const std::vector<UInt64>& more) {
        frames.insert(frames.end(), silent, 0);
        frames.insert(frames.end(), more.begin(), more.end());
        return frames;
    }

    const std::shared_ptr<MadeUpFile> file = std::make_shared<MadeUpFile>();
    std::vector<std::pair<UInt64, UInt64>> told; // where buffers are processed
    Writer writer{3, 64};
};

TEST_F(FileWriterLostFrames, AreWrittenAsSilenceInTheirPlace) {
    writer.setWritesLostFrames(true);
    writer.start();
    record(writer, 1, 100);
    writer.settle();
    runRealtime([&] { writer.loseFrames({100, 10'000}); }); // more than is written at once
    record(writer, 101, 100);
    writer.settle();
    writer.loseFrames({200, 5});
    writer.stop();
    EXPECT_EQ(file->written, after(after(numbers(1, 101), 10'000, numbers(101, 201)), 5, {}));
    EXPECT_THAT(told, ElementsAre(Pair(100, 10'000), Pair(10'200, 5)));
}

TEST_F(FileWriterLostFrames, AreOnlyToldUnlessTheyAreToBeWritten) {
    writer.start();
    record(writer, 1, 100);
    writer.settle();
    writer.loseFrames({100, 1000});
    record(writer, 101, 100);
    writer.stop();
    EXPECT_EQ(file->written, numbers(1, 201));
    EXPECT_THAT(told, ElementsAre(Pair(100, 1000)));
}

TEST_F(FileWriterLostFrames, MayBeAtTheBeginAndAtTheEdgesOfBuffers) {
    writer.setWritesLostFrames(true);
    writer.start();
    writer.loseFrames({0, 3});
    record(writer, 1, 64);
    writer.loseFrames({64, 4});
    writer.loseFrames({64, 5});
    record(writer, 65, 1);
    writer.loseFrames({65, 6});
    record(writer, 66, 10);
    writer.stop();
    EXPECT_EQ(file->written, after(after(after({}, 3, numbers(1, 65)), 9, numbers(65, 66)), 6, numbers(66, 76)));
    EXPECT_THAT(told, ElementsAre(Pair(0, 3), Pair(67, 4), Pair(71, 5), Pair(77, 6)));
}

TEST_F(FileWriterLostFrames, AreWrittenOnceThoughWritingFailsInBetween) {
    const CapturedLog log;
    writer.setWritesLostFrames(true);
    writer.start();
    int writes = 0;
    file->beforeWrite = [&writes] {
        if (++writes % 2 == 0) {
            throw NSException(NSInternalInconsistencyException, "the disk is full");
        }
    };
    record(writer, 1, 10);
    writer.loseFrames({10, 20'000});
    record(writer, 11, 10);
    int failures = 0;
    while (true) {
        try {
            writer.stop();
            break;
        } catch (const NSException&) {
            ++failures;
        }
    }
    EXPECT_EQ(failures, 4) << "five writes: twice frames, three times silence";
    EXPECT_EQ(file->written, after(numbers(1, 11), 20'000, numbers(11, 21)));
    EXPECT_THAT(told, ElementsAre(Pair(10, 20'000)));
}

TEST_F(FileWriterLostFrames, KeepTheirPlaceFromOneStartToTheNext) {
    writer.setWritesLostFrames(true);
    for (UInt64 run = 0; run < 3; ++run) {
        writer.start();
        record(writer, run * 70 + 1, 70);
        writer.loseFrames({(run + 1) * 70, 2});
        writer.stop();
    }
    EXPECT_EQ(file->written, after(after(after(numbers(1, 71), 2, numbers(71, 141)), 2, numbers(141, 211)), 2, {}));
}

TEST_F(FileWriterLostFrames, AreWhatTheRingHasNoRoomFor) {
    writer.start();
    EXPECT_EQ(writer.droppedFrames(), 0U);
    {
        const BRAQAudioBufferQueueGate::ClosedStretch closed(writer.gate());
        record(writer, 1, 7);
    }
    EXPECT_EQ(writer.droppedFrames(), 7U);
    for (UInt64 buffer = 0; buffer < 3; ++buffer) {
        BQueueableAudioBufferSetInProgress(writer.buffer(buffer), true);
    }
    record(writer, 1, 100);
    EXPECT_EQ(writer.droppedFrames(), 107U);
    for (UInt64 buffer = 0; buffer < 3; ++buffer) {
        BQueueableAudioBufferSetInProgress(writer.buffer(buffer), false);
    }
    record(writer, 1, 100);
    EXPECT_EQ(writer.droppedFrames(), 107U);
    writer.stop();
}

} // namespace
