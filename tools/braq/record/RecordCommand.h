#pragma once

#include <optional>
#include <string>
#include <vector>

/// What `braq record` is asked for.
struct RecordOptions {
    std::string file;
    std::string device;                      ///< UID or name; empty: the default one
    std::string format;                      ///< empty: the usual one of the file's type
    std::vector<unsigned> channels;          ///< from 1; none: all
    std::optional<double> durationSeconds{}; ///< nothing: until the user has enough
    std::optional<double> rate{};            ///< of the file; nothing: that of the device
    bool force = false;                      ///< replaces a file that is there
};

/// Records until the duration is over, the user has enough, or the device is gone; then the file is complete.
/// Throws `WrongUsage` for a format that the file cannot have, and std::runtime_error for a device, channel or file that cannot
/// be used, and when recording ends for another reason than those the user has; what `writeOutput` and the library throw too.
void runRecord(const RecordOptions& options);
