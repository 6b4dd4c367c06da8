#pragma once

#include "tools/braq/terminal/LevelBar.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

/// The state of playing or recording.
struct Status {
    std::string mark; ///< the activity, in a letter or two
    double seconds = 0.0;
    std::optional<double> length{}; ///< total, in seconds
    std::vector<MeteredChannel> channels{};
    std::vector<std::string> facts{}; ///< in ASCII; if space is short, the last ones are omitted first
};

/// The whole status in one line of at most `columns` columns, without a line end. Bars take the remaining width: one
/// per channel, with less space one for the loudest channel, then none.
std::string statusLine(const Status& status, std::size_t columns);
