#pragma once

#include "tools/braq/info/PictureLayout.h"

#include <optional>
#include <string>
#include <vector>

/// Options of `braq info`.
struct InfoOptions {
    std::vector<std::string> files;
    bool json = false;
    std::string waveform; ///< picture file for the only audio file; empty: none
    std::optional<PictureSize> size;
};

/// Shows the facts of each file, and reports files that fail on the standard error. If interrupted, it shows the files
/// that are done.
/// @return whether nothing failed. Throws what `writeOutput` throws.
bool runInfo(const InfoOptions& options);
