#include "tests/platform/samples/resampling/Tones.h"
#include "tests/support/RealtimeGuard.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using braq::VariableRateConverter;
using braq::tests::FunctionSource;
using braq::tests::Planes;
using braq::tests::render;
using braq::tests::runRealtime;

using braq::tests::frameRate;

/// A source that keeps the real-time rules itself.
class ToneSource {
  public:
    static void pull(void* context, UInt32 frames, float* const* planes) noexcept {
        auto& pulled = static_cast<ToneSource*>(context)->mPulled;
        for (UInt32 i = 0; i < frames; ++i, ++pulled) {
            planes[0][i] = static_cast<float>(pulled % 100) * 0.01F;
            planes[1][i] = -planes[0][i];
        }
    }

  private:
    UInt64 mPulled = 0;
};

TEST(UnitsResampling_VariableRateConverter, RendersDrainsAndBeginsAgainWithoutAllocatingOrLocking) {
    constexpr UInt32 most = 4096;
    VariableRateConverter converter(2, 256, 512, frameRate);
    ToneSource source;
    Planes out(2, std::vector<float>(most));
    const std::vector<float*> planes = {out[0].data(), out[1].data()};
    runRealtime([&] {
        // Every octave in both directions, every size of render, often enough for all queues to be walked through.
        for (UInt32 round = 0; round < 5; ++round) {
            for (const double ratio : {1.0, 0.5, 1.0 / 32, 1.0, 1.9, 0.9, 3.7, 7.0, 15.0, 31.0, 63.0, 127.0, 250.0, 1.0,
                                       100.0, 1.0001, 0.0}) {
                for (const UInt32 frames : {1U, 16U, 512U, 100U * (round + 1)}) {
                    converter.render(frames, planes.data(), ratio, &ToneSource::pull, &source);
                }
            }
            converter.render(300, planes.data(), 1.1, &ToneSource::pull, &source);
            while (converter.drain(512, planes.data(), 1.1) == 512) {
            }
            converter.reset();
        }
    });
    EXPECT_EQ(converter.heldFrames(), 0);
}

TEST(UnitsResampling_VariableRateConverter, AllocatesNothingHoweverLongItRuns) {
    VariableRateConverter converter(2, 64, 4096, frameRate);
    ToneSource source;
    Planes out(2, std::vector<float>(512));
    const std::vector<float*> planes = {out[0].data(), out[1].data()};
    runRealtime([&] {
        for (int i = 0; i < 400; ++i) {
            converter.render(512, planes.data(), 44100.0 / 48000, &ToneSource::pull, &source);
        }
        for (int i = 0; i < 400; ++i) {
            converter.render(512, planes.data(), 48000.0 / 44100, &ToneSource::pull, &source);
        }
    });
    EXPECT_GT(converter.heldFrames(), 0);
}

TEST(UnitsResampling_VariableRateConverter, ForgetsWhatIsNoNumber) {
    for (const float fault :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(), -1e38F}) {
        for (const double ratio : {0.9, 1.1, 3.0}) {
            FunctionSource source([&](UInt32, SInt64 frame) {
                return frame == 5000 ? static_cast<double>(fault) : std::sin(0.05 * static_cast<double>(frame));
            });
            VariableRateConverter converter(2, 64, 4096, frameRate);
            Planes out;
            render(converter, source, out, 16000, ratio);
            for (std::size_t i = 500; i < out[0].size(); ++i) {
                ASSERT_TRUE(std::isfinite(out[0][i])) << i;
                if (std::fabs(static_cast<double>(i) * ratio - 5000) > 300 * ratio) {
                    ASSERT_NEAR(static_cast<double>(out[0][i]), std::sin(0.05 * static_cast<double>(i) * ratio), 3e-4)
                        << i;
                }
            }
        }
    }
}

TEST(UnitsResampling_VariableRateConverter, PassesWhatIsNoNumberAtRatio1AndGoesOn) {
    FunctionSource source([](UInt32, SInt64 frame) { return frame == 100 ? std::nan("") : 0.25; });
    VariableRateConverter converter(2, 64, 4096, frameRate);
    Planes out;
    render(converter, source, out, 300, 1);
    EXPECT_TRUE(std::isnan(out[0][100]));
    render(converter, source, out, 3000, 0.8);
    for (std::size_t i = 101; i < out[0].size(); ++i) {
        ASSERT_TRUE(std::isfinite(out[0][i])) << i;
    }
    EXPECT_NEAR(out[0].back(), 0.25F, 1e-4F);
}

TEST(UnitsResampling_VariableRateConverter, MakesSilenceOfWhatIsTooSmallToComputeWith) {
    for (const double ratio : {0.9, 1.1, 5.0}) {
        FunctionSource source([](UInt32, SInt64 frame) { return frame % 2 == 0 ? 1e-39 : 3e-41; });
        VariableRateConverter converter(2, 64, 4096, frameRate);
        Planes out;
        render(converter, source, out, 2000, ratio);
        EXPECT_EQ(out, Planes(2, std::vector<float>(2000))) << ratio;
    }
}

TEST(UnitsResampling_VariableRateConverter, IsSilentSoonAfterItsSourceIs) {
    for (const double ratio : {0.9, 1.1, 5.0}) {
        FunctionSource source([](UInt32, SInt64 frame) { return frame < 5000 ? 0.5 : 0.0; });
        VariableRateConverter converter(2, 64, 4096, frameRate);
        Planes out;
        render(converter, source, out, 8000, ratio);
        const auto end = static_cast<std::size_t>((5000 + 500 * std::ceil(ratio)) / ratio);
        for (std::size_t i = end; i < out[0].size(); ++i) {
            ASSERT_EQ(out[0][i], 0) << ratio << ", " << i;
        }
    }
}

} // namespace
