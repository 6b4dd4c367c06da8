// The rate converter of the units beside the variable-rate mode of libsoxr, called without anything around it, and at ratio 1
// beside copying the frames.

#include "bench/Contest.h"
#include "platform/samples/resampling/VariableRateConverter.h"

#include <soxr.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

namespace {

using braq::bench::Contest;

constexpr UInt32 channels = 2;
constexpr UInt32 framesPerRender = 512;
constexpr UInt32 rendersPerSlice = 8;
/// What a varispeed unit needs: 32 times the speed, and a bit for another sample rate.
constexpr double largestRatio = 64;
/// Input for one render.
constexpr UInt32 sourceFrames = static_cast<UInt32>(framesPerRender * largestRatio) + 1;

using Planes = std::vector<std::vector<float>>;

std::vector<float*> pointersTo(Planes& planes) {
    std::vector<float*> pointers;
    for (auto& plane : planes) {
        pointers.push_back(plane.data());
    }
    return pointers;
}

/// Two tones that go on for ever, a render's worth of which is at hand.
class Source {
  public:
    Source() {
        for (UInt32 i = 0; i < sourceFrames; ++i) {
            mPlanes[0][i] = std::sin(0.1F * static_cast<float>(i));
            mPlanes[1][i] = std::sin(0.13F * static_cast<float>(i));
        }
    }
    static void pull(void* context, UInt32 frames, float* const* planes) noexcept {
        const Source& source = *static_cast<const Source*>(context);
        for (UInt32 channel = 0; channel < channels; ++channel) {
            std::memcpy(planes[channel], source.mPlanes[channel].data(), frames * sizeof(float));
        }
    }
    Planes& planes() { return mPlanes; }

  private:
    Planes mPlanes{channels, std::vector<float>(sourceFrames)};
};

class Ours {
  public:
    explicit Ours(double ratio) : mRatio(ratio) {}
    void render(Source& source, float* const* out) {
        mConverter.render(framesPerRender, out, mRatio, &Source::pull, &source);
    }

  private:
    const double mRatio;
    braq::VariableRateConverter mConverter{channels, largestRatio, 4096, 48000};
};

/// Given as many frames as it uses up, from where they are.
class Libsoxr {
  public:
    explicit Libsoxr(double ratio) : mRatio(ratio) { soxr_set_io_ratio(mResampler.get(), ratio, 0); }
    void render(std::vector<float*>& in, std::vector<float*>& out) {
        mDue += framesPerRender * mRatio;
        const auto frames = static_cast<size_t>(mDue);
        mDue -= static_cast<double>(frames);
        size_t rendered = 0;
        soxr_process(mResampler.get(), static_cast<soxr_in_t>(in.data()), frames, nullptr, out.data(), framesPerRender,
                     &rendered);
        mRendered += rendered;
    }
    UInt64 rendered() const { return mRendered; }

  private:
    struct Deleter {
        void operator()(soxr* resampler) const { soxr_delete(resampler); }
    };
    static soxr* create() {
        const soxr_io_spec_t planar = soxr_io_spec(SOXR_FLOAT32_S, SOXR_FLOAT32_S);
        const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, SOXR_VR);
        const soxr_runtime_spec_t oneThread = soxr_runtime_spec(1);
        return soxr_create(largestRatio, 1, channels, nullptr, &planar, &quality, &oneThread);
    }

    const double mRatio;
    std::unique_ptr<soxr, Deleter> mResampler{create()};
    double mDue = 0;
    UInt64 mRendered = 0;
};

/// @param ratio in thousandths, rounded: 919 and 1088 stand for the exact ratios of 44.1 and 48 kHz
double ratioFor(long thousandths) {
    return thousandths == 919    ? 44100.0 / 48000
           : thousandths == 1088 ? 48000.0 / 44100
                                 : static_cast<double>(thousandths) / 1000;
}

void resample(benchmark::State& state) {
    const double ratio = ratioFor(state.range(0));
    Source source;
    Planes out(channels, std::vector<float>(framesPerRender));
    std::vector<float*> in = pointersTo(source.planes());
    std::vector<float*> planes = pointersTo(out);
    Ours ours(ratio);
    Libsoxr libsoxr(ratio);
    Contest contest;
    contest.add("ours", [&] {
        for (UInt32 i = 0; i < rendersPerSlice; ++i) {
            ours.render(source, planes.data());
        }
    });
    contest.add("libsoxr", [&] {
        for (UInt32 i = 0; i < rendersPerSlice; ++i) {
            libsoxr.render(in, planes);
        }
    });
    contest.run(state, framesPerRender * rendersPerSlice);
    if (libsoxr.rendered() == 0) {
        state.SkipWithError("libsoxr rendered nothing");
    }
}

void pass(benchmark::State& state) {
    Source source;
    Planes out(channels, std::vector<float>(framesPerRender));
    const std::vector<float*> planes = pointersTo(out);
    Ours ours(1);
    Contest contest;
    contest.add("ours", [&] {
        for (UInt32 i = 0; i < rendersPerSlice; ++i) {
            ours.render(source, planes.data());
            benchmark::ClobberMemory();
        }
    });
    contest.add("memcpy", [&] {
        for (UInt32 i = 0; i < rendersPerSlice; ++i) {
            Source::pull(&source, framesPerRender, planes.data());
            benchmark::ClobberMemory();
        }
    });
    contest.run(state, framesPerRender * rendersPerSlice);
}

BENCHMARK(resample)
    ->Arg(500)
    ->Arg(919)
    ->Arg(1088)
    ->Arg(1250)
    ->Arg(1900)
    ->Arg(2000)
    ->Arg(8000)
    ->Arg(32000)
    ->Iterations(20)
    ->UseManualTime();
BENCHMARK(pass)->Iterations(200)->UseManualTime();

} // namespace
