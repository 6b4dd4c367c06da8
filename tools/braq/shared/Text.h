#pragma once

#include <cstddef>
#include <string>

/// A text that others chose, such as the name of a device, fit for a terminal: what would move the cursor or change colours,
/// and what is no UTF-8, becomes U+FFFD.
std::string printable(const std::string& text);

/// The same for what is no terminal: only what is no UTF-8 becomes U+FFFD.
std::string asUTF8(const std::string& text);

/// How many columns of a terminal a printable text takes: wide characters take two, accents of their own none.
std::size_t columnsOf(const std::string& text);
