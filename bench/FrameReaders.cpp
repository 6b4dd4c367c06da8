#include "bench/FrameReaders.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}
#if BRAQ_BENCH_HAS_SNDFILE
#include <sndfile.h>
#endif

#include <benchmark/benchmark.h>

#include <stdexcept>
#include <string>
#include <vector>

// The plain loops that peers need are to be as quick as this library's own.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC optimize("O3")
#endif

namespace braq::bench {
namespace {

constexpr UInt32 framesPerRead = 4096;

[[noreturn]] void fail(const char* who, const std::filesystem::path& path) {
    throw std::runtime_error(std::string(who) + " cannot read " + path.filename().string());
}

/// Memory for the frames of a peer.
class Channels {
  public:
    /// Takes interleaved samples apart.
    template <class Sample>
    void split(const Sample* samples, std::size_t frames, std::size_t channels, float scale) {
        makeRoom(frames, channels);
        if (channels == 2) {
            float* __restrict const left = mChannels[0].data();
            float* __restrict const right = mChannels[1].data();
            for (std::size_t i = 0; i < frames; ++i) {
                left[i] = static_cast<float>(samples[2 * i]) * scale;
                right[i] = static_cast<float>(samples[2 * i + 1]) * scale;
            }
        } else {
            for (std::size_t channel = 0; channel < channels; ++channel) {
                float* const to = mChannels[channel].data();
                for (std::size_t i = 0; i < frames; ++i) {
                    to[i] = static_cast<float>(samples[i * channels + channel]) * scale;
                }
            }
        }
        benchmark::ClobberMemory();
    }

    /// Makes floats of planes.
    template <class Sample>
    void convert(std::uint8_t* const* planes, std::size_t frames, std::size_t channels, float scale) {
        makeRoom(frames, channels);
        for (std::size_t channel = 0; channel < channels; ++channel) {
            const auto* const from = reinterpret_cast<const Sample*>(planes[channel]);
            float* __restrict const to = mChannels[channel].data();
            for (std::size_t i = 0; i < frames; ++i) {
                to[i] = static_cast<float>(from[i]) * scale;
            }
        }
        benchmark::ClobberMemory();
    }

  private:
    void makeRoom(std::size_t frames, std::size_t channels) {
        mChannels.resize(channels);
        for (auto& channel : mChannels) {
            channel.resize(std::max(channel.size(), frames));
            benchmark::DoNotOptimize(channel.data());
        }
    }

    std::vector<std::vector<float>> mChannels;
};

class ServiceReader final : public FrameReader {
  public:
    ServiceReader(const std::filesystem::path& path, Layout layout) : mFile(path, layout, framesPerRead) {}
    UInt32 read() override { return mFile.read(); }

  private:
    OpenServiceFile mFile;
};

class LibavReader final : public FrameReader {
  public:
    explicit LibavReader(const std::filesystem::path& path) {
        const AVCodec* decoder = nullptr;
        if (avformat_open_input(&mFormat, path.c_str(), nullptr, nullptr) < 0 ||
            avformat_find_stream_info(mFormat, nullptr) < 0 ||
            (mStream = av_find_best_stream(mFormat, AVMEDIA_TYPE_AUDIO, -1, -1, &decoder, 0)) < 0) {
            fail("libav", path);
        }
        mCodec = avcodec_alloc_context3(decoder);
        avcodec_parameters_to_context(mCodec, mFormat->streams[mStream]->codecpar);
        mCodec->thread_count = 1;
        if (avcodec_open2(mCodec, decoder, nullptr) < 0) {
            fail("libav", path);
        }
    }
    ~LibavReader() override {
        av_frame_free(&mFrame);
        av_packet_free(&mPacket);
        avcodec_free_context(&mCodec);
        avformat_close_input(&mFormat);
    }
    LibavReader(const LibavReader&) = delete;
    LibavReader& operator=(const LibavReader&) = delete;

