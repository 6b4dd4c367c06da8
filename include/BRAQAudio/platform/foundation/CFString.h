#pragma once

#include <cstddef>
#include <string>

// Reference-counted text of the C interface. Any thread but an I/O thread.

/// A number of UTF-16 units, or a position among them.
using CFIndex = std::ptrdiff_t;
using UniChar = char16_t;

struct CFString;
using CFStringRef = const CFString*;

/// How the characters that a string was made over are freed when the string goes.
enum CFAllocator {
    kCFAllocatorDefault, ///< with `free`
    kCFAllocatorNull,    ///< not at all: they are the maker's
};

extern "C" {

/// A string with a copy of a zero-terminated UTF-8 text; each ill-formed sequence becomes U+FFFD.
/// @return a string with one reference, for `CFRelease`; null for null or without memory
[[nodiscard]] CFStringRef CFStringCreateWithCString(const char* text) noexcept;

/// A string with a copy of `length` UTF-16 units, which may be anything, unpaired surrogates included.
/// @return a string with one reference, for `CFRelease`; null for a negative length, for null characters with a length,
///         or without memory
[[nodiscard]] CFStringRef CFStringCreateWithCharacters(const UniChar* characters, CFIndex length) noexcept;

/// As `CFStringCreateWithCharacters`, but over the characters themselves, which must stay and not change as long as the
/// string lives. Where the result is null, nothing is freed.
[[nodiscard]] CFStringRef CFStringCreateWithCharactersNoCopy(const UniChar* characters, CFIndex length,
                                                             CFAllocator contentsDeallocator) noexcept;

/// Adds a reference; null is left alone.
/// @return `string`
CFStringRef CFRetain(CFStringRef string) noexcept;

/// Gives up a reference; the last one frees the string. Null is left alone.
void CFRelease(CFStringRef string) noexcept;

/// The length in UTF-16 units; 0 for null.
CFIndex CFStringGetLength(CFStringRef string) noexcept;

/// Copies the units from `start` on, as many as there are and at most `capacity`, to `characters`.
/// @return units copied; 0 for null or a start outside the string
CFIndex CFStringGetCharacters(CFStringRef string, CFIndex start, CFIndex capacity, UniChar* characters) noexcept;

} // extern "C"

/// The text in UTF-8; each unpaired surrogate becomes U+FFFD; empty for null.
std::string CFStringCopyUTF8(CFStringRef string);
