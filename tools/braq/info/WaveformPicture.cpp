#include "tools/braq/info/WaveformPicture.h"

#include "tools/braq/info/Canvas.h"
#include "tools/braq/info/TimeTicks.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

namespace {

constexpr Colour background{0xFFFFFF};
constexpr Colour lane{0xF3F5F8};
constexpr Colour grid{0xDDE3EA};
constexpr Colour zeroLine{0xB3BDC8};
constexpr Colour envelope{0x86B4E4};
constexpr Colour loudness{0x1F5FA8};
constexpr Colour beyondFullScale{0xD6323A};
constexpr Colour text{0x27303A};
constexpr Colour lesserText{0x66717D};

constexpr double titleSize = 16.0;
constexpr double nameSize = 13.0;
constexpr double labelSize = 11.0;

/// Labels of an amplitude axis, the most important one first. If space is short, the others are omitted.
struct AmplitudeLabel {
    double amplitude;
    const char* text;
};
constexpr std::array linearLabels{AmplitudeLabel{0.0, "0"}, AmplitudeLabel{1.0, "1"}, AmplitudeLabel{-1.0, "−1"},
                                  AmplitudeLabel{0.5, "0.5"}, AmplitudeLabel{-0.5, "−0.5"}};
constexpr std::array decibelLabels{AmplitudeLabel{0.0, "−∞"},    AmplitudeLabel{1.0, "0"},
                                   AmplitudeLabel{-1.0, "0"},    AmplitudeLabel{0.501, "−6"},
                                   AmplitudeLabel{-0.501, "−6"}, AmplitudeLabel{0.251, "−12"},
                                   AmplitudeLabel{-0.251, "−12"}};

class WaveformDrawing {
  public:
    WaveformDrawing(const Waveform& waveform, const WaveformCaption& caption, const PictureLayout& layout)
        : mWaveform(waveform), mCaption(caption), mLayout(layout), mCanvas(layout.size.width, layout.size.height) {}

    std::string asPNG() {
        mCanvas.fill(background,
                     {0.0, 0.0, static_cast<double>(mLayout.size.width), static_cast<double>(mLayout.size.height)});
        drawTitle();
        for (std::size_t channel = 0; channel < mWaveform.channels(); ++channel) {
            drawLane(channel);
        }
        mCanvas.write("dBFS", {labelSize}, lesserText, decibelsLeft(), titleBaseline, Anchor::left);
        drawTimes();
        for (std::size_t channel = 0; channel < mWaveform.channels(); ++channel) {
            drawWaveform(channel);
        }
        return mCanvas.asPNG();
    }

  private:
    static constexpr double titleBaseline = 29.0;

    double decibelsLeft() const { return mLayout.right() + 7.0; }
    double centreOf(std::size_t channel) const { return mLayout.laneTop(channel) + mLayout.laneHeight / 2.0; }
    double yOf(std::size_t channel, double amplitude) const {
        return centreOf(channel) - amplitude * mLayout.laneHeight / 2.0;
    }

    void drawTitle() {
        constexpr double gap = 24.0;
        const double legend = drawLegend();
        const double room = legend - gap - mLayout.left();
        const std::string title = mCanvas.shortened(mCaption.title, {titleSize, Weight::bold}, room);
        mCanvas.write(title, {titleSize, Weight::bold}, text, mLayout.left(), titleBaseline, Anchor::left);
        const double used = mCanvas.widthOf(title, {titleSize, Weight::bold}) + 16.0;
        if (used + mCanvas.widthOf(mCaption.facts, {labelSize}) <= room) {
            mCanvas.write(mCaption.facts, {labelSize}, lesserText, mLayout.left() + used, titleBaseline, Anchor::left);
        }
    }

    /// @return where it begins
    double drawLegend() {
        constexpr int narrow = 400;
        constexpr double swatch = 10.0;
        double x = mLayout.right() - 8.0;
        if (mLayout.columns() < narrow) {
            return x; // the title is more useful
        }
        for (const auto& [name, colour] : {std::pair{"RMS", loudness}, std::pair{"peak", envelope}}) {
            mCanvas.write(name, {labelSize}, lesserText, x, titleBaseline, Anchor::right);
            x -= mCanvas.widthOf(name, {labelSize}) + 5.0 + swatch;
            mCanvas.fill(colour, {x, titleBaseline - swatch + 1.0, swatch, swatch});
            x -= 14.0;
        }
        return x;
    }

