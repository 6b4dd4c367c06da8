#pragma once

#include <string>
#include <vector>

/// What `braq meter` is asked for.
struct MeterOptions {
    std::string device;             ///< UID or name; empty: the default one
    std::vector<unsigned> channels; ///< from 1; none: all
};

/// Shows levels until it is interrupted or nobody reads any more: bars on a terminal, else a line a second.
/// Throws std::runtime_error for a device or channel that is not there, and when the device goes; what `writeOutput` and the
/// library throw too.
void runMeter(const MeterOptions& options);
