#include "platform/files/reading/ChannelMatrix.h"

#include "platform/files/reading/LibavLogScope.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libswresample/swresample.h>
}

#include <algorithm>
#include <cmath>

namespace braq {
namespace {

constexpr double threeDecibelsLess = 0.70710678118654752440;

class DefaultLayout {
  public:
    explicit DefaultLayout(UInt32 channels) { av_channel_layout_default(&mLayout, static_cast<int>(channels)); }
    ~DefaultLayout() { av_channel_layout_uninit(&mLayout); }
    DefaultLayout(const DefaultLayout&) = delete;
    DefaultLayout& operator=(const DefaultLayout&) = delete;
    const AVChannelLayout* get() const { return &mLayout; }
    bool isKnown() const { return mLayout.order == AV_CHANNEL_ORDER_NATIVE; }

  private:
    AVChannelLayout mLayout{};
};

// Empty when there is no usual layout of so many channels.
std::vector<float> usualGains(UInt32 inputs, UInt32 outputs) {
    const std::string noFile;
    const LibavLogScope silence(noFile, nullptr); // what it says is no news: there is a way out
    const DefaultLayout from(inputs);
    const DefaultLayout to(outputs);
    // Of a matrix with rows of any other length libswresample would scale some rows twice.
    constexpr std::size_t rowLength = 64;
    std::vector<double> matrix(rowLength * rowLength);
    if (!from.isKnown() || !to.isKnown() || inputs > rowLength || outputs > rowLength ||
        swr_build_matrix2(from.get(), to.get(), threeDecibelsLess, threeDecibelsLess, 0, 1, 1, matrix.data(), rowLength,
                          AV_MATRIX_ENCODING_NONE, nullptr) < 0) {
        return {};
    }
    std::vector<float> usual;
    for (UInt32 output = 0; output < outputs; ++output) {
        for (UInt32 input = 0; input < inputs; ++input) {
            usual.push_back(static_cast<float>(matrix[output * rowLength + input]));
        }
    }
    return usual;
}

std::vector<float> gains(UInt32 inputs, UInt32 outputs) {
    if (inputs == 1) {
        return std::vector<float>(outputs, 1.0F);
    }
    auto usual = usualGains(inputs, outputs);
    if (!usual.empty()) {
        return usual;
    }
    if (outputs == 1) {
        return std::vector<float>(inputs, 1.0F / static_cast<float>(inputs));
    }
    std::vector<float> firstOnes(std::size_t{inputs} * outputs);
    for (std::size_t i = 0; i < std::min(inputs, outputs); ++i) {
        firstOnes[i * inputs + i] = 1;
    }
    return firstOnes;
}

} // namespace

ChannelMatrix::ChannelMatrix(UInt32 inputs, UInt32 outputs)
    : mInputs(inputs), mOutputs(outputs), mIsIdentity(inputs == outputs) {
    if (!mIsIdentity) {
        mGains = gains(inputs, outputs);
    }
}

void ChannelMatrix::mix(const float* const* from, float* const* to, UInt32 frames) const {
    for (std::size_t output = 0; output < mOutputs; ++output) {
        std::fill_n(to[output], frames, 0.0F);
        for (std::size_t input = 0; input < mInputs; ++input) {
            const float gain = mGains[output * mInputs + input];
            for (UInt32 i = 0; gain != 0 && i < frames; ++i) {
                to[output][i] += gain * from[input][i];
            }
        }
    }
}

} // namespace braq
