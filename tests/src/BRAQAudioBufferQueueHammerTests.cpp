// Two threads at one ring at once. Where one of them is a control thread, the real-time side is paced to one buffer's
// worth a millisecond, as a device would do it.

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

// A buffer is drained and queued again as soon as its flag is cleared, which is before the worker has read its link.
TEST(BufferQueueHammer, ARingWhoseBuffersAreDrainedAtOnceNeverStalls) {
    constexpr UInt64 buffers = 3;
    constexpr UInt32 frames = 512;
    Reader reader(buffers, frames);
    reader.prime();
    FrameList list(queue_test::channels, frames);
    UInt64 next = 0;
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    while (std::chrono::steady_clock::now() < end) {
        UInt32 delivered = frames;
        BRAQAudioBufferQueueCopyInto(&reader, list.get(), &delivered);
        if (delivered != 0) {
            ASSERT_EQ(leftSample(list, 0), braq::tests::sampleOf(next, 0)) << "frames were lost or came out of order";
            next += delivered;
        }
    }
    reader.waitUntilWorkerIsIdle();
    for (UInt64 i = 0; i < buffers; ++i) {
        EXPECT_FALSE(reader.inProgress(i)) << "stalled at frame " << next;
    }
    EXPECT_GT(next, frames);
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
