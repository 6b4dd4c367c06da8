#include "platform/foundation/Unicode.h"

namespace braq {
namespace {

constexpr char32_t replacement = 0xFFFD;

/// What the first byte of a sequence says about the others. `second…` limits the second byte further where that
/// excludes overlong forms, surrogates and values that do not exist.
struct Lead {
    int following;
    char32_t bits;
    unsigned char secondLowest = 0x80;
    unsigned char secondHighest = 0xBF;
};

Lead leadOf(unsigned char byte) {
    constexpr Lead illFormed = {-1, replacement};
    if (byte < 0x80) {
        return {0, byte};
    }
    if (byte < 0xC2 || byte > 0xF4) {
        return illFormed;
    }
    if (byte < 0xE0) {
        return {1, byte & 0x1FU};
    }
    if (byte < 0xF0) {
        return {2, byte & 0x0FU, static_cast<unsigned char>(byte == 0xE0 ? 0xA0 : 0x80),
                static_cast<unsigned char>(byte == 0xED ? 0x9F : 0xBF)};
    }
    return {3, byte & 0x07U, static_cast<unsigned char>(byte == 0xF0 ? 0x90 : 0x80),
            static_cast<unsigned char>(byte == 0xF4 ? 0x8F : 0xBF)};
}

/// Takes one code point off the front of `text`, which is not empty.
char32_t takeFromUTF8(std::string_view& text) {
    const Lead lead = leadOf(static_cast<unsigned char>(text.front()));
    text.remove_prefix(1);
    char32_t point = lead.bits;
    for (int index = 0; index < lead.following; ++index) {
        const unsigned char byte = text.empty() ? '\0' : static_cast<unsigned char>(text.front());
        const bool isSecond = index == 0;
        if (byte < (isSecond ? lead.secondLowest : 0x80) || byte > (isSecond ? lead.secondHighest : 0xBF)) {
            return replacement;
        }
        point = (point << 6) | (byte & 0x3FU);
        text.remove_prefix(1);
    }
    return point;
}

char32_t takeFromUTF16(std::u16string_view& text) {
    const char32_t unit = text.front();
    text.remove_prefix(1);
    if (unit < 0xD800 || unit > 0xDFFF) {
        return unit;
    }
    const bool isPair = unit < 0xDC00 && !text.empty() && text.front() >= 0xDC00 && text.front() <= 0xDFFF;
    if (!isPair) {
        return replacement;
    }
    const char32_t point = 0x10000 + ((unit & 0x3FF) << 10) + (text.front() & 0x3FFU);
    text.remove_prefix(1);
    return point;
}

void append(std::u16string& text, char32_t point) {
    if (point < 0x10000) {
        text += static_cast<char16_t>(point);
    } else {
        text += static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
        text += static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF));
    }
}

void append(std::string& text, char32_t point) {
    const auto add = [&text](char32_t byte) { text += static_cast<char>(static_cast<unsigned char>(byte)); };
    const auto addFollowing = [&](int shift) { add(0x80 | ((point >> shift) & 0x3F)); };
    if (point < 0x80) {
        add(point);
    } else if (point < 0x800) {
        add(0xC0 | (point >> 6));
        addFollowing(0);
    } else if (point < 0x10000) {
        add(0xE0 | (point >> 12));
        addFollowing(6);
        addFollowing(0);
    } else {
        add(0xF0 | (point >> 18));
        addFollowing(12);
        addFollowing(6);
        addFollowing(0);
    }
}

} // namespace

std::string wellFormedUTF8(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        append(result, takeFromUTF8(text));
    }
    return result;
}

std::u16string utf16FromUTF8(std::string_view text) {
    std::u16string result;
    result.reserve(text.size());
    while (!text.empty()) {
        append(result, takeFromUTF8(text));
    }
    return result;
}

std::string utf8FromUTF16(std::u16string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        append(result, takeFromUTF16(text));
    }
    return result;
}

} // namespace braq
