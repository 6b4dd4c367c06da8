// The copy between a ring of buffers and an I/O thread, beside memcpy of the same memory and beside other rings. A block
// is 512 frames of two channels, 4 KiB. Blocks never end a buffer here: handing one over is measured in bench_wake.

#include "BRAQAudio/BRAQAudioBufferList.h"
#include "BRAQAudio/BRAQAudioBufferQueue.h"
#include "bench/Contest.h"
#include "bench/PortAudioRing.h"

#if BRAQ_BENCH_HAS_BOOST
#include <boost/lockfree/spsc_queue.hpp>
#endif
#if BRAQ_BENCH_HAS_JACK
#include <jack/ringbuffer.h>
#endif

#include <cstring>
#include <memory>
#include <vector>

namespace {

using braq::bench::Contest;

constexpr UInt32 channels = 2;
constexpr UInt32 blockFrames = 512;
constexpr UInt32 channelBlockBytes = blockFrames * UInt32{sizeof(Float32)};
constexpr std::size_t blockSamples = std::size_t{blockFrames} * channels;
constexpr std::size_t blockBytes = blockSamples * sizeof(Float32);

/// A ring whose positions can be set, so that it is walked again and again without a worker.
class Ring : public BRAQAudioBufferQueue {
  public:
    Ring(UInt64 buffers, UInt32 frames) : BRAQAudioBufferQueue(buffers, frames, stereo()), mFrames(frames) {
        for (UInt64 i = 0; i < buffers; ++i) {
            for (UInt32 channel = 0; channel < channels; ++channel) {
                std::memset(samples(i, channel), 1,
                            frames * sizeof(Float32)); // the system gives memory when written to
            }
        }
    }
    ~Ring() override { teardownWorkerThread(); }

    /// Positions only: `prime` makes every buffer full without touching the samples.
    void processBuffer(BQueueableAudioBuffer* buffer) override {
        BAudioBufferSetStartFrame(&buffer->mAudioBuffer, 0);
        BAudioBufferSetEndFrame(&buffer->mAudioBuffer, mFrames);
    }

    void select(UInt64 buffer) noexcept { setCurrentBuffer(buffer); }
    void makeFull(UInt64 buffer) noexcept { mBufferArray[buffer]->mAudioBuffer.mStartFrame = 0; }
    void makeEmpty(UInt64 buffer) noexcept {
        mBufferArray[buffer]->mAudioBuffer.mEndFrame.store(0, std::memory_order_relaxed);
    }
    std::byte* samples(UInt64 buffer, UInt32 channel) const noexcept {
        return static_cast<std::byte*>(mBufferArray[buffer]->mAudioBuffer.mAudioBufferList->mBuffers[channel].mData);
    }
    UInt32 framesHeld(UInt64 buffer) const noexcept {
        return BAudioBufferFrameCount(&mBufferArray[buffer]->mAudioBuffer);
    }

  private:
    static std::shared_ptr<BRAQAudioStreamBasicDescription> stereo() {
        auto description = BRAQAudioStreamBasicDescription::nativeStreamDescription();
        description->setIsInterleaved(false);
        return description;
    }

    UInt32 mFrames;
};

/// The blocks of one pass over a ring's memory, and how often a slice repeats the pass.
struct Walk {
    UInt64 buffers;
    UInt32 frames; ///< a buffer

    UInt32 blocksPerBuffer() const { return frames / blockFrames - 1; }
    std::size_t blocks() const { return buffers * blocksPerBuffer(); }
    std::size_t passes() const { return std::max<std::size_t>(1, 1000 / blocks()); }
    std::size_t samples() const { return blocks() * blockSamples; }
};

/// The caller's side of the copies. Where it lies within a page differs from one repetition to the next, because how
/// source and destination lie to each other makes a difference that would otherwise be luck.
class Block {
  public:
    Block() {
        static std::size_t repetition = 0;
        constexpr std::size_t alignment = 16; // what the heap gives
        constexpr std::size_t step = 17 * alignment;
        std::byte* const begin = mMemory + repetition++ * step % page;
        for (UInt32 channel = 0; channel < channels; ++channel) {
            list()->mBuffers[channel] = {1, channelBlockBytes, begin + std::size_t{channel} * channelBlockBytes};
        }
        list()->mNumberBuffers = channels;
        std::memset(begin, 1, blockBytes);
    }
    AudioBufferList* list() { return reinterpret_cast<AudioBufferList*>(mList); }
    std::byte* channel(UInt32 index) { return static_cast<std::byte*>(list()->mBuffers[index].mData); }
    void* interleaved() { return channel(0); }
    Float32* floats() { return static_cast<Float32*>(interleaved()); }

  private:
    static constexpr std::size_t page = 4096;
    alignas(page) std::byte mMemory[page + blockBytes];
    alignas(AudioBufferList) std::byte mList[AudioBufferListByteSize(channels)];
};

/// Counts what was moved, so that a contender that moves too little is found out.
class Tally {
  public:
    void add(std::size_t moved) { mMoved += moved; }
    void expect(std::size_t moved) {
        mExpected += moved;
        mRight = mRight && mMoved == mExpected;
    }
    bool isRight() const { return mRight; }

