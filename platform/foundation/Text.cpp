#include "platform/foundation/Text.h"

#include <algorithm>
#include <string_view>

namespace braq {

std::string oneLine(std::string text) {
    constexpr std::string_view lineEnds = "\n\r\v\f";
    std::replace_if(
        text.begin(), text.end(), [&](char character) { return lineEnds.find(character) != std::string_view::npos; },
        ' ');
    return text;
}

} // namespace braq
