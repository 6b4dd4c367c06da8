#include "tools/braq/shared/PipedFile.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace {

/// The number of a descriptor of this process that has this path.
std::optional<int> descriptorAt(std::string_view path) {
    if (path == standardInputPath) {
        return STDIN_FILENO;
    }
    for (const std::string_view folder : {"/dev/fd/", "/proc/self/fd/"}) {
        if (path.starts_with(folder)) {
            const std::string number(path.substr(folder.size()));
            char* end = nullptr;
            const long value = std::strtol(number.c_str(), &end, 10);
            return !number.empty() && *end == '\0' ? std::optional(static_cast<int>(value)) : std::nullopt;
        }
    }
    return std::nullopt;
}

// A descriptor is duplicated: a socket cannot be opened by its path, and a pipe that is opened again does not tell
// whether it was closed before. A pipe with a name is opened without waiting for somebody who writes.
int openSource(const std::string& path) {
    const auto descriptor = descriptorAt(path);
    return descriptor ? ::fcntl(*descriptor, F_DUPFD_CLOEXEC, 0)
                      : ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
}

int makeFileWithoutName(const std::string& folder) {
    std::string name = folder + "/braq-XXXXXX";
    const int file = ::mkostemp(name.data(), O_CLOEXEC);
    if (file >= 0) {
        ::unlink(name.c_str());
    }
    return file;
}

// Not /tmp, which is in memory on many systems.
std::string folderForLargeFiles() {
    const char* const chosen = std::getenv("TMPDIR");
    return chosen != nullptr && *chosen != '\0' ? chosen : "/var/tmp";
}

std::string reasonOf(int error) { return std::strerror(error); }

bool hasNews(int descriptor) {
    pollfd watched = {descriptor, POLLIN, 0};
    return ::poll(&watched, 1, 0) > 0;
}

/// @return 0, or the error
int writeAll(int descriptor, const char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t written = ::write(descriptor, bytes, count);
        if (written < 0 && errno != EINTR) {
            return errno;
        }
        bytes += written > 0 ? written : 0;
        count -= written > 0 ? static_cast<std::size_t>(written) : 0;
    }
    return 0;
}

} // namespace

bool PipedFile::isAt(const std::string& path) {
    struct stat facts {};
    const auto descriptor = descriptorAt(path);
    if ((descriptor ? ::fstat(*descriptor, &facts) : ::stat(path.c_str(), &facts)) != 0 || S_ISDIR(facts.st_mode)) {
        return false;
    }
    if (!descriptor) {
        return S_ISFIFO(facts.st_mode);
    }
    const bool isFile = S_ISREG(facts.st_mode) && ::lseek(*descriptor, 0, SEEK_CUR) == 0;
    return !isFile || ::access(path.c_str(), R_OK) != 0;
}

PipedFile::PipedFile(const std::string& path) {
    mSource = openSource(path);
    if (mSource < 0) {
        end(reasonOf(errno));
    } else if (::isatty(mSource) != 0) {
        end("it is a terminal, and no file comes out of it");
    } else if (mKept = makeFileWithoutName(folderForLargeFiles()); mKept < 0) {
        end("it cannot be kept in " + folderForLargeFiles() + ": " + reasonOf(errno));
    }
}

PipedFile::~PipedFile() {
    end("");
    if (mKept >= 0) {
        ::close(mKept);
    }
}

void PipedFile::take() noexcept {
    constexpr int mostTimes = 64; // others have their turn, too
    for (int time = 0; time < mostTimes && !isComplete() && hasNews(mSource) && takeOnce(); ++time) {
    }
}

/// @return whether there may be more at once
bool PipedFile::takeOnce() {
    std::array<char, std::size_t{64} * 1024> bytes; // as much as a pipe holds
    const ssize_t count = ::read(mSource, bytes.data(), bytes.size());
    if (count < 0) {
        if (errno != EINTR && errno != EAGAIN) {
            end("it cannot be read: " + reasonOf(errno));
        }
        return false;
    }
    if (count == 0) {
        end(mBytes == 0 ? "it is empty" : "");
        return false;
    }
    if (const int error = writeAll(mKept, bytes.data(), static_cast<std::size_t>(count)); error != 0) {
        end("it cannot be kept in " + folderForLargeFiles() + ": " + reasonOf(error));
        return false;
    }
    mBytes += static_cast<std::uint64_t>(count);
    return true;
}

/// @param trouble empty: none
void PipedFile::end(std::string trouble) noexcept {
    if (mSource >= 0) {
        ::close(std::exchange(mSource, -1));
    }
    mTrouble = std::move(trouble);
    // What is of no use takes no room.
    if (!mTrouble.empty() && mKept >= 0) {
        ::close(std::exchange(mKept, -1));
    }
}

std::string PipedFile::path() const {
    if (!mTrouble.empty()) {
        throw std::runtime_error(mTrouble);
    }
    return "/proc/self/fd/" + std::to_string(mKept);
}

std::string bytesText(std::uint64_t bytes) {
    constexpr double perMegabyte = 1e6;
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f MB", static_cast<double>(bytes) / perMegabyte);
    return text.data();
}
