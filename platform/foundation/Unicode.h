#pragma once

#include <string>
#include <string_view>

namespace braq {

/// UTF-8 with U+FFFD for each maximal ill-formed prefix of a sequence, and for each byte that starts none. Overlong
/// forms, surrogates and code points above U+10FFFF are ill-formed.
std::string wellFormedUTF8(std::string_view text);

/// UTF-8 to UTF-16. What is ill-formed becomes U+FFFD, as in `wellFormedUTF8`.
std::u16string utf16FromUTF8(std::string_view text);

/// UTF-16 to UTF-8. Each unpaired surrogate becomes U+FFFD.
std::string utf8FromUTF16(std::u16string_view text);

} // namespace braq