    void drawLane(std::size_t channel) {
        const double width = mLayout.columns();
        mCanvas.fill(lane, {static_cast<double>(mLayout.left()), mLayout.laneTop(channel), width, mLayout.laneHeight});
        for (const double amplitude : {-0.5, 0.5}) {
            mCanvas.horizontalLine(grid, mLayout.left(), mLayout.right(), yOf(channel, amplitude));
        }
        const std::string name = mCanvas.shortened(mCaption.channels.at(channel), {nameSize, Weight::bold}, 44.0);
        mCanvas.writeCentred(name, {nameSize, Weight::bold}, text, 14.0, centreOf(channel), Anchor::left);
        drawAmplitudes(linearLabels, channel, mLayout.left() - 7.0, Anchor::right);
        drawAmplitudes(decibelLabels, channel, decibelsLeft(), Anchor::left);
    }

    template <std::size_t count>
    void drawAmplitudes(const std::array<AmplitudeLabel, count>& labels, std::size_t channel, double x, Anchor anchor) {
        constexpr double lineHeight = 13.0;
        const bool isEdgeFree =
            mWaveform.channels() == 1 || mLayout.laneGap >= lineHeight; // the next lane has labels, too
        std::vector<double> taken;
        for (const auto& label : labels) {
            const double y = yOf(channel, label.amplitude);
            const bool isFree = std::abs(label.amplitude) < 1.0 || isEdgeFree;
            if (isFree && std::ranges::all_of(taken, [&](double one) { return std::abs(y - one) >= lineHeight; })) {
                mCanvas.writeCentred(label.text, {labelSize}, lesserText, x, y, anchor);
                taken.push_back(y);
            }
        }
    }

    void drawTimes() {
        constexpr double labelWidth = 90.0;
        const double width = mLayout.columns();
        for (const auto& tick : timeTicks(mCaption.seconds, width / labelWidth)) {
            const double x = mLayout.left() + (mCaption.seconds > 0.0 ? tick.seconds / mCaption.seconds * width : 0.0);
            for (std::size_t channel = 0; channel < mWaveform.channels(); ++channel) {
                mCanvas.verticalLine(grid, x, mLayout.laneTop(channel), mLayout.laneTop(channel) + mLayout.laneHeight);
            }
            mCanvas.verticalLine(lesserText, x, mLayout.bottom(), mLayout.bottom() + 5.0);
            mCanvas.write(tick.label, {labelSize}, lesserText, x, mLayout.bottom() + 19.0, Anchor::centre);
        }
        mCanvas.horizontalLine(lesserText, mLayout.left(), mLayout.right(), mLayout.bottom());
    }

    void drawWaveform(std::size_t channel) {
        const auto& columns = mWaveform.columnsOf(channel);
        mCanvas.horizontalLine(zeroLine, mLayout.left(), mLayout.right(), centreOf(channel));
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const WaveformColumn& column = columns[i];
            const double x = mLayout.left() + static_cast<double>(i);
            const double low = std::clamp<double>(column.lowest, -1.0, 1.0);
            const double high = std::clamp<double>(column.highest, -1.0, 1.0);
            if (column.samples == 0 || (low == 0.0 && high == 0.0)) {
                continue; // the line at 0 shows it
            }
            drawBar(envelope, channel, x, low, high);
            const double rms = std::min(column.rms(), 1.0);
            drawBar(loudness, channel, x, std::max(-rms, low), std::min(rms, high));
            markBeyondFullScale(column, channel, x);
        }
    }

    /// At least one pixel high, so that very quiet audio is visible.
    void drawBar(Colour colour, std::size_t channel, double x, double low, double high) {
        const double top = yOf(channel, high);
        const double height = yOf(channel, low) - top;
        const double missing = std::max(0.0, 1.0 - height);
        mCanvas.fill(colour, {x, top - missing / 2.0, 1.0, height + missing});
    }

    void markBeyondFullScale(const WaveformColumn& column, std::size_t channel, double x) {
        constexpr double mark = 3.0;
        if (column.highest > 1.0F) {
            mCanvas.fill(beyondFullScale, {x, yOf(channel, 1.0), 1.0, mark});
        }
        if (column.lowest < -1.0F) {
            mCanvas.fill(beyondFullScale, {x, yOf(channel, -1.0) - mark, 1.0, mark});
        }
    }

    const Waveform& mWaveform;
    const WaveformCaption& mCaption;
    const PictureLayout& mLayout;
    Canvas mCanvas;
};

} // namespace

std::string waveformAsPNG(const Waveform& waveform, const WaveformCaption& caption, const PictureLayout& layout) {
    return WaveformDrawing(waveform, caption, layout).asPNG();
}
