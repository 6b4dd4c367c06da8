#pragma once

// The loudspeaker positions of channels.

#include "BRAQAudio/platform/types.h"

/// @addtogroup records
/// @{

/// The loudspeaker that a channel is meant for. Records of the C interface hold it as a UInt32; the values never
/// change.
///
/// Channels without stated positions get these defaults by their count. They are those of WAVE files and of libav, and
/// for four channels those of FLAC, Vorbis and Opus.
///
/// | channels | positions |
/// |---|---|
/// | 1 | mono |
/// | 2 | front left, front right |
/// | 3 | front left, front right, low frequency |
/// | 4 | front left, front right, rear left, rear right |
/// | 5 | front left, front right, front centre, rear left, rear right |
/// | 6 | front left, front right, front centre, low frequency, rear left, rear right |
/// | 7 | front left, front right, front centre, low frequency, rear centre, side left, side right |
/// | 8 | front left, front right, front centre, low frequency, rear left, rear right, side left, side right |
enum class BRAQChannelPosition : UInt32 {
    unknown = 0,
    mono = 1, ///< a single channel
    frontLeft = 2,
    frontRight = 3,
    frontCenter = 4,
    lowFrequency = 5,
    rearLeft = 6,
    rearRight = 7,
    rearCenter = 8,
    sideLeft = 9,
    sideRight = 10,
    frontLeftOfCenter = 11,
    frontRightOfCenter = 12,
};

/// @}
