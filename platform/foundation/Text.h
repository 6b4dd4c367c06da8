#pragma once

#include <string>

namespace braq {

/// `text` with every line break replaced by a space, so that it is one line in a log.
std::string oneLine(std::string text);

} // namespace braq
