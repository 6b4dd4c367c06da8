#pragma once

#include <optional>
#include <string>
#include <vector>

/// Options of `braq record`.
struct RecordOptions {
    std::string file;
    std::string device;                      ///< UID or name; empty: the default device
    std::string format;                      ///< empty: the default format of the file type
    std::vector<unsigned> channels;          ///< from 1; empty: all
    std::optional<double> durationSeconds{}; ///< nothing: until the user quits
    std::optional<double> rate{};            ///< of the file; nothing: the device's
    bool force = false;                      ///< replaces an existing file
};

/// Records until the duration is over, the user quits, or the device is removed; then the file is complete. Throws
/// `WrongUsage` for a format that the file cannot have, std::runtime_error for a device, channel or file that cannot be
/// used, and if recording ends for a reason other than the user's; also what `writeOutput` and the library throw.
void runRecord(const RecordOptions& options);
