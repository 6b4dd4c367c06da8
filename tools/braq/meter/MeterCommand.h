#pragma once

#include <string>
#include <vector>

/// Options of `braq meter`.
struct MeterOptions {
    std::string device;             ///< UID or name; empty: the default device
    std::vector<unsigned> channels; ///< from 1; empty: all
};

/// Shows levels until it is interrupted or the reader closes the pipe: bars on a terminal, else one line per second.
/// Throws std::runtime_error for a device or channel that does not exist, and if the device is removed; also what
/// `writeOutput` and the library throw.
void runMeter(const MeterOptions& options);
