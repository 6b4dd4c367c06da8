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
    explicit CFString(std::u16string text) : copied(std::move(text)), characters(copied) {}
    CFString(std::u16string_view text, CFAllocator contentsDeallocator)
        : characters(text), deallocator(contentsDeallocator) {}
    ~CFString() {
        if (deallocator == kCFAllocatorDefault) {
            std::free(const_cast<UniChar*>(characters.data()));
        }
    }
    CFString(const CFString&) = delete;
    CFString& operator=(const CFString&) = delete;

    mutable std::atomic<unsigned int> references = 1;
    const std::u16string copied;
    const std::u16string_view characters; // of `copied`, or the creator's own
    const CFAllocator deallocator = kCFAllocatorNull;
};

namespace {

template <class Make>
CFStringRef nullWithoutMemory(Make make) noexcept {
    try {
        return make();
    } catch (const std::exception&) { // bad_alloc, or length_error for a length that no memory could hold
        return nullptr;
    }
}

bool areCharacters(const UniChar* characters, CFIndex length) {
    constexpr auto most =
        std::numeric_limits<CFIndex>::max() / static_cast<CFIndex>(sizeof(UniChar)); // that memory can hold
    return length == 0 || (length > 0 && length <= most && characters != nullptr);
}

std::u16string_view viewOf(const UniChar* characters, CFIndex length) {
    return {characters, static_cast<std::size_t>(length)};
}

} // namespace

CFStringRef CFStringCreateWithCString(const char* text) noexcept {
    if (text == nullptr) {
        return nullptr;
    }
    return nullWithoutMemory([&] { return new CFString(braq::utf16FromUTF8(text)); });
}

CFStringRef CFStringCreateWithCharacters(const UniChar* characters, CFIndex length) noexcept {
    if (!areCharacters(characters, length)) {
        return nullptr;
    }
    return nullWithoutMemory([&] { return new CFString(std::u16string(viewOf(characters, length))); });
}

CFStringRef CFStringCreateWithCharactersNoCopy(const UniChar* characters, CFIndex length,
                                               CFAllocator contentsDeallocator) noexcept {
    if (!areCharacters(characters, length)) {
        return nullptr;
    }
    return nullWithoutMemory([&] { return new CFString(viewOf(characters, length), contentsDeallocator); });
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

CFIndex CFStringGetLength(CFStringRef string) noexcept {
    return string != nullptr ? static_cast<CFIndex>(string->characters.size()) : 0;
}

CFIndex CFStringGetCharacters(CFStringRef string, CFIndex start, CFIndex capacity, UniChar* characters) noexcept {
    const CFIndex length = CFStringGetLength(string);
    if (start < 0 || start >= length || capacity <= 0) {
        return 0;
    }
    const CFIndex count = std::min(capacity, length - start);
    std::copy_n(string->characters.data() + start, count, characters);
    return count;
}

std::string CFStringCopyUTF8(CFStringRef string) {
    return string != nullptr ? braq::utf8FromUTF16(string->characters) : std::string();
}
