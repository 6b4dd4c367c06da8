#include "tools/braq/shared/ReplaceFile.h"

#include "tools/braq/shared/Text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace {

std::runtime_error failureOf(const std::string& path) {
    const int error = errno;
    return std::runtime_error("cannot write " + printable(path) + ": " + std::strerror(error));
}

/// Permissions of the existing file, if there is one.
std::optional<mode_t> permissionsOf(const std::string& path) {
    struct stat there {};
    if (::lstat(path.c_str(), &there) != 0) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        throw failureOf(path);
    }
    if (!S_ISREG(there.st_mode)) {
        throw std::runtime_error(printable(path) + " exists and is not a regular file; it was left alone");
    }
    return there.st_mode & 07777U;
}

/// A new file that is deleted again unless it gets its final name.
class UnfinishedFile {
  public:
    explicit UnfinishedFile(const std::string& path)
        : mPath(path),
          mUnfinished(path + "." + std::to_string(::getpid()) + ".part"),
          mDescriptor(::open(mUnfinished.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)) {
        if (mDescriptor < 0) {
            throw failureOf(mPath);
        }
    }
    ~UnfinishedFile() {
        if (mDescriptor >= 0) {
            ::close(mDescriptor);
        }
        if (!mIsFinished) {
            ::unlink(mUnfinished.c_str());
        }
    }
    UnfinishedFile(const UnfinishedFile&) = delete;
    UnfinishedFile& operator=(const UnfinishedFile&) = delete;

    void write(std::string_view bytes) const {
        while (!bytes.empty()) {
            const ssize_t written = ::write(mDescriptor, bytes.data(), bytes.size());
            if (written >= 0) {
                bytes.remove_prefix(static_cast<std::size_t>(written));
            } else if (errno != EINTR) {
                throw failureOf(mPath);
            }
        }
    }

    void setPermissions(mode_t permissions) const {
        if (::fchmod(mDescriptor, permissions) != 0) {
            throw failureOf(mPath);
        }
    }

    void finish() {
        // Some file systems report a full disk only here.
        if (::fsync(mDescriptor) != 0 || ::close(std::exchange(mDescriptor, -1)) != 0 ||
            ::rename(mUnfinished.c_str(), mPath.c_str()) != 0) {
            throw failureOf(mPath);
        }
        mIsFinished = true;
    }

  private:
    const std::string& mPath;
    const std::string mUnfinished;
    int mDescriptor;
    bool mIsFinished = false;
};

} // namespace

void checkReplaceable(const std::string& path) {
    permissionsOf(path);
    const std::string folder = std::filesystem::path(path).parent_path().string();
    if (::access(folder.empty() ? "." : folder.c_str(), W_OK | X_OK) != 0) {
        throw failureOf(path);
    }
}

void replaceFile(const std::string& path, const std::string& bytes) {
    const auto permissions = permissionsOf(path);
    UnfinishedFile file(path);
    file.write(bytes);
    if (permissions) {
        file.setPermissions(*permissions);
    }
    file.finish();
}
