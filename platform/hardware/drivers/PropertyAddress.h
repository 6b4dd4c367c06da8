#pragma once

#include "BRAQAudio/platform/hardware.h"

namespace braq {

inline bool isSame(const AudioObjectPropertyAddress& a, const AudioObjectPropertyAddress& b) {
    return a.mSelector == b.mSelector && a.mScope == b.mScope && a.mElement == b.mElement;
}

/// The address of a property of the object as a whole.
inline AudioObjectPropertyAddress globalAddress(UInt32 selector) {
    return {selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
}

} // namespace braq
