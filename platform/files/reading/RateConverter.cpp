#include "platform/files/reading/RateConverter.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace braq {
namespace {

constexpr UInt32 readAtOnce = 4096;
// A larger ratio is a mistake, and would need unlimited memory.
constexpr Float64 largestRatio = 256;
// Frames of the lower rate that the converter's filter looks back on, and a margin.
constexpr Float64 filterFrames = 1024;
// The longest lead that is worth its time.
constexpr SInt64 longestLead = 200000;

bool isWhole(Float64 rate) { return rate == std::floor(rate) && rate < 1e9; }

} // namespace

RateConverter::RateConverter(MixedSource& source, Float64 rate)
    : mSource(source),
      mRate(rate),
      mFileRate(source.sampleRate()),
      mInput(source.channels(), readAtOnce),
      mOutput(source.channels(), readAtOnce),
      mPlanes(source.channels()) {
    if (mRate > mFileRate * largestRatio || mFileRate > mRate * largestRatio) {
        return;
    }
    mConverter = FixedRateConverter::create(mFileRate, mRate, source.channels(), FixedRateConverter::Quality::veryHigh);
    findLead();
}

// The lead is an integer number of frames at both rates, so that the frame that is sought keeps its position.
void RateConverter::findLead() {
    if (!isWhole(mFileRate) || !isWhole(mRate)) {
        return;
    }
    const auto fileRate = static_cast<SInt64>(mFileRate);
    const auto rate = static_cast<SInt64>(mRate);
    const SInt64 divisor = std::gcd(fileRate, rate);
    const SInt64 unit = fileRate / divisor;
    const auto wanted = static_cast<SInt64>(filterFrames * std::max(1.0, mFileRate / mRate));
    const SInt64 units = (wanted + unit - 1) / unit;
    if (units * unit <= std::max(longestLead, 2 * wanted)) {
        mLeadInFile = units * unit;
        mLeadOut = units * (rate / divisor);
    }
}

void RateConverter::seek(SInt64 fileFrame) {
    mStart = fileFrame;
    mDelivered = 0;
    mIsStarted = false;
}

SInt64 RateConverter::positionInFile() const {
    return mStart + std::llround(static_cast<Float64>(mDelivered) * mFileRate / mRate);
}

void RateConverter::start() {
    mIsStarted = true;
    mConverter->clear();
    const bool hasLead = mStart > 0;
    mNextInput = mStart - (hasLead ? mLeadInFile : 0);
    mSkip = hasLead ? mLeadOut : 0;
    mIsAtEnd = false;
    mInputBegin = mInputEnd = mOutputBegin = mOutputEnd = 0;
    mTotal =
        std::llround(static_cast<Float64>(std::max<SInt64>(mSource.lengthFrames() - mStart, 0)) * mRate / mFileRate);
}

void RateConverter::fillInput() {
    mInputBegin = 0;
    const auto silence = static_cast<UInt32>(std::clamp<SInt64>(-mNextInput, 0, readAtOnce));
    for (UInt32 channel = 0; channel < mInput.channels(); ++channel) {
        std::fill_n(mInput.get()[channel], silence, 0.0F);
        mPlanes[channel] = mInput.get()[channel] + silence;
    }
    const UInt32 wanted = readAtOnce - silence;
    const UInt32 got = wanted == 0 ? 0 : mSource.read(mNextInput + silence, wanted, mPlanes.data());
    mInputEnd = silence + got;
    mNextInput += mInputEnd;
    if (got < wanted) {
        mIsAtEnd = true;
        // The file ends where it breaks off.
        const SInt64 there = std::max<SInt64>(mNextInput - mStart, 0);
        mTotal = std::min<SInt64>(mTotal, std::llround(static_cast<Float64>(there) * mRate / mFileRate));
    }
}

// Gets more output. @return false if there is no more
bool RateConverter::convert() {
    if (mInputBegin == mInputEnd && !mIsAtEnd) {
        fillInput();
    }
    const bool isFlush = mInputBegin == mInputEnd;
    for (UInt32 channel = 0; channel < mInput.channels(); ++channel) {
        mPlanes[channel] = mInput.get()[channel] + mInputBegin;
    }
    const auto [taken, made, isGood] =
        mConverter->process(isFlush ? nullptr : mPlanes.data(), mInputEnd - mInputBegin, mOutput.get(), readAtOnce);
    mInputBegin += static_cast<UInt32>(taken);
    const auto skipped = static_cast<UInt32>(std::min<SInt64>(mSkip, static_cast<SInt64>(made)));
    mSkip -= skipped;
    mOutputBegin = skipped;
    mOutputEnd = static_cast<UInt32>(made);
    return isGood && (made > 0 || !isFlush);
}

UInt32 RateConverter::read(UInt32 frames, float* const* planes) {
    if (!mIsStarted) {
        start();
    }
    UInt32 done = 0;
    while (done < frames && mDelivered < mTotal) {
        if (mOutputBegin == mOutputEnd && !convert()) {
            mTotal = mDelivered;
            break;
        }
        const auto count =
            static_cast<UInt32>(std::min<SInt64>({frames - done, mOutputEnd - mOutputBegin, mTotal - mDelivered}));
        for (UInt32 channel = 0; channel < mOutput.channels(); ++channel) {
            std::copy_n(mOutput.get()[channel] + mOutputBegin, count, planes[channel] + done);
        }
        mOutputBegin += count;
        mDelivered += count;
        done += count;
    }
    return done;
}

} // namespace braq
