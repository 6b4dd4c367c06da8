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
///
/// In C it is a UInt32, and the names of the values begin with `BRAQChannelPosition_`.
#ifdef __cplusplus
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
#else
typedef UInt32 BRAQChannelPosition;
enum {
    BRAQChannelPosition_unknown = 0,
    BRAQChannelPosition_mono = 1,
    BRAQChannelPosition_frontLeft = 2,
    BRAQChannelPosition_frontRight = 3,
    BRAQChannelPosition_frontCenter = 4,
    BRAQChannelPosition_lowFrequency = 5,
    BRAQChannelPosition_rearLeft = 6,
    BRAQChannelPosition_rearRight = 7,
    BRAQChannelPosition_rearCenter = 8,
    BRAQChannelPosition_sideLeft = 9,
    BRAQChannelPosition_sideRight = 10,
    BRAQChannelPosition_frontLeftOfCenter = 11,
    BRAQChannelPosition_frontRightOfCenter = 12,
};
#endif

/// @}
