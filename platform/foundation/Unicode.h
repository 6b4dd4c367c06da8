#pragma once

#include <string>
#include <string_view>

namespace braq {

/// UTF-8 to UTF-16. Each maximal ill-formed prefix of a sequence, and each byte that starts none, becomes U+FFFD.
/// Overlong forms, surrogates and code points above U+10FFFF are ill-formed.
std::u16string utf16FromUTF8(std::string_view text);

/// UTF-16 to UTF-8. Each unpaired surrogate becomes U+FFFD.
std::string utf8FromUTF16(std::u16string_view text);

} // namespace braq
