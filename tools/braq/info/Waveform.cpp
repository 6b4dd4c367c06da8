#include "tools/braq/info/Waveform.h"

#include <algorithm>
#include <cmath>
#include <span>

namespace {

// About 186 years at 48,000 Hz. A damaged file may state more, and frames are multiplied by columns.
constexpr std::uint64_t mostFrames = std::uint64_t{1} << 48;

void addTo(WaveformColumn& column, std::span<const float> samples) {
    for (const float sample : samples) {
        if (!std::isfinite(sample)) {
            continue;
        }
        column.lowest = column.samples == 0 ? sample : std::min(column.lowest, sample);
        column.highest = column.samples == 0 ? sample : std::max(column.highest, sample);
        column.squares += double{sample} * double{sample};
        ++column.samples;
    }
}

} // namespace

double WaveformColumn::rms() const { return samples > 0 ? std::sqrt(squares / static_cast<double>(samples)) : 0.0; }

Waveform::Waveform(std::size_t channels, std::uint64_t frames, std::size_t columns)
    : mFrames(std::min(frames, mostFrames)),
      mColumns(columns),
      mChannels(channels, std::vector<WaveformColumn>(columns)) {}

void Waveform::add(const float* const* planes, std::size_t frames) {
    const std::uint64_t first = mTaken;
    const std::uint64_t end = std::min(first + frames, mFrames);
    mTaken += frames;
    if (first >= end) {
        return;
    }
    for (auto column = static_cast<std::size_t>(first * mColumns / mFrames);
         column < mColumns && firstFrameOf(column) < end; ++column) {
        const std::uint64_t from = std::max(firstFrameOf(column), first);
        const std::uint64_t to = std::min(endFrameOf(column), end);
        for (std::size_t channel = 0; channel < mChannels.size(); ++channel) {
            addTo(mChannels[channel][column], {planes[channel] + (from - first), planes[channel] + (to - first)});
        }
    }
}

std::uint64_t Waveform::firstFrameOf(std::size_t column) const { return column * mFrames / mColumns; }

std::uint64_t Waveform::endFrameOf(std::size_t column) const {
    return ((column + 1) * mFrames + mColumns - 1) / mColumns;
}
