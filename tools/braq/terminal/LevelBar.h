#pragma once

#include <cstddef>
#include <string>

/// A channel's levels in decibels relative to full scale; minus infinity for silence.
struct MeteredChannel {
    unsigned number = 1; ///< as users count
    double level;
    double held;
};

/// As long as the channel is loud, from -60 decibels on, with a mark for what is held.
/// @param columns that it takes
std::string levelBar(const MeteredChannel& channel, std::size_t columns);
