#include "tools/braq/shared/Text.h"

#include <clocale>
#include <cwchar>
#include <cwctype>
#include <string_view>

namespace {

/// Makes this thread decode text as UTF-8, whatever the user's locale.
class ReadingUTF8 {
  public:
    ReadingUTF8() : mBefore(::uselocale(utf8())) {}
    ~ReadingUTF8() { ::uselocale(mBefore); }
    ReadingUTF8(const ReadingUTF8&) = delete;
    ReadingUTF8& operator=(const ReadingUTF8&) = delete;

  private:
    static locale_t utf8() {
        static const locale_t locale = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        return locale;
    }

    const locale_t mBefore;
};

/// Calls `visit(character, its bytes)` for each character; with WEOF for each invalid byte.
template <class Visit>
void forEachCharacter(std::string_view text, Visit visit) {
    const ReadingUTF8 reading;
    while (!text.empty()) {
        wchar_t character = 0;
        std::mbstate_t state{};
        const std::size_t read = std::mbrtowc(&character, text.data(), text.size(), &state);
        const bool isCharacter = read != static_cast<std::size_t>(-1) && read != static_cast<std::size_t>(-2);
        const std::size_t length = isCharacter && read > 0 ? read : 1; // 0 is returned for the null character
        visit(isCharacter ? static_cast<wint_t>(character) : WEOF, text.substr(0, length));
        text.remove_prefix(length);
    }
}

constexpr std::string_view replacement = "\xEF\xBF\xBD"; // U+FFFD

bool isPrintable(wint_t character) {
    // Bidirectional marks print nothing and reverse the text after them.
    const bool turnsAround =
        (character >= 0x202A && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069);
    return character != WEOF && std::iswprint(character) != 0 && !turnsAround;
}

} // namespace

std::string printable(const std::string& text) {
    std::string result;
    forEachCharacter(text, [&](wint_t character, std::string_view bytes) {
        result += isPrintable(character) ? bytes : replacement;
    });
    return result;
}

std::string asUTF8(const std::string& text) {
    std::string result;
    forEachCharacter(
        text, [&](wint_t character, std::string_view bytes) { result += character != WEOF ? bytes : replacement; });
    return result;
}

std::size_t columnsOf(const std::string& text) {
    std::size_t columns = 0;
    forEachCharacter(text, [&](wint_t character, std::string_view /*bytes*/) {
        const int width = ::wcwidth(static_cast<wchar_t>(character));
        columns += width > 0 ? static_cast<std::size_t>(width) : 0;
    });
    return columns;
}
