#pragma once

#include "tools/braq/info/PictureLayout.h"

#include <optional>
#include <string>
#include <vector>

/// What `braq info` is asked for.
struct InfoOptions {
    std::vector<std::string> files;
    bool json = false;
    std::string waveform; ///< where to write a picture of the only file; empty: nowhere
    std::optional<PictureSize> size;
};

/// Shows what is in each file, and says on the standard error of which one that cannot be done. Interrupted, it shows the
/// files that it was done with.
/// @return whether nothing failed. Throws what `writeOutput` throws.
bool runInfo(const InfoOptions& options);