  private:
    std::size_t mMoved = 0;
    std::size_t mExpected = 0;
    bool mRight = true;
};

void runContest(benchmark::State& state, const Walk& walk, Contest& contest, const Tally& tally) {
    contest.run(state, static_cast<double>(walk.blocks() * walk.passes()));
    if (!tally.isRight()) {
        state.SkipWithError("a contender did not move what it was to move");
    }
}

/// Calls `move` for every block, in the order in which a ring is walked, and `begin` and `end` around those of a buffer.
template <class Begin, class Move, class End>
void walkRing(const Walk& walk, Begin begin, Move move, End end) {
    for (std::size_t pass = 0; pass < walk.passes(); ++pass) {
        for (UInt64 buffer = 0; buffer < walk.buffers; ++buffer) {
            begin(buffer);
            for (UInt32 block = 0; block < walk.blocksPerBuffer(); ++block) {
                move(buffer, block);
            }
            end(buffer);
        }
    }
}

/// memcpy through the library, as ours calls it: with a size that the compiler does not know.
template <class Copy>
void walkPlain(const Walk& walk, Copy copy) {
    std::size_t bytes = channelBlockBytes;
    benchmark::DoNotOptimize(bytes);
    walkRing(
        walk, [](UInt64) {},
        [&](UInt64 buffer, UInt32 block) {
            for (UInt32 channel = 0; channel < channels; ++channel) {
                copy(buffer, channel, block * bytes, bytes);
            }
            benchmark::ClobberMemory();
        },
        [](UInt64) {});
}

// Peers keep their samples interleaved. Each pass begins at the start of their memory, as ours does.

#if BRAQ_BENCH_HAS_BOOST
/// Its positions are protected, which is enough to set them as those of the others are.
struct BoostRing : boost::lockfree::spsc_queue<Float32> {
    explicit BoostRing(const Walk& walk) : spsc_queue(walk.samples()) {
        const std::vector<Float32> samples(walk.samples(), 1);
        push(samples.data(), samples.size()); // the system gives memory when written to
    }
    void makeFull(const Walk& walk) {
        read_index_.store(0);
        write_index_.store(walk.samples());
    }
};
#endif

#if BRAQ_BENCH_HAS_JACK
struct JackRing {
    explicit JackRing(const Walk& walk) : ring(jack_ringbuffer_create(walk.samples() * sizeof(Float32) + 1)) {
        std::memset(ring->buf, 1, ring->size);
    }
    ~JackRing() { jack_ringbuffer_free(ring); }
    JackRing(const JackRing&) = delete;
    JackRing& operator=(const JackRing&) = delete;

    jack_ringbuffer_t* ring;
};
#endif

#if BRAQ_BENCH_HAS_PORTAUDIO
struct PortAudioRing {
    explicit PortAudioRing(const Walk& walk) {
        std::size_t count = 1; // a power of two is asked for
        while (count < walk.samples()) {
            count *= 2;
        }
        elements.assign(count, 1);
        PaUtil_InitializeRingBuffer(&ring, sizeof(Float32), static_cast<long>(count), elements.data());
    }

