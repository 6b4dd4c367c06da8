// A real-time thread and a control thread at one ring at once. The real-time side is paced to one buffer's worth a
// millisecond, as a device would do it: then the worker is never held up for a whole turn of the ring between clearing a
// flag and reading the link, which is the one thing that may cost frames.

#include "tests/src/NumberedQueues.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

using braq::tests::FrameList;
using queue_test::Reader;
using queue_test::Writer;

constexpr UInt32 queueBufferFrames = 64;
constexpr UInt32 blockFrames = 16;
constexpr UInt64 bufferCount = 16;
constexpr int milliseconds = 1500;

// Calls `cycle` four times a millisecond, and `control` all the time on a thread of its own.
template <class Cycle, class Control>
void hammer(Cycle cycle, Control control) {
    std::atomic<bool> done = false;
    std::thread controlThread([&] {
        for (UInt64 round = 0; !done; ++round) {
            control(round);
        }
    });
    std::thread realtimeThread([&] {
        auto next = std::chrono::steady_clock::now();
        for (int i = 0; i < milliseconds; ++i) {
            for (UInt32 frames = 0; frames < queueBufferFrames; frames += blockFrames) {
                cycle();
            }
            next += std::chrono::milliseconds(1);
            std::this_thread::sleep_until(next);
        }
    });
    realtimeThread.join();
    done = true;
    controlThread.join();
}

Float32 leftSample(const FrameList& list, UInt32 frame) { return list.sample(0, frame); }

TEST(BufferQueueHammer, SeeksWhilePlayingNeitherTearNorLoseNorReorderFrames) {
    constexpr UInt64 seekGrid = 8192;
    constexpr UInt64 seekPlaces = 128;
    Reader reader(bufferCount, queueBufferFrames);
    reader.prime();
    FrameList list(queue_test::channels, blockFrames);
    UInt64 next = 0;
    UInt64 delivered = 0;
    UInt64 jumps = 0;
    hammer(
        [&] {
            UInt32 frames = blockFrames;
            BRAQAudioBufferQueueCopyInto(&reader, list.get(), &frames);
            if (frames == 0) {
                return;
            }
            const auto first = static_cast<UInt64>(leftSample(list, 0)) / 8;
            if (first != next) {
                ++jumps;
                ASSERT_EQ(first % seekGrid, 0U) << "frames were lost or came out of order";
            }
            list.expectNumbered(0, first, frames);
            next = first + frames;
            delivered += frames;
        },
        [&](UInt64 round) {
            if (round % 2 == 0) {
                reader.seek(round % seekPlaces * seekGrid);
            } else {
                std::this_thread::sleep_for(std::chrono::microseconds(round * 37 % 3000)); // let it play
            }
        });
    EXPECT_GT(delivered, 1000U);
    EXPECT_GT(jumps, 10U);
}

TEST(BufferQueueHammer, FlushesWhileRecordingNeitherTearNorReorderFrames) {
    Writer writer(bufferCount, queueBufferFrames);
    FrameList list(queue_test::channels, blockFrames);
    UInt64 offered = 0;
    hammer(
        [&] {
            braq::tests::number(list.get(), offered, blockFrames);
            BRAQAudioBufferQueueCopyFrom(&writer, list.get(), blockFrames);
            offered += blockFrames;
        },
        [&](UInt64 round) {
            writer.flush();
            std::this_thread::sleep_for(std::chrono::microseconds(round * 37 % 500)); // let it record
        });
    writer.flush();
    ASSERT_GT(writer.written.size(), 1000U);
    // The only frames that may miss are whole blocks that came while the gate was closed, unless there were overruns.
    UInt64 expected = 0;
    for (const Float32 sample : writer.written) {
        const UInt64 frame = static_cast<UInt64>(sample) / 8;
        ASSERT_GE(frame, expected) << "out of order, or twice";
        if (frame != expected && writer.errorCount() == 0) {
            ASSERT_EQ(frame % blockFrames, 0U) << "half a block is missing";
            ASSERT_EQ(expected % blockFrames, 0U) << "half a block is missing";
        }
        expected = frame + 1;
    }
}

} // namespace
