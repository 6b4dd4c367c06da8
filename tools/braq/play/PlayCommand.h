#pragma once

#include <optional>
#include <string>
#include <vector>

/// Options of `braq play`.
struct PlayOptions {
    std::vector<std::string> files; ///< also folders and lists of files
    std::string device;             ///< UID or name; empty: the default device
    double speed = 1.0;             ///< negative: backwards
    bool keepPitch = false;         ///< only at speeds from 1/4 to 4
    double decibels = 0.0;
    std::optional<double> startSeconds{}; ///< in the first file
    bool loop = false;                    ///< not with a negative speed
    bool shuffle = false;
    bool repeat = false; ///< not with `loop`
    bool unscaledDownmix = false;
};

/// Plays files one after the other until the last one ends or the user quits.
/// @return false if some could not be played; the user was told which
/// Throws `WrongUsage` for a backwards loop, for a repeated one, and for a speed at which the pitch cannot be kept, and std::runtime_error for a device that does not exist or is removed;
/// also what `writeOutput` and the library throw.
bool runPlay(const PlayOptions& options);
