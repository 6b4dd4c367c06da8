#include "platform/samples/TimeStretcher.h"

#include <SoundTouch.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#if defined(__x86_64__)
#include <xmmintrin.h>
#endif

namespace braq {
namespace {

static_assert(TimeStretcher::mostChannels <= SOUNDTOUCH_MAX_CHANNELS);

// The library refuses higher ones. Above it, batches are as much shorter.
constexpr double highestFrameRate = 192000.0;
// The full search for where two batches fit takes time with the square of the rate: about 0.15 ms here, in one cycle.
constexpr double mostToSearch = 2 * 48000.0 * 48000.0;

// The library is built so that loading it has the processor take denormal numbers for zeros, in the thread that loads it
// and in those that come after. No program asked for that. What it is linked with is loaded before this is called.
bool keepDenormals() noexcept {
#if defined(__x86_64__)
    constexpr unsigned flushToZero = 0x8000;
    constexpr unsigned denormalsAreZeros = 0x0040;
    _mm_setcsr(_mm_getcsr() & ~(flushToZero | denormalsAreZeros));
#elif defined(__aarch64__)
    constexpr std::uint64_t flushToZero = std::uint64_t{1} << 24;
    std::uint64_t control = 0;
    asm volatile("mrs %0, fpcr" : "=r"(control));
    asm volatile("msr fpcr, %0" : : "r"(control & ~flushToZero));
#endif
    return true;
}

[[maybe_unused]] const bool areDenormalsKept = keepDenormals();

} // namespace

TimeStretcher::TimeStretcher(UInt32 channels, double frameRate)
    : mChannels(channels),
      mInterleaved(std::size_t{channels} * largestPut),
      mStretcher(std::make_unique<soundtouch::SoundTouch>()) {
    const double rate = std::min(frameRate, highestFrameRate);
    mStretcher->setChannels(channels);
    mStretcher->setSampleRate(static_cast<UInt32>(std::lround(rate)));
    mStretcher->setSetting(SETTING_USE_AA_FILTER, 0); // it is for changes of the pitch
    mStretcher->setSetting(SETTING_USE_QUICKSEEK, channels * rate * rate > mostToSearch ? 1 : 0);
    grow();
}

TimeStretcher::~TimeStretcher() = default;

// Its buffers grow with what they hold, and keep their size: from here on they hold less.
void TimeStretcher::grow() {
    for (const double tempo : {slowest, 1.0, fastest}) {
        mStretcher->setTempo(tempo);
        const UInt32 frames = 2 * lead() + largestPut;
        const std::vector<float> silence(std::size_t{frames} * mChannels);
        mStretcher->putSamples(silence.data(), frames);
    }
    mStretcher->clear();
}

void TimeStretcher::setTempo(double tempo) noexcept { mStretcher->setTempo(tempo); }

UInt32 TimeStretcher::lead() const noexcept {
    return static_cast<UInt32>(std::max(mStretcher->getSetting(SETTING_INITIAL_LATENCY), 0));
}

UInt32 TimeStretcher::batch() const noexcept {
    return static_cast<UInt32>(std::max(mStretcher->getSetting(SETTING_NOMINAL_OUTPUT_SEQUENCE), 0));
}

void TimeStretcher::put(UInt32 frames, const float* const* planes) noexcept {
    for (UInt32 channel = 0; channel < mChannels; ++channel) {
        for (UInt32 frame = 0; frame < frames; ++frame) {
            mInterleaved[static_cast<std::size_t>(frame) * mChannels + channel] = planes[channel][frame];
        }
    }
    mStretcher->putSamples(mInterleaved.data(), frames);
}

UInt32 TimeStretcher::ready() const noexcept { return mStretcher->numSamples(); }

void TimeStretcher::take(UInt32 frames, float* const* planes, UInt32 offset) noexcept {
    for (UInt32 done = 0; done < frames;) {
        const UInt32 part = mStretcher->receiveSamples(mInterleaved.data(), std::min(frames - done, largestPut));
        if (part == 0) {
            break;
        }
        for (UInt32 channel = 0; channel < mChannels; ++channel) {
            float* const plane = planes[channel] + offset + done;
            for (UInt32 frame = 0; frame < part; ++frame) {
                plane[frame] = mInterleaved[static_cast<std::size_t>(frame) * mChannels + channel];
            }
        }
        done += part;
    }
}

void TimeStretcher::clear() noexcept { mStretcher->clear(); }

} // namespace braq
