#include "tools/braq/terminal/Output.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>

void writeOutput(const std::string& text, int descriptor) {
    std::string_view left = text;
    while (!left.empty()) {
        const ssize_t written = ::write(descriptor, left.data(), left.size());
        if (written >= 0) {
            left.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EPIPE) {
            throw ReaderIsGone();
        } else if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "cannot write");
        }
    }
}

// The lowest free number is taken.
void holdClosedStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) < 0) {
            static_cast<void>(::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}

bool isReaderGone(int descriptor) {
    pollfd watched = {descriptor, 0, 0};
    return ::poll(&watched, 1, 0) > 0;
}