    UInt32 read() override {
        while (avcodec_receive_frame(mCodec, mFrame) < 0) {
            if (!sendPacket()) {
                return 0;
            }
        }
        toPlanes();
        return static_cast<UInt32>(mFrame->nb_samples);
    }

  private:
    bool sendPacket() {
        while (av_read_frame(mFormat, mPacket) >= 0) {
            const bool isOurs = mPacket->stream_index == mStream;
            const bool isSent = isOurs && avcodec_send_packet(mCodec, mPacket) >= 0;
            av_packet_unref(mPacket);
            if (isSent) {
                return true;
            }
        }
        return false;
    }

    void toPlanes() {
        const auto frames = static_cast<std::size_t>(mFrame->nb_samples);
        const auto channels = static_cast<std::size_t>(mFrame->ch_layout.nb_channels);
        constexpr float scale16 = 1.0F / 32768;
        constexpr float scale32 = 1.0F / 2147483648.0F;
        const std::uint8_t* const first = mFrame->data[0];
        switch (mFrame->format) {
        case AV_SAMPLE_FMT_S16:
            mChannels.split(reinterpret_cast<const SInt16*>(first), frames, channels, scale16);
            break;
        case AV_SAMPLE_FMT_S32:
            mChannels.split(reinterpret_cast<const SInt32*>(first), frames, channels, scale32);
            break;
        case AV_SAMPLE_FMT_FLT: mChannels.split(reinterpret_cast<const float*>(first), frames, channels, 1); break;
        case AV_SAMPLE_FMT_S16P: mChannels.convert<SInt16>(mFrame->extended_data, frames, channels, scale16); break;
        case AV_SAMPLE_FMT_S32P: mChannels.convert<SInt32>(mFrame->extended_data, frames, channels, scale32); break;
        case AV_SAMPLE_FMT_FLTP: break;
        default: throw std::runtime_error("libav delivers another kind of samples");
        }
    }

    AVFormatContext* mFormat = nullptr;
    AVCodecContext* mCodec = nullptr;
    AVPacket* mPacket = av_packet_alloc();
    AVFrame* mFrame = av_frame_alloc();
    int mStream = -1;
    Channels mChannels;
};

#if BRAQ_BENCH_HAS_SNDFILE
class SndfileReader final : public FrameReader {
  public:
    SndfileReader(const std::filesystem::path& path, Layout layout)
        : mFile(sf_open(path.c_str(), SFM_READ, &mInfo)), mLayout(layout) {
        if (mFile == nullptr) {
            fail("libsndfile", path);
        }
        mSamples.resize(std::size_t{framesPerRead} * static_cast<std::size_t>(mInfo.channels));
    }
    ~SndfileReader() override { sf_close(mFile); }
    SndfileReader(const SndfileReader&) = delete;
    SndfileReader& operator=(const SndfileReader&) = delete;

    UInt32 read() override {
        const auto frames = static_cast<std::size_t>(sf_readf_float(mFile, mSamples.data(), framesPerRead));
        if (mLayout == Layout::planar && mInfo.channels > 1) {
            mChannels.split(mSamples.data(), frames, static_cast<std::size_t>(mInfo.channels), 1);
        }
        return static_cast<UInt32>(frames);
    }

  private:
    SF_INFO mInfo{};
    SNDFILE* const mFile;
    const Layout mLayout;
    std::vector<float> mSamples;
    Channels mChannels;
};
#endif

} // namespace

std::unique_ptr<FrameReader> makeServiceReader(const std::filesystem::path& path, Layout layout) {
    return std::make_unique<ServiceReader>(path, layout);
}

std::unique_ptr<FrameReader> makeLibavReader(const std::filesystem::path& path) {
    return std::make_unique<LibavReader>(path);
}

#if BRAQ_BENCH_HAS_SNDFILE
std::unique_ptr<FrameReader> makeSndfileReader(const std::filesystem::path& path, Layout layout) {
    return std::make_unique<SndfileReader>(path, layout);
}
#endif

} // namespace braq::bench
