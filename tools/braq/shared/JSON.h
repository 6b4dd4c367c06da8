#pragma once

#include <string>

/// A text as a JSON string, with quotes. Invalid UTF-8 becomes U+FFFD.
std::string asJSON(const std::string& text);
