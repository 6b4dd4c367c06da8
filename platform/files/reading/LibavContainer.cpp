#include "platform/files/reading/LibavContainer.h"

#include "platform/files/libav/LibavLogScope.h"
#include "platform/foundation/FailureReason.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace braq {
namespace {

// Sufficient to detect every supported format; with the default, noise would be searched for a megabyte.
constexpr unsigned longestProbe = 64 * 1024;

// From version 7 on, libav detects an AU file only if it has frames.
bool isAU(LocalFile& file, SInt64 offset) {
    std::array<char, 4> beginning{};
    return file.readAll(offset, beginning.data(), beginning.size()) &&
           std::string_view(beginning.data(), beginning.size()) == ".snd";
}

} // namespace

std::string contentFormat(LocalFile& file, SInt64 offset) {
    if (isAU(file, offset)) {
        return "au";
    }
    const LibavLogScope scope(file.path(), file.libavLinesLeft());
    const LibavIo io(file, offset);
    const AVInputFormat* format = nullptr;
    if (io.get() == nullptr || av_probe_input_buffer2(io.get(), &format, "", nullptr, 0, longestProbe) < 0) {
        return {};
    }
    return format->name;
}

std::unique_ptr<LibavContainer> LibavContainer::open(LocalFile& file, const std::string& format, ByteRange blank) {
    const LibavLogScope scope(file.path(), file.libavLinesLeft());
    std::unique_ptr<LibavContainer> container(new LibavContainer(file));
    container->mIo.blank(blank);
    return container->openInput(format) ? std::move(container) : nullptr;
}

bool LibavContainer::openInput(const std::string& format) {
    mContext = avformat_alloc_context();
    if (mContext == nullptr || mIo.get() == nullptr) {
        return false;
    }
    mContext->pb = mIo.get();
    AVDictionary* options = nullptr;
    av_dict_set(&options, "format_whitelist", format.c_str(), 0);
    // Nothing that a file refers to is opened.
    av_dict_set(&options, "protocol_whitelist", "", 0);
    if (format.starts_with("mov")) {
        av_dict_set(&options, "enable_drefs", "0", 0);
        av_dict_set(&options, "use_absolute_path", "0", 0);
        // The index has all packets; which of their frames are audio is decided here.
        av_dict_set(&options, "ignore_editlist", "1", 0);
        av_dict_set(&options, "advanced_editlist", "0", 0);
    }
    const int error = avformat_open_input(&mContext, "", av_find_input_format(format.c_str()), &options);
    av_dict_free(&options);
    if (error < 0) {
        noteReason(libavErrorText(error));
        return false; // it has freed the context
    }
    int stream = av_find_best_stream(mContext, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    // It refuses streams whose number of channels is in their packets only.
    for (unsigned i = 0; i < mContext->nb_streams && stream < 0; ++i) {
        stream = mContext->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO ? static_cast<int>(i) : stream;
    }
    mStream = static_cast<unsigned>(std::max(stream, 0));
    if (stream < 0) {
        noteOwnReason("it has no audio stream");
    }
    return stream >= 0;
}

LibavContainer::~LibavContainer() {
    const LibavLogScope scope(mFile.path(), mFile.libavLinesLeft());
    avformat_close_input(&mContext);
}

std::string LibavContainer::metadata(const char* key) const {
    const AVDictionaryEntry* const entry = av_dict_get(mContext->metadata, key, nullptr, 0);
    return entry == nullptr ? "" : entry->value;
}

bool LibavContainer::next(AVPacket& packet) {
    const LibavLogScope scope(mFile.path(), mFile.libavLinesLeft());
    while (av_read_frame(mContext, &packet) >= 0) {
        if (packet.stream_index == static_cast<int>(mStream)) {
            return true;
        }
        av_packet_unref(&packet);
    }
    return false;
}

} // namespace braq
