#pragma once

#include "BRAQAudio/platform/types.h"

#include <cstring>
#include <type_traits>

namespace braq {

/// Returns a property of exactly its size. @return 0 or `wrongSize`; then nothing is written
template <class T>
OSStatus answer(const T& value, UInt32* size, void* data, OSStatus wrongSize) {
    static_assert(std::is_trivially_copyable_v<T>);
    if (size == nullptr || data == nullptr || *size != sizeof(value)) {
        return wrongSize;
    }
    std::memcpy(data, &value, sizeof(value));
    return 0;
}

/// Takes a property of exactly its size. @return 0 or `wrongSize`; then `value` is not changed
template <class T>
OSStatus take(T& value, UInt32 size, const void* data, OSStatus wrongSize) {
    static_assert(std::is_trivially_copyable_v<T>);
    if (data == nullptr || size != sizeof(value)) {
        return wrongSize;
    }
    std::memcpy(&value, data, sizeof(value));
    return 0;
}

} // namespace braq
