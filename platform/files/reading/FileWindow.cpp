#include "platform/files/reading/FileWindow.h"

#include <algorithm>

namespace braq {

std::span<const std::uint8_t> FileWindow::at(SInt64 offset, std::size_t wanted) {
    const SInt64 end = mOffset + static_cast<SInt64>(mData.size());
    if (offset < mOffset || offset + static_cast<SInt64>(wanted) > end) {
        mData.resize(std::max(wanted, mBytes));
        mData.resize(mFile.read(offset, mData.data(), mData.size()));
        mOffset = offset;
    }
    return std::span<const std::uint8_t>(mData).subspan(static_cast<std::size_t>(offset - mOffset));
}

} // namespace braq
