#pragma once

#include "BRAQAudio/platform/types.h"

/// @addtogroup record
/// @{

/// Frames of a recording that went missing in one place.
struct BRAQLostStretch {
    /// Where: frames from the begin of the recording to the first one that is missing. In a writer the frames that the
    /// real-time side has delivered; for a recorder's delegate as in its `currentFrame`.
    UInt64 frame;
    UInt64 frames; ///< how many
};

/// @}
