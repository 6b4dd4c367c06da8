#include "platform/units/VolumeRamp.h"

#include <algorithm>
#include <cmath>

namespace braq {

void VolumeRamp::apply(AudioBufferList& list, UInt32 frames, float target, Float64 sampleRate) noexcept {
    if (target != mTarget) {
        mTarget = target;
        mLeft = static_cast<UInt32>(std::ceil(seconds * sampleRate));
        mStep = (target - mGain) / static_cast<float>(mLeft);
    }
    const UInt32 ramp = std::min(frames, mLeft);
    const float steady = ramp == mLeft ? mTarget : 1.0F; // gain after the fade, if it ends in this slice
    for (UInt32 channel = 0; channel < list.mNumberBuffers; ++channel) {
        auto* samples = static_cast<float*>(list.mBuffers[channel].mData);
        if (samples == nullptr) {
            continue;
        }
        applyRamp(samples, ramp);
        if (steady == 0.0F) {
            std::fill_n(samples + ramp, frames - ramp, 0.0F);
        } else if (steady != 1.0F) {
            std::for_each_n(samples + ramp, frames - ramp, [steady](float& sample) { sample *= steady; });
        }
    }
    mLeft -= ramp;
    mGain = mLeft == 0 ? mTarget : mGain + mStep * static_cast<float>(ramp);
}

void VolumeRamp::applyRamp(float* samples, UInt32 frames) const noexcept {
    for (UInt32 frame = 0; frame < frames; ++frame) {
        samples[frame] *= mGain + mStep * static_cast<float>(frame + 1);
    }
}

} // namespace braq
