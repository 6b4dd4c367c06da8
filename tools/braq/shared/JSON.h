#pragma once

#include <string>

/// A text as a JSON string, with its quotes; what is no UTF-8 becomes U+FFFD.
std::string asJSON(const std::string& text);
