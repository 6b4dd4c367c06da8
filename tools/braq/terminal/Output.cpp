#include "tools/braq/terminal/Output.h"

#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>

void writeOutput(const std::string& text) {
    std::string_view left = text;
    while (!left.empty()) {
        const ssize_t written = ::write(STDOUT_FILENO, left.data(), left.size());
        if (written >= 0) {
            left.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EPIPE) {
            throw ReaderIsGone();
        } else if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "cannot write");
        }
    }
}
