#pragma once

// Reference-counted strings of the C interface, for C11 and C++. Any thread but an I/O thread.

#include "BRAQAudio/platform/export.h"

#include <stddef.h>

#ifdef __cplusplus
#include <string>
#else
#include <uchar.h>
#endif

/// @addtogroup foundation
/// @{

/// A count of UTF-16 units, or an index of one.
typedef ptrdiff_t CFIndex;
typedef char16_t UniChar;

/// A string. It holds UTF-8, and converts what comes or goes as UTF-16. Immutable, so any thread may read it.
typedef const struct CFString* CFStringRef;

/// How the characters that a string was created with are freed.
typedef enum CFAllocator {
    kCFAllocatorDefault, ///< with `free`
    kCFAllocatorNull,    ///< not at all: the creator keeps them
} CFAllocator;

#ifdef __cplusplus
extern "C" {
#endif

/// Creates a string with a copy of null-terminated UTF-8 text. Each ill-formed sequence becomes U+FFFD.
/// @return a string with one reference, to be released with `CFRelease`; null for null or if out of memory
BRAQ_NODISCARD BRAQ_EXPORT CFStringRef CFStringCreateWithCString(const char* text) BRAQ_NOEXCEPT
    BRAQ_LINKER_NAME(CFStringCreateWithCString);

/// Creates a string of `length` UTF-16 units. Each unpaired surrogate becomes U+FFFD.
/// @return a string with one reference, to be released with `CFRelease`; null for a negative length, for null
///        characters with a length, or if out of memory
BRAQ_NODISCARD BRAQ_EXPORT CFStringRef CFStringCreateWithCharacters(const UniChar* characters,
                                                                    CFIndex length) BRAQ_NOEXCEPT
    BRAQ_LINKER_NAME(CFStringCreateWithCharacters);

/// Like `CFStringCreateWithCharacters`, but the string may use the characters in place: they must stay unchanged for
/// its lifetime. They are freed with the string, as `contentsDeallocator` says. If the result is null, nothing is
/// freed.
BRAQ_NODISCARD BRAQ_EXPORT CFStringRef CFStringCreateWithCharactersNoCopy(const UniChar* characters, CFIndex length,
                                                                          CFAllocator contentsDeallocator) BRAQ_NOEXCEPT
    BRAQ_LINKER_NAME(CFStringCreateWithCharactersNoCopy);

/// Adds a reference. Null does nothing.
/// @return `string`
BRAQ_EXPORT CFStringRef CFRetain(CFStringRef string) BRAQ_NOEXCEPT BRAQ_LINKER_NAME(CFRetain);

/// Releases a reference; the last one frees the string. Null does nothing.
BRAQ_EXPORT void CFRelease(CFStringRef string) BRAQ_NOEXCEPT BRAQ_LINKER_NAME(CFRelease);

/// The text in UTF-8, null-terminated; valid as long as the string. Null for null. Of a string with a null character,
/// callers see what stands before it.
BRAQ_EXPORT const char* CFStringGetCStringPtr(CFStringRef string) BRAQ_NOEXCEPT BRAQ_LINKER_NAME(CFStringGetCStringPtr);

/// The length in UTF-16 units; 0 for null, or if out of memory. Converts the text.
BRAQ_EXPORT CFIndex CFStringGetLength(CFStringRef string) BRAQ_NOEXCEPT BRAQ_LINKER_NAME(CFStringGetLength);

/// Copies the units from `first` on to `characters`, at most `capacity` of them. Converts the text.
/// @return units copied; 0 for null or a unit outside the string, or if out of memory
BRAQ_EXPORT CFIndex CFStringGetCharacters(CFStringRef string, CFIndex first, CFIndex capacity,
                                          UniChar* characters) BRAQ_NOEXCEPT BRAQ_LINKER_NAME(CFStringGetCharacters);

#ifdef __cplusplus
} // extern "C"

/// The text in UTF-8; empty for null.
BRAQ_EXPORT std::string CFStringCopyUTF8(CFStringRef string);
#endif

/// @}
