// A real-time thread and a control thread at one streamer at once, with a file on disk. The real-time side is paced to a
// buffer's worth a millisecond, as in the ring's own hammer.

#include "tests/src/FileFixture.h"
#include "tests/src/OpenStreamers.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace {

using braq::tests::FrameList;
using streamer_test::frameOf;

constexpr UInt32 framesInABuffer = 64;
constexpr UInt32 framesInABlock = 16;
constexpr UInt64 buffers = 16;
constexpr UInt64 fileFrames = 200'000;

class StreamerHammer : public FileTest {
  protected:
    /// Calls `cycle` four times a millisecond on a real-time side of its own for as long as `control` takes.
    template <class Cycle, class Control>
    static void hammer(Cycle cycle, Control control) {
        std::atomic<bool> done = false;
        std::thread realtime([&] {
            auto next = std::chrono::steady_clock::now();
            while (!done) {
                for (UInt32 frames = 0; frames < framesInABuffer; frames += framesInABlock) {
                    cycle();
                }
                next += std::chrono::milliseconds(1);
                std::this_thread::sleep_until(next);
            }
        });
        control();
        done = true;
        realtime.join();
    }
};

TEST_F(StreamerHammer, SeeksLoopsAndTurnsNeverTearAFrameNorGiveTwoPlacesAtOnce) {
    streamer_test::Reader reader(buffers, framesInABuffer);
    reader.setAudioFile(BRAQExtendedAudioFile::initForPlaybackWithFilename(numbered(fileFrames)));
    reader.start();
    const FrameList list(2, framesInABlock);
    std::atomic<UInt64> delivered = 0;
    std::atomic<UInt64> torn = 0;
    std::atomic<UInt64> jumpsInside = 0;
    hammer(
        [&] {
            UInt32 frames = framesInABlock;
            BRAQAudioBufferQueueCopyInto(&reader, list.get(), &frames);
            BRAQAudioFileReaderGetCurrentFrame(&reader);
            delivered += frames;
            for (UInt32 i = 0; i < frames; ++i) {
                torn += list.sample(1, i) != list.sample(0, i) + 1 ? 1U : 0U;
            }
            for (UInt32 i = 1; i < frames; ++i) {
                const auto step = static_cast<SInt64>(frameOf(list.sample(0, i))) -
                                  static_cast<SInt64>(frameOf(list.sample(0, i - 1)));
                // Buffers begin at the first frame of a block here, unless a loop or a turn cut one short.
                jumpsInside += step != 1 && step != -1 ? 1U : 0U;
            }
        },
        [&] {
            for (UInt64 round = 0; round < 300; ++round) {
                const UInt64 place = round * 7919 % (fileFrames - 20'000) + 5'000;
                switch (round % 6) {
                case 0: reader.setCurrentFrame(static_cast<SInt64>(place)); break;
                case 1: reader.enableLoopingInRange({.location = place, .length = 3000}); break;
                case 2: reader.setReverse(round % 4 == 0); break;
                case 3: reader.disableLooping(); break;
                case 4: reader.setLoopRange({.location = place, .length = 1000}); break;
                default: EXPECT_GE(reader.currentFrame(), 0); break;
                }
                std::this_thread::sleep_for(std::chrono::microseconds(round * 37 % 3000)); // let it play
            }
            reader.stop();
        });
    EXPECT_GT(delivered, 1000U);
    EXPECT_EQ(torn, 0U);
    // At most one turn of a loop or of the direction between two frames that follow one another in a block, and few of them.
    EXPECT_LT(jumpsInside, 300U);
}

TEST_F(StreamerHammer, ASeekIsExact) {
    streamer_test::Reader reader(buffers, framesInABuffer);
    reader.setAudioFile(BRAQExtendedAudioFile::initForPlaybackWithFilename(numbered(fileFrames)));
    reader.start();
    const FrameList list(2, framesInABlock);
    // The seek that was made last, and those that the real-time side saw begin.
    std::atomic<UInt64> seeks = 0;
    constexpr UInt64 grid = 8192;
    UInt64 next = 0;
    std::atomic<UInt64> lost = 0;
    hammer(
        [&] {
            UInt32 frames = framesInABlock;
            BRAQAudioBufferQueueCopyInto(&reader, list.get(), &frames);
            if (frames == 0) {
                return;
            }
            const UInt64 first = frameOf(list.sample(0, 0));
            if (first != next) {
                lost += first % grid != 0 ? 1U : 0U; // a seek, else frames were lost or came out of order
                ++seeks;
            }
            list.expectNumbered(0, first, frames);
            next = first + frames;
        },
        [&] {
            for (UInt64 round = 0; round < 200; ++round) {
                const auto place = static_cast<SInt64>(round * 5 % 20 * grid);
                reader.setCurrentFrame(place);
                std::this_thread::sleep_for(std::chrono::microseconds(round * 37 % 3000)); // let it play
            }
        });
    EXPECT_EQ(lost, 0U);
    EXPECT_GT(seeks, 10U);
}

TEST_F(StreamerHammer, StopsOfAWriterLoseNothingThatWasTaken) {
    streamer_test::Writer writer(buffers, framesInABuffer);
    writer.setAudioFile(
        BRAQExtendedAudioFile::initForRecordingWithFilename(path("a.wav"), kAudioFileWAVEType, float32(), 0, nullptr));
    const FrameList list(2, framesInABlock);
    UInt64 offered = 0;
    hammer(
        [&] {
            braq::tests::number(list.get(), offered, framesInABlock);
            BRAQAudioBufferQueueCopyFrom(&writer, list.get(), framesInABlock);
            offered += framesInABlock;
        },
        [&] {
            for (UInt64 round = 0; round < 200; ++round) {
                writer.start();
                std::this_thread::sleep_for(std::chrono::microseconds(round * 37 % 3000)); // let it record
                EXPECT_GE(writer.audioFile()->frameCount(), 0);
                writer.stop();
            }
        });
    writer.stop();
    writer.audioFile()->closeFile();
    const auto written = braq::tests::framesOfFile(path("a.wav"));
    EXPECT_GT(written.size(), 1000U);
    UInt64 expected = 0;
    for (const UInt64 frame : written) {
        ASSERT_GE(frame, expected) << "out of order, or twice";
        if (frame != expected) { // whole blocks that came while the gate was closed
            ASSERT_EQ(frame % framesInABlock, 0U) << "half a block is missing";
            ASSERT_EQ(expected % framesInABlock, 0U) << "half a block is missing";
        }
        expected = frame + 1;
    }
}

} // namespace
