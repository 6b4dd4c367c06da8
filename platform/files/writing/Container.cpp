#include "platform/files/writing/Container.h"

#include <string_view>

namespace braq {
namespace {

class Options {
  public:
    Options() = default;
    ~Options() { av_dict_free(&mOptions); }
    Options(const Options&) = delete;
    Options& operator=(const Options&) = delete;

    int add(const char* list) { return av_dict_parse_string(&mOptions, list, "=", ":", 0); }
    int set(const char* key, const char* value) { return av_dict_set(&mOptions, key, value, 0); }
    int set(const char* key, std::int64_t value) { return av_dict_set_int(&mOptions, key, value, 0); }
    AVDictionary** get() { return &mOptions; }

  private:
    AVDictionary* mOptions = nullptr;
};

bool isMovie(std::string_view muxer) { return muxer == "mp4" || muxer == "mov" || muxer == "ipod"; }

/// @return 0 or a negative error of libav
int setOptions(const FileMuxer& muxer, int rate, bool isEmpty, Options& options) {
    int error = options.add(muxer.options);
    if (error >= 0 && isMovie(muxer.name)) {
        // Priming and padding are stated in ticks of the movie, so a tick must be a frame.
        error = options.set("movie_timescale", std::int64_t{rate});
    }
    if (error >= 0 && isMovie(muxer.name) && isEmpty) {
        // Otherwise tracks without packets are not in the index.
        error = options.set("movflags", "empty_moov");
    }
    return error;
}

} // namespace

int Container::begin(OutputFile& file, const FileMuxer& muxer, const AVCodecParameters& parameters, bool isEmpty,
                     std::unique_ptr<Container>& container) {
    std::unique_ptr<Container> made(new Container());
    const int error = made->open(file, muxer, parameters, isEmpty);
    if (error >= 0) {
        container = std::move(made);
    }
    return error < 0 ? error : 0;
}

int Container::open(OutputFile& file, const FileMuxer& muxer, const AVCodecParameters& parameters, bool isEmpty) {
    AVFormatContext* context = nullptr;
    int error = avformat_alloc_output_context2(&context, nullptr, muxer.name, nullptr);
    if (error < 0) {
        return error;
    }
    mContext.reset(context);
    AVStream* const stream = avformat_new_stream(context, nullptr);
    if (stream == nullptr) {
        return AVERROR(ENOMEM);
    }
    mCorrection = muxer.correction;
    mFrame = {1, parameters.sample_rate};
    context->pb = file.stream();
    // Not opened; but libav warns about a name that other players would not recognise.
    context->url = av_strdup("recording.m4a");
    // No date and no program name: the same frames make the same file.
    context->flags |= AVFMT_FLAG_BITEXACT;
    stream->time_base = mFrame;
    error = avcodec_parameters_copy(stream->codecpar, &parameters);
    Options options;
    error = error < 0 ? error : setOptions(muxer, parameters.sample_rate, isEmpty, options);
    return error < 0 ? error : avformat_write_header(context, options.get());
}

int Container::write(AVPacket& packet) {
    packet.stream_index = 0;
    if (mCorrection == FileMuxer::Correction::packetTable && packet.size > 0) {
        mPacketTable.add(static_cast<UInt32>(packet.size), static_cast<UInt32>(packet.duration));
    }
    av_packet_rescale_ts(&packet, mFrame, mContext->streams[0]->time_base);
    return av_write_frame(mContext.get(), &packet);
}

int Container::finish(SInt64 frames) {
    const std::int64_t trailer = avio_tell(mContext->pb);
    const int error = av_write_trailer(mContext.get());
    if (error < 0) {
        return error;
    }
    switch (mCorrection) {
    case FileMuxer::Correction::packetTable: correctPacketTable(trailer, frames); break;
    case FileMuxer::Correction::sampleCount: correctSampleCount(frames); break;
    case FileMuxer::Correction::none: break;
    }
    return 0;
}

/// The table is the trailer.
void Container::correctPacketTable(std::int64_t trailer, SInt64 frames) {
    const auto framesPerPacket = static_cast<UInt32>(mContext->streams[0]->codecpar->frame_size);
    if (!mPacketTable.isUniform(framesPerPacket, frames)) {
        mPacketTable.replace(*mContext->pb, trailer, frames);
    }
}

/// The chunk of sizes is the first; before the count it has the sizes of the file and of the data.
void Container::correctSampleCount(SInt64 frames) {
    constexpr std::int64_t sampleCount = 36;
    avio_seek(mContext->pb, sampleCount, SEEK_SET);
    avio_wl64(mContext->pb, static_cast<std::uint64_t>(frames));
}

} // namespace braq
