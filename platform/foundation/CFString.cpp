#include "BRAQAudio/platform/foundation/CFString.h"

#include "platform/foundation/Unicode.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <exception>
#include <limits>
#include <string_view>
#include <utility>

struct CFString {
    CFString(std::string wellFormed, const UniChar* charactersToFree)
        : text(std::move(wellFormed)), owned(charactersToFree) {}
    ~CFString() { std::free(const_cast<UniChar*>(owned)); }
    CFString(const CFString&) = delete;
    CFString& operator=(const CFString&) = delete;

    mutable std::atomic<unsigned int> references = 1;
    const std::string text; // UTF-8
    const UniChar* const owned;
};

namespace {

template <class MakeText>
CFStringRef nullWithoutMemory(MakeText makeText, const UniChar* charactersToFree = nullptr) noexcept {
    try {
        return new CFString(makeText(), charactersToFree);
    } catch (const std::exception&) { // bad_alloc, or length_error for a length that no memory could hold
        return nullptr;
    }
}

std::u16string unitsOf(CFStringRef string) noexcept {
    try {
        return string != nullptr ? braq::utf16FromUTF8(string->text) : std::u16string();
    } catch (const std::exception&) {
        return {};
    }
}

} // namespace

CFStringRef CFStringCreateWithCString(const char* text) noexcept {
    if (text == nullptr) {
        return nullptr;
    }
    return nullWithoutMemory([&] { return braq::wellFormedUTF8(text); });
}

CFStringRef CFStringCreateWithCharacters(const UniChar* characters, CFIndex length) noexcept {
    return CFStringCreateWithCharactersNoCopy(characters, length, kCFAllocatorNull);
}

CFStringRef CFStringCreateWithCharactersNoCopy(const UniChar* characters, CFIndex length,
                                               CFAllocator contentsDeallocator) noexcept {
    constexpr auto longest =
        std::numeric_limits<CFIndex>::max() / static_cast<CFIndex>(sizeof(UniChar)); // that memory can hold
    if (length < 0 || length > longest || (characters == nullptr && length > 0)) {
        return nullptr;
    }
    return nullWithoutMemory(
        [&] {
            return braq::utf8FromUTF16({characters, static_cast<std::size_t>(length)});
        },
        contentsDeallocator == kCFAllocatorDefault ? characters : nullptr);
}

CFStringRef CFRetain(CFStringRef string) noexcept {
    if (string != nullptr) {
        string->references.fetch_add(1, std::memory_order_relaxed);
    }
    return string;
}

void CFRelease(CFStringRef string) noexcept {
    if (string != nullptr && string->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete string;
    }
}

const char* CFStringGetCStringPtr(CFStringRef string) noexcept {
    return string != nullptr ? string->text.c_str() : nullptr;
}

CFIndex CFStringGetLength(CFStringRef string) noexcept { return static_cast<CFIndex>(unitsOf(string).size()); }

CFIndex CFStringGetCharacters(CFStringRef string, CFIndex first, CFIndex capacity, UniChar* characters) noexcept {
    const std::u16string units = unitsOf(string);
    const auto length = static_cast<CFIndex>(units.size());
    if (first < 0 || first >= length || capacity <= 0) {
        return 0;
    }
    const CFIndex count = std::min(capacity, length - first);
    std::copy_n(units.data() + first, count, characters);
    return count;
}

std::string CFStringCopyUTF8(CFStringRef string) { return string != nullptr ? string->text : std::string(); }
