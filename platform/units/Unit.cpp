#include "platform/units/Unit.h"

namespace braq {

OSStatus checkParameter(AudioUnitParameterID parameter, AudioUnitParameterID expected, AudioUnitScope scope,
                        AudioUnitElement element) noexcept {
    if (parameter != expected) {
        return kAudioUnitErr_InvalidParameter;
    }
    if (scope != kAudioUnitScope_Global) {
        return kAudioUnitErr_InvalidScope;
    }
    return element == 0 ? 0 : kAudioUnitErr_InvalidElement;
}

} // namespace braq
