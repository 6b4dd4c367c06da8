#pragma once

#include <cstddef>
#include <string>

/// A channel's levels in decibels relative to full scale; minus infinity for silence.
struct MeteredChannel {
    unsigned number = 1; ///< from 1
    double level;
    double held;
};

/// A bar for the level, from -60 dB, with a mark for the peak hold.
/// @param columns its width
std::string levelBar(const MeteredChannel& channel, std::size_t columns);
