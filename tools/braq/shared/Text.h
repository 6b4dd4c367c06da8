#pragma once

#include <cstddef>
#include <string>

/// Makes a text from outside, such as a device name, safe for a terminal: control characters and invalid UTF-8 become
/// U+FFFD.
std::string printable(const std::string& text);

/// The same for output that is not a terminal: only invalid UTF-8 becomes U+FFFD.
std::string asUTF8(const std::string& text);

/// The width of a printable text in terminal columns: wide characters take two, combining accents none.
std::size_t columnsOf(const std::string& text);
