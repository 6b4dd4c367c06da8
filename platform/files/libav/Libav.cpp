#include "platform/files/libav/Libav.h"

#include <array>

namespace braq {

std::string libavErrorText(int error) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(error, text.data(), text.size());
    return text.data();
}

} // namespace braq
