#include "platform/files/reading/LocalFile.h"

#include "BRAQAudio/platform/foundation/NSLog.h"
#include "platform/foundation/FailureReason.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace braq {
namespace {

OSStatus statusOf(int error) {
    noteSystemReason(error);
    switch (error) {
    case ENOENT:
    case ENOTDIR:
    case ENAMETOOLONG: return kAudioFileFileNotFoundError;
    case EACCES:
    case EPERM: return kAudioFilePermissionsError;
    default: return kAudioFileUnspecifiedError;
    }
}

OSStatus refuseIrregular() {
    noteOwnReason("it is not a regular file");
    return kAudioFileUnspecifiedError;
}

bool isRegular(const struct stat& status) { return S_ISREG(status.st_mode); }

} // namespace

OSStatus LocalFile::open(const std::string& path, std::unique_ptr<LocalFile>& file) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return statusOf(errno);
    }
    // Checked before opening, because opening a device can have effects; and again afterwards, because the name can
    // refer to another file by then. Non-blocking, so that a pipe in its place cannot block the caller.
    if (!isRegular(status)) {
        return refuseIrregular();
    }
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0) {
        return statusOf(errno);
    }
    if (::fstat(descriptor, &status) != 0 || !isRegular(status)) {
        ::close(descriptor);
        return refuseIrregular();
    }
    file.reset(new LocalFile(path, descriptor, status.st_size));
    return 0;
}

LocalFile::~LocalFile() { ::close(mDescriptor); }

std::size_t LocalFile::read(SInt64 offset, void* destination, std::size_t bytes) {
    std::size_t done = 0;
    while (done < bytes) {
        const ssize_t got = ::pread(mDescriptor, static_cast<char*>(destination) + done, bytes - done,
                                    offset + static_cast<SInt64>(done));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            const int error = errno;
            noteSystemReason(error);
            report(std::string("cannot be read: ") + std::strerror(error));
        }
        if (got <= 0) {
            break;
        }
        done += static_cast<std::size_t>(got);
    }
    return done;
}

void LocalFile::report(const std::string& what) {
    if (!mIsReported) {
        mIsReported = true;
        NSLog("(ERROR) FileReader : " + mPath + " " + what);
    }
}

} // namespace braq
