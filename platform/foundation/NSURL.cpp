#include "BRAQAudio/platform/foundation/NSURL.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

namespace {

constexpr std::string_view hexadecimal = "0123456789ABCDEF";

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
char lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// Characters that need no encoding in a path: RFC 3986, section 3.3.
bool isPathCharacter(char c) {
    return isLetter(c) || isDigit(c) || std::string_view("/-._~!$&'()*+,;=:@").find(c) != std::string_view::npos;
}

std::string encoded(const std::string& path) {
    std::string text;
    for (const char c : path) {
        if (isPathCharacter(c)) {
            text += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            text += {'%', hexadecimal[byte >> 4], hexadecimal[byte & 15]};
        }
    }
    return text;
}

std::optional<unsigned int> digitValue(char c) {
    const auto found = hexadecimal.find(c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c);
    return found == std::string_view::npos ? std::nullopt : std::optional(static_cast<unsigned int>(found));
}

/// Nothing if a percent sign is not followed by two hexadecimal digits.
std::optional<std::string> decoded(std::string_view text) {
    std::string path;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            path += text[i];
            continue;
        }
        const auto high = i + 2 < text.size() ? digitValue(text[i + 1]) : std::nullopt;
        const auto low = i + 2 < text.size() ? digitValue(text[i + 2]) : std::nullopt;
        if (!high || !low) {
            return std::nullopt;
        }
        path += static_cast<char>(*high << 4 | *low);
        i += 2;
    }
    return path;
}

bool isScheme(std::string_view text) {
    return !text.empty() && isLetter(text[0]) && std::ranges::all_of(text, [](char c) {
        return isLetter(c) || isDigit(c) || c == '+' || c == '-' || c == '.';
    });
}

/// The part after "file:", decoded; nothing if it is on another machine or not an absolute path.
std::optional<std::string> pathOfFileURL(std::string_view rest) {
    if (rest.starts_with("//")) {
        rest.remove_prefix(2);
        const std::string_view host = rest.substr(0, rest.find('/'));
        if (!host.empty() && host != "localhost") {
            return std::nullopt;
        }
        rest.remove_prefix(host.size());
    }
    auto path = decoded(rest.substr(0, rest.find_first_of("?#")));
    const bool isPath = path && path->starts_with('/') && path->find('\0') == std::string::npos;
    return isPath ? std::move(path) : std::nullopt;
}

} // namespace

NSURL::NSURL(std::string text, std::optional<std::string> path) : mText(std::move(text)), mPath(std::move(path)) {}

std::shared_ptr<NSURL> NSURL::fileURLWithPath(const std::string& path) {
    std::string absolute = path;
    if (!path.starts_with('/')) {
        std::error_code error;
        const auto folder = std::filesystem::current_path(error);
        absolute = (error ? std::filesystem::path("/") : folder).string() + "/" + path;
    }
    auto text = "file://" + encoded(absolute);
    // The system would treat the part before a null character as the name, which is another file's.
    const bool isPath = absolute.find('\0') == std::string::npos;
    return std::shared_ptr<NSURL>(
        new NSURL(std::move(text), isPath ? std::optional(std::move(absolute)) : std::nullopt));
}

std::shared_ptr<NSURL> NSURL::urlWithString(const std::string& text) {
    const auto colon = text.find(':');
    if (colon == std::string::npos || !isScheme(std::string_view(text).substr(0, colon)) || !decoded(text)) {
        return nullptr;
    }
    std::string scheme = text.substr(0, colon);
    std::ranges::transform(scheme, scheme.begin(), lowered);
    auto path = scheme == "file" ? pathOfFileURL(std::string_view(text).substr(colon + 1)) : std::nullopt;
    return std::shared_ptr<NSURL>(new NSURL(text, std::move(path)));
}
