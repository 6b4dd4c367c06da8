#include "platform/files/reading/LibavIo.h"

#include <algorithm>
#include <cstdio>

namespace braq {
namespace {

constexpr int bufferBytes = 32 * 1024;

} // namespace

LibavIo::LibavIo(LocalFile& file, SInt64 start) : mFile(file), mStart(start), mPosition(start) {
    auto* const buffer = static_cast<unsigned char*>(av_malloc(bufferBytes));
    mContext = avio_alloc_context(buffer, bufferBytes, 0, this, &LibavIo::read, nullptr, &LibavIo::seek);
    if (mContext == nullptr) {
        av_free(buffer);
    }
}

LibavIo::~LibavIo() {
    if (mContext != nullptr) {
        av_freep(&mContext->buffer); // not always the original one
        avio_context_free(&mContext);
    }
}

int LibavIo::read(void* opaque, std::uint8_t* destination, int bytes) {
    auto& io = *static_cast<LibavIo*>(opaque);
    const std::size_t got = io.mFile.read(io.mPosition, destination, static_cast<std::size_t>(bytes));
    const SInt64 blankFirst = std::max(io.mBlank.first - io.mPosition, SInt64{0});
    const SInt64 blankEnd = std::min(io.mBlank.first + io.mBlank.bytes - io.mPosition, static_cast<SInt64>(got));
    if (blankFirst < blankEnd) {
        std::fill(destination + blankFirst, destination + blankEnd, std::uint8_t{0});
    }
    io.mPosition += static_cast<SInt64>(got);
    return got == 0 ? AVERROR_EOF : static_cast<int>(got);
}

std::int64_t LibavIo::seek(void* opaque, std::int64_t offset, int whence) {
    auto& io = *static_cast<LibavIo*>(opaque);
    const SInt64 bytes = io.mFile.size() - io.mStart;
    if ((whence & AVSEEK_SIZE) != 0) {
        return bytes;
    }
    SInt64 position = offset;
    switch (whence & ~AVSEEK_FORCE) {
    case SEEK_SET: break;
    case SEEK_CUR: position += io.mPosition - io.mStart; break;
    case SEEK_END: position += bytes; break;
    default: return AVERROR(EINVAL);
    }
    if (position < 0) {
        return AVERROR(EINVAL);
    }
    io.mPosition = io.mStart + position;
    return position;
}

} // namespace braq
