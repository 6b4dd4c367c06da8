#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// A channel's levels in decibels relative to full scale; minus infinity for silence.
struct MeteredChannel {
    unsigned number = 1; ///< as users count
    double level;
    double held;
};

/// One line a channel, each with its end: number, bar and level, of `columns` columns at most; where there is no room, the
/// bar goes first.
std::string meterPicture(const std::vector<MeteredChannel>& channels, std::size_t columns);

/// All channels in one line, for who is no terminal.
std::string meterLine(const std::vector<MeteredChannel>& channels);