    PaUtilRingBuffer ring{};
    std::vector<Float32> elements;
};
#endif

void drain(benchmark::State& state, Walk walk) {
    Block block;
    Contest contest;
    Tally tally;
    Ring ring(walk.buffers, walk.frames);
    ring.prime();
    contest.add("ours", [&] {
        walkRing(
            walk, [&](UInt64 buffer) { ring.select(buffer); },
            [&](UInt64, UInt32) {
                UInt32 frames = blockFrames;
                BRAQAudioBufferQueueCopyInto(&ring, block.list(), &frames);
                tally.add(frames * std::size_t{channels});
            },
            [&](UInt64 buffer) { ring.makeFull(buffer); });
        tally.expect(walk.samples() * walk.passes());
    });
    contest.add("memcpy", [&] {
        walkPlain(walk, [&](UInt64 buffer, UInt32 channel, std::size_t offset, std::size_t bytes) {
            std::memcpy(block.channel(channel), ring.samples(buffer, channel) + offset, bytes);
        });
    });
#if BRAQ_BENCH_HAS_BOOST
    BoostRing boost(walk);
    contest.add("Boost spsc_queue", [&] {
        for (std::size_t pass = 0; pass < walk.passes(); ++pass) {
            boost.makeFull(walk);
            for (std::size_t i = 0; i < walk.blocks(); ++i) {
                tally.add(boost.pop(block.floats(), blockSamples));
            }
        }
        tally.expect(walk.samples() * walk.passes());
    });
#endif
#if BRAQ_BENCH_HAS_JACK
    const JackRing jack(walk);
    contest.add("JACK ring buffer", [&] {
        for (std::size_t pass = 0; pass < walk.passes(); ++pass) {
            jack_ringbuffer_reset(jack.ring);
            jack_ringbuffer_write_advance(jack.ring, walk.samples() * sizeof(Float32));
            for (std::size_t i = 0; i < walk.blocks(); ++i) {
                tally.add(jack_ringbuffer_read(jack.ring, static_cast<char*>(block.interleaved()), blockBytes));
            }
        }
        tally.expect(walk.samples() * sizeof(Float32) * walk.passes());
    });
#endif
#if BRAQ_BENCH_HAS_PORTAUDIO
    PortAudioRing portAudio(walk);
    contest.add("PortAudio ring buffer", [&] {
        for (std::size_t pass = 0; pass < walk.passes(); ++pass) {
            PaUtil_FlushRingBuffer(&portAudio.ring);
            PaUtil_AdvanceRingBufferWriteIndex(&portAudio.ring, static_cast<long>(walk.samples()));
            for (std::size_t i = 0; i < walk.blocks(); ++i) {
                tally.add(static_cast<std::size_t>(
                    PaUtil_ReadRingBuffer(&portAudio.ring, block.interleaved(), blockSamples)));
            }
        }
        tally.expect(walk.samples() * walk.passes());
    });
#endif
    runContest(state, walk, contest, tally);
}

void fill(benchmark::State& state, Walk walk) {
    Block block;
    Contest contest;
    Tally tally;
    Ring ring(walk.buffers, walk.frames);
    for (UInt64 buffer = 0; buffer < walk.buffers; ++buffer) {
        ring.makeEmpty(buffer);
    }
    contest.add("ours", [&] {
        walkRing(
            walk, [&](UInt64 buffer) { ring.select(buffer); },
            [&](UInt64, UInt32) { BRAQAudioBufferQueueCopyFrom(&ring, block.list(), blockFrames); },
            [&](UInt64 buffer) {
                tally.add(ring.framesHeld(buffer) * std::size_t{channels});
                ring.makeEmpty(buffer);
            });
        tally.expect(walk.samples() * walk.passes());
    });
    contest.add("memcpy", [&] {
        walkPlain(walk, [&](UInt64 buffer, UInt32 channel, std::size_t offset, std::size_t bytes) {
            std::memcpy(ring.samples(buffer, channel) + offset, block.channel(channel), bytes);
        });
    });
#if BRAQ_BENCH_HAS_BOOST
    BoostRing boost(walk);
    contest.add("Boost spsc_queue", [&] {
        for (std::size_t pass = 0; pass < walk.passes(); ++pass) {
            boost.reset();
            for (std::size_t i = 0; i < walk.blocks(); ++i) {
                tally.add(boost.push(block.floats(), blockSamples));
            }
        }
        tally.expect(walk.samples() * walk.passes());
    });
#endif
#if BRAQ_BENCH_HAS_JACK
    const JackRing jack(walk);
    contest.add("JACK ring buffer", [&] {
        for (std::size_t pass = 0; pass < walk.passes(); ++pass) {
            jack_ringbuffer_reset(jack.ring);
            for (std::size_t i = 0; i < walk.blocks(); ++i) {
                tally.add(jack_ringbuffer_write(jack.ring, static_cast<const char*>(block.interleaved()), blockBytes));
            }
        }
        tally.expect(walk.samples() * sizeof(Float32) * walk.passes());
    });
#endif
#if BRAQ_BENCH_HAS_PORTAUDIO
    PortAudioRing portAudio(walk);
    contest.add("PortAudio ring buffer", [&] {
        for (std::size_t pass = 0; pass < walk.passes(); ++pass) {
            PaUtil_FlushRingBuffer(&portAudio.ring);
            for (std::size_t i = 0; i < walk.blocks(); ++i) {
                tally.add(static_cast<std::size_t>(
                    PaUtil_WriteRingBuffer(&portAudio.ring, block.interleaved(), blockSamples)));
            }
        }
        tally.expect(walk.samples() * walk.passes());
    });
#endif
    runContest(state, walk, contest, tally);
}

constexpr Walk firstLevelCache{.buffers = 1, .frames = 2048};          // 16 KiB
constexpr Walk player{.buffers = 3, .frames = 4096};                   // 96 KiB
constexpr Walk beyondSecondLevelCache{.buffers = 32, .frames = 32768}; // 8 MiB

BENCHMARK_CAPTURE(drain, 16KiB, firstLevelCache)->Iterations(20)->UseManualTime();
BENCHMARK_CAPTURE(drain, 96KiB, player)->Iterations(20)->UseManualTime();
BENCHMARK_CAPTURE(drain, 8MiB, beyondSecondLevelCache)->Iterations(10)->UseManualTime();
BENCHMARK_CAPTURE(fill, 16KiB, firstLevelCache)->Iterations(20)->UseManualTime();
BENCHMARK_CAPTURE(fill, 96KiB, player)->Iterations(20)->UseManualTime();
BENCHMARK_CAPTURE(fill, 8MiB, beyondSecondLevelCache)->Iterations(10)->UseManualTime();

} // namespace
