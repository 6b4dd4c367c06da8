#pragma once

#include <string>

namespace braq {

/// `text` with every line end replaced by a space, so that it stays one line in a log.
std::string oneLine(std::string text);

} // namespace braq
