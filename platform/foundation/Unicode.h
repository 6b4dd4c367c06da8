#pragma once

#include <string>
#include <string_view>

namespace braq {

/// UTF-8 as UTF-16. Each longest start of a sequence that cannot go on, and each byte that starts none, becomes U+FFFD;
/// overlong forms, surrogates and what lies above U+10FFFF are ill-formed.
std::u16string utf16FromUTF8(std::string_view text);

/// UTF-16 as UTF-8. Each unpaired surrogate becomes U+FFFD.
std::string utf8FromUTF16(std::u16string_view text);

} // namespace braq
