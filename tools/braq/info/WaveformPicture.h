#pragma once

#include "tools/braq/info/PictureLayout.h"
#include "tools/braq/info/Waveform.h"

#include <string>
#include <vector>

/// What a picture says besides the waveform.
struct WaveformCaption {
    std::string title; ///< printable
    std::string facts; ///< the same, less important
    std::vector<std::string> channels;
    double seconds = 0.0; ///< that the waveform lasts
};

/// Draws a waveform: a lane for each channel, with what lies between the lowest and the highest sample of a column in one
/// colour, what lies within its root mean square in a darker one, and samples beyond full scale marked at the lane's edge.
/// @param waveform with as many columns as the layout has
/// @return a PNG file. Throws std::runtime_error if it cannot be drawn.
std::string waveformAsPNG(const Waveform& waveform, const WaveformCaption& caption, const PictureLayout& layout);
