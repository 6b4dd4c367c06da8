#pragma once

#include "BRAQAudio/platform/foundation/CFString.h"
#include "BRAQAudio/platform/hardware.h"

#include <cstddef>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

namespace braq {

/// The value of a property, as the bytes that its reader gets.
class PropertyValue {
  public:
    /// A scalar is read as a whole.
    template <class T>
    static PropertyValue scalar(const T& value) {
        return array(&value, 1, sizeof(T));
    }
    /// Of an array, as many entries are read as fit.
    template <class T>
    static PropertyValue list(const std::vector<T>& values) {
        return array(values.data(), values.size(), 0);
    }
    /// A list of buffers without data, one for each of these channel counts.
    static PropertyValue bufferList(const std::vector<UInt32>& channels);
    /// A string. Each reader gets its own reference.
    static PropertyValue text(std::string text);

    UInt32 byteSize() const;

    /// @param size in: bytes at `data`; out: bytes written
    /// @return 0, or `kAudioHardwareBadPropertySizeError`; then nothing is written
    OSStatus copyTo(UInt32* size, void* data) const;

  private:
    enum class Kind { plain, bufferList, text };

    template <class T>
    static PropertyValue array(const T* values, std::size_t count, std::size_t scalarBytes) {
        static_assert(std::is_trivially_copyable_v<T>);
        PropertyValue value;
        value.mBytes.resize(count * sizeof(T));
        value.mEntryBytes = sizeof(T);
        value.mScalarBytes = scalarBytes;
        if (count > 0) {
            std::memcpy(value.mBytes.data(), values, value.mBytes.size());
        }
        return value;
    }

    OSStatus copyTextTo(UInt32* size, void* data) const;

    Kind mKind = Kind::plain;
    std::vector<std::byte> mBytes;
    std::size_t mHeaderBytes = 0; ///< before the first entry
    std::size_t mEntryBytes = 1;  ///< only whole entries are read
    std::size_t mScalarBytes = 0; ///< size of a scalar; 0: an array
    std::string mText;
};

} // namespace braq
