#include "BRAQAudio/BRAQAudioInputMeter.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"

#include <cmath>
#include <exception>

namespace {

// One thread writes a sample while others read it, with the same machine code as for a plain float. std::atomic_ref is
// based on these builtins; libc++ has it from version 19 on.
void storeShared(float& sample, float value) noexcept { __atomic_store(&sample, &value, __ATOMIC_RELAXED); }

float loadShared(const float& sample) noexcept {
    float value = 0.0F;
    __atomic_load(&sample, &value, __ATOMIC_RELAXED);
    return value;
}

} // namespace

std::shared_ptr<BRAQAudioInputMeter>
BRAQAudioInputMeter::initWithDevice(const std::shared_ptr<BRAQAudioDevice>& device,
                                    const std::optional<std::vector<SInt32>>& channels) {
    return handOut(new BRAQAudioInputMeter(makeUnit(device, channels)));
}

std::shared_ptr<BRAQInputAudioUnit> BRAQAudioInputMeter::makeUnit(const std::shared_ptr<BRAQAudioDevice>& device,
                                                                  const std::optional<std::vector<SInt32>>& channels) {
    const auto formatOf = device != nullptr ? device : BRAQAudioDevice::defaultRecordDevice();
    const auto description = formatOf->deviceNativeRecordStreamDescription();
    if (channels && !channels->empty()) {
        description->setChannelsPerFrame(static_cast<UInt32>(channels->size()));
    }
    NSXAssertParameter(description->channelsPerFrame() <= mostChannels, "description.channelsPerFrame <= 2",
                       "-[BRAQAudioInputMeter initWithDevice:channels:]", nullptr, "BRAQAudioInputMeter", __LINE__);
    return BRAQInputAudioUnit::initWithStreamDescription(description, device,
                                                         channels && channels->empty() ? std::nullopt : channels);
}

BRAQAudioInputMeter::BRAQAudioInputMeter(std::shared_ptr<BRAQInputAudioUnit> unit) : mInputAudioUnit(std::move(unit)) {
    createBuffers();
}

BRAQAudioInputMeter::~BRAQAudioInputMeter() { destroyBuffers(); }

void BRAQAudioInputMeter::createBuffers() {
    constexpr float eighth = 0.125F;
    const auto description = mInputAudioUnit->streamDescription();
    const UInt32 channels = description->channelsPerFrame();
    mPeakBufLength = static_cast<UInt64>(std::ceil(static_cast<float>(description->sampleRate()) * eighth));
    mPeakBufIndex = 0;
    mPeakBuf = new float*[channels];
    for (UInt32 channel = 0; channel < channels; ++channel) {
        mPeakBuf[channel] = new float[mPeakBufLength]; // deliberately not cleared
    }
}

void BRAQAudioInputMeter::destroyBuffers() {
    if (mPeakBuf == nullptr) {
        return;
    }
    const UInt32 channels = mInputAudioUnit->streamDescription()->channelsPerFrame();
    for (UInt32 channel = 0; channel < channels; ++channel) {
        delete[] mPeakBuf[channel];
    }
    delete[] mPeakBuf;
    mPeakBuf = nullptr;
}

// The block retains the meter, and the meter retains the unit, which retains the block.
void BRAQAudioInputMeter::installInputProcessingBlock() {
    mInputAudioUnit->setInputProcessingBlock(
        [self = shared_from_this()](AudioUnitRenderActionFlags*, const AudioTimeStamp*, UInt32, UInt32,
                                    AudioBufferList* list) { self->processInput(*list); });
}

void BRAQAudioInputMeter::processInput(const AudioBufferList& list) noexcept {
    if (mPeakBuf == nullptr) {
        return;
    }
    const UInt32 samples = list.mBuffers[0].mDataByteSize / static_cast<UInt32>(sizeof(float));
    for (UInt32 sample = 0; sample < samples; ++sample) {
        for (UInt32 buffer = 0; buffer < list.mNumberBuffers; ++buffer) {
            storeShared(mPeakBuf[buffer][mPeakBufIndex],
                        static_cast<const float*>(list.mBuffers[buffer].mData)[sample]);
        }
        mPeakBufIndex = (mPeakBufIndex + 1) % mPeakBufLength;
    }
}

const std::atomic<double>* BRAQAudioInputMeter::levels() {
    constexpr float decibelsPerDecade = 20.0F;
    const UInt32 channels = mInputAudioUnit->streamDescription()->channelsPerFrame();
    if (mPeakBuf == nullptr || channels == 0) {
        return mLevels.data();
    }
    for (UInt32 channel = 0; channel < channels; ++channel) {
        double sum = 0.0;
        for (UInt64 i = 0; i < mPeakBufLength; ++i) {
            const float sample = loadShared(mPeakBuf[channel][i]);
            sum += static_cast<double>(sample * sample);
        }
        const double mean = sum / static_cast<double>(mPeakBufLength);
        const float level = decibelsPerDecade * std::log10(std::sqrt(static_cast<float>(mean)));
        mLevels[channel].store(static_cast<double>(level), std::memory_order_relaxed);
    }
    return mLevels.data();
}

void BRAQAudioInputMeter::start() {
    const std::lock_guard lock(mMutex);
    if (!mIsInvalid) {
        mInputAudioUnit->start();
    }
}

void BRAQAudioInputMeter::stop() {
    const std::lock_guard lock(mMutex);
    if (!mIsInvalid) {
        mInputAudioUnit->stop();
    }
}

void BRAQAudioInputMeter::invalidate() {
    const auto self = shared_from_this(); // the block may hold the last other reference
    const std::lock_guard lock(mMutex);
    if (mIsInvalid) {
        return;
    }
    try {
        mInputAudioUnit->stop();
    } catch (...) { // a unit that cannot be stopped is not running
        NSXLogError("src/BRAQAudioInputMeter", NSXErrorFromException(std::current_exception())->localizedDescription());
    }
    mIsInvalid = true;
    mInputAudioUnit->setInputProcessingBlock(nullptr);
}
