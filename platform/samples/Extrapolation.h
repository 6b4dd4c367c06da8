#pragma once

#include <span>

namespace braq {

/// Continues a sound that has ended, as it has gone so far: tones go on, noise dies away. By linear prediction, after
/// J. P. Burg, "Maximum entropy spectral analysis" (1967), which never grows.
/// @param known the last frames of one channel, up to the very last one; none: silence follows
/// Allocates.
void extrapolate(std::span<const float> known, std::span<float> following);

} // namespace braq
