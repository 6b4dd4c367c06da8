#pragma once

#include <optional>
#include <string>
#include <vector>

/// What `braq play` is asked for.
struct PlayOptions {
    std::vector<std::string> files;
    std::string device; ///< UID or name; empty: the default one
    double speed = 1.0; ///< below 0 backwards
    double decibels = 0.0;
    std::optional<double> startSeconds{}; ///< in the first file
    bool loop = false;                    ///< not with a speed below 0
    bool unscaledDownmix = false;
};

/// Plays files one after the other until the last one ends or the user has enough of it.
/// @return false when there were some that could not be played, of which the user was told
/// Throws `WrongUsage` for a loop backwards, and std::runtime_error for a device that is not there, and when it goes; what `writeOutput` and the library throw too.
bool runPlay(const PlayOptions& options);
