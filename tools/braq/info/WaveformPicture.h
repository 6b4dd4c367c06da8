#pragma once

#include "tools/braq/info/PictureLayout.h"
#include "tools/braq/info/Waveform.h"

#include <string>
#include <vector>

/// The text in a waveform picture.
struct WaveformCaption {
    std::string title; ///< printable
    std::string facts; ///< printable, less important
    std::vector<std::string> channels;
    double seconds = 0.0; ///< duration of the waveform
};

/// Draws a waveform: one lane per channel, with each column's range from the lowest to the highest sample in one
/// colour, its RMS in a darker one, and samples beyond full scale marked at the lane's edge.
/// @param waveform with as many columns as the layout
/// @return a PNG file. Throws std::runtime_error if it cannot be drawn.
std::string waveformAsPNG(const Waveform& waveform, const WaveformCaption& caption, const PictureLayout& layout);
