#include "platform/hardware/PropertyValue.h"

#include <algorithm>
#include <utility>

namespace braq {

PropertyValue PropertyValue::bufferList(const std::vector<UInt32>& channels) {
    PropertyValue value;
    value.mKind = Kind::bufferList;
    value.mHeaderBytes = offsetof(AudioBufferList, mBuffers);
    value.mEntryBytes = sizeof(AudioBuffer);
    value.mBytes.resize(value.mHeaderBytes + channels.size() * sizeof(AudioBuffer));
    std::byte* at = value.mBytes.data() + value.mHeaderBytes;
    for (const UInt32 count : channels) {
        const AudioBuffer buffer{count, 0, nullptr};
        std::memcpy(at, &buffer, sizeof(buffer));
        at += sizeof(buffer);
    }
    return value;
}

PropertyValue PropertyValue::text(std::string text) {
    PropertyValue value;
    value.mKind = Kind::text;
    value.mText = std::move(text);
    return value;
}

UInt32 PropertyValue::byteSize() const {
    return static_cast<UInt32>(mKind == Kind::text ? sizeof(CFStringRef) : mBytes.size());
}

OSStatus PropertyValue::copyTo(UInt32* size, void* data) const {
    if (mKind == Kind::text) {
        return copyTextTo(size, data);
    }
    const bool fits = mScalarBytes > 0 ? *size == mScalarBytes : *size >= mHeaderBytes;
    if (!fits) {
        return kAudioHardwareBadPropertySizeError;
    }
    const std::size_t entries = std::min<std::size_t>(*size, mBytes.size()) - mHeaderBytes;
    const std::size_t bytes = mHeaderBytes + entries / mEntryBytes * mEntryBytes;
    if (bytes > 0) {
        std::memcpy(data, mBytes.data(), bytes);
    }
    if (mKind == Kind::bufferList) {
        const auto buffers = static_cast<UInt32>(entries / mEntryBytes);
        std::memcpy(data, &buffers, sizeof(buffers));
    }
    *size = static_cast<UInt32>(bytes);
    return kAudioHardwareNoError;
}

OSStatus PropertyValue::copyTextTo(UInt32* size, void* data) const {
    if (*size != sizeof(CFStringRef)) {
        return kAudioHardwareBadPropertySizeError;
    }
    CFStringRef string = CFStringCreateWithCString(mText.c_str());
    if (string == nullptr) {
        return kAudioHardwareUnspecifiedError;
    }
    std::memcpy(data, &string, sizeof(string));
    return kAudioHardwareNoError;
}

} // namespace braq
