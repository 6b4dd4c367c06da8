#include "tools/braq/shared/JSON.h"

#include "tools/braq/shared/Text.h"

#include <BRAQAudio/BRAQAudio.h>

std::string asJSON(const std::string& text) {
    std::string result = "\"";
    for (const char character : asUTF8(text)) {
        if (character == '"' || character == '\\') {
            result += '\\';
            result += character;
        } else if (static_cast<unsigned char>(character) < 0x20) {
            result += NSStringWithFormat("\\u%04x", static_cast<unsigned int>(character));
        } else {
            result += character;
        }
    }
    return result + "\"";
}
