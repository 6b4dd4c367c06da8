#include "platform/hardware/drivers/pipewire/StreamCycle.h"

#include "platform/foundation/HostTime.h"

#include <spa/buffer/buffer.h>
#include <spa/node/io.h>

#include <algorithm>
#include <cerrno>
#include <ctime>

namespace braq::pipewire {
namespace {

constexpr UInt32 mostChannels = 64;

} // namespace

StreamCycle::StreamCycle(DeviceCycles& cycles, UInt32 channels, void (*wake)(void* context) noexcept, void* wakeContext)
    : mCycles(cycles), mWake(wake), mWakeContext(wakeContext) {
    mChannels.reserve(std::max(channels, mostChannels));
    mChannels.resize(channels);
    sem_init(&mFinished, 0, 0);
}

StreamCycle::~StreamCycle() { sem_destroy(&mFinished); }

void StreamCycle::prepare(UInt32 streamRate) {
    mStreamRate = streamRate;
    mTime.interrupt();
    mIsOpen.store(false, std::memory_order_relaxed);
}

void StreamCycle::reshape(UInt32 streamRate, UInt32 channels) noexcept {
    close();
    mStreamRate = streamRate;
    mChannels.resize(std::min(channels, mostChannels)); // within the reserved memory
}

void StreamCycle::play(spa_buffer& buffer, UInt64 requestedFrames, const spa_io_position* position) noexcept {
    const auto channels = static_cast<UInt32>(mChannels.size());
    UInt64 frames = requestedFrames;
    if (frames == 0 && position != nullptr) {
        frames = position->clock.duration;
    }
    if (buffer.n_datas < channels) {
        return;
    }
    for (UInt32 channel = 0; channel < channels; ++channel) {
        const spa_data& data = buffer.datas[channel];
        frames = data.data != nullptr ? std::min<UInt64>(frames, data.maxsize / sizeof(Float32)) : 0;
        mChannels[channel] = static_cast<Float32*>(data.data);
    }
    for (UInt32 channel = 0; channel < channels; ++channel) {
        *buffer.datas[channel].chunk = {
            .offset = 0, .size = static_cast<UInt32>(frames * sizeof(Float32)), .stride = sizeof(Float32), .flags = 0};
    }
    if (mayRun(frames, position)) {
        run(static_cast<UInt32>(frames), *position, 0, channels);
        mTime.finish(monotonicTime());
        return;
    }
    mTime.interrupt();
    for (Float32* const samples : mChannels) {
        std::fill_n(samples, frames, 0.0F);
    }
}

void StreamCycle::record(const spa_buffer& buffer, const spa_io_position* position) noexcept {
    const auto channels = static_cast<UInt32>(mChannels.size());
    if (buffer.n_datas < channels || channels == 0) {
        return;
    }
    UInt64 frames = buffer.datas[0].chunk->size / sizeof(Float32);
    for (UInt32 channel = 0; channel < channels; ++channel) {
        const spa_data& data = buffer.datas[channel];
        const UInt32 offset = std::min(data.chunk->offset, data.maxsize);
        const UInt32 size = data.data != nullptr ? std::min(data.chunk->size, data.maxsize - offset) : 0;
        frames = std::min<UInt64>(frames, size / sizeof(Float32));
        mChannels[channel] = reinterpret_cast<Float32*>(static_cast<std::byte*>(data.data) + offset);
    }
    if (mayRun(frames, position)) {
        run(static_cast<UInt32>(frames), *position, channels, 0);
    } else {
        mTime.interrupt();
    }
}

bool StreamCycle::mayRun(UInt64 frames, const spa_io_position* position) noexcept {
    if (mIsFinishing.load(std::memory_order_acquire)) {
        if (!mSaidThatFinished) {
            mSaidThatFinished = true;
            sem_post(&mFinished);
        }
        return false;
    }
    if (position == nullptr || position->clock.rate.denom == 0 || frames == 0) {
        return false;
    }
    tell(mGraphRate, position->clock.rate.denom);
    // A stream at a rate other than the graph's is converted. Its owner is woken to replace it, and until then no
    // playback is lost in the converter.
    return position->clock.rate.denom == mStreamRate && mIsOpen.load(std::memory_order_acquire);
}

void StreamCycle::run(UInt32 frames, const spa_io_position& position, UInt32 inputChannels,
                      UInt32 outputChannels) noexcept {
    const spa_io_clock& clock = position.clock;
    const GraphTime::Cycle time = mTime.begin(clock);
    mSampleTime += static_cast<Float64>(time.passedOverFrames);
    mCycles.runCycle({
        .frames = frames,
        .sampleTime = mSampleTime,
        .hostTime = time.hostTime,
        .nominalRate = static_cast<Float64>(mStreamRate),
        .rateScalar = clock.rate_diff > 0.0 ? 1.0 / clock.rate_diff : 1.0,
        .inputChannels = inputChannels,
        .input = mChannels.data(),
        .outputChannels = outputChannels,
        .output = mChannels.data(),
        .passedOverFrames = time.passedOverFrames,
        .lateFrames = time.lateFrames,
    });
    mSampleTime += frames;
    tell(mGraphFrames, frames);
    if (!mHasStarted.load(std::memory_order_relaxed)) {
        mHasStarted.store(true, std::memory_order_release);
        mWake(mWakeContext);
    }
}

void StreamCycle::tell(std::atomic<UInt32>& answer, UInt32 value) noexcept {
    if (answer.load(std::memory_order_relaxed) != value) {
        answer.store(value, std::memory_order_relaxed);
        mWake(mWakeContext);
    }
}

void StreamCycle::waitUntilFinished(std::chrono::nanoseconds longest) {
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    const auto end = std::chrono::seconds(deadline.tv_sec) + std::chrono::nanoseconds(deadline.tv_nsec) + longest;
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(end);
    deadline.tv_sec = seconds.count();
    deadline.tv_nsec = (end - seconds).count();
    while (sem_clockwait(&mFinished, CLOCK_MONOTONIC, &deadline) != 0 && errno == EINTR) {
    }
}

void StreamCycle::abandon() { sem_post(&mFinished); }

} // namespace braq::pipewire
