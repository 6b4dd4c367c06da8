#pragma once

#include <cstddef>
#include <string>

/// @addtogroup foundation
/// @{

// Reference-counted strings of the C interface. Any thread but an I/O thread.

/// A count of UTF-16 units, or an index of one.
using CFIndex = std::ptrdiff_t;
using UniChar = char16_t;

struct CFString;
using CFStringRef = const CFString*;

/// How the characters of a string are freed together with the string.
enum CFAllocator {
    kCFAllocatorDefault, ///< with `free`
    kCFAllocatorNull,    ///< not at all: the creator keeps them
};

extern "C" {

/// Creates a string with a copy of null-terminated UTF-8 text. Each ill-formed sequence becomes U+FFFD.
/// @return a string with one reference, to be released with `CFRelease`; null for null or if out of memory
[[nodiscard]] CFStringRef CFStringCreateWithCString(const char* text) noexcept;

/// Creates a string with a copy of `length` UTF-16 units. Any values are allowed, unpaired surrogates included.
/// @return a string with one reference, to be released with `CFRelease`; null for a negative length, for null
///        characters with a length, or if out of memory
[[nodiscard]] CFStringRef CFStringCreateWithCharacters(const UniChar* characters, CFIndex length) noexcept;

/// Like `CFStringCreateWithCharacters`, but without a copy: the characters must stay unchanged for the lifetime of the
/// string. If the result is null, nothing is freed.
[[nodiscard]] CFStringRef CFStringCreateWithCharactersNoCopy(const UniChar* characters, CFIndex length,
                                                             CFAllocator contentsDeallocator) noexcept;

/// Adds a reference. Null does nothing.
/// @return `string`
CFStringRef CFRetain(CFStringRef string) noexcept;

/// Releases a reference; the last one frees the string. Null does nothing.
void CFRelease(CFStringRef string) noexcept;

/// The length in UTF-16 units; 0 for null.
CFIndex CFStringGetLength(CFStringRef string) noexcept;

/// Copies the units from `start` on to `characters`, at most `capacity` of them.
/// @return units copied; 0 for null or a start outside the string
CFIndex CFStringGetCharacters(CFStringRef string, CFIndex start, CFIndex capacity, UniChar* characters) noexcept;

} // extern "C"

/// The text in UTF-8; each unpaired surrogate becomes U+FFFD; empty for null.
std::string CFStringCopyUTF8(CFStringRef string);

/// @}
