#include "platform/files/writing/OutputFile.h"

#include "BRAQAudio/platform/files.h"
#include "BRAQAudio/platform/foundation/NSLog.h"
#include "platform/foundation/FailureReason.h"
#include "platform/foundation/QuietLog.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <new>
#include <system_error>
#include <utility>

namespace braq {
namespace {

constexpr int streamBytes = 64 * 1024;
constexpr const char* irregularReason = "it is not a regular file";
constexpr UInt64 reservedAtOnce = UInt64{1024} * 1024;

OSStatus statusOfOpening(int reason) {
    if (reason == ENXIO) { // a pipe that nobody reads
        noteOwnReason(irregularReason);
    }
    noteSystemReason(reason);
    switch (reason) {
    case ENOENT:
    case ENOTDIR: return kAudioFileFileNotFoundError;
    case EACCES:
    case EPERM:
    case EROFS: return kAudioFilePermissionsError;
    default: return kAudioFileUnspecifiedError;
    }
}

/// @param isNew whether this call created it
/// @return a descriptor, or -1 and `errno`
int openForWriting(const char* path, bool& isNew) {
    // Non-blocking, to avoid waiting for the reader of a pipe, which is refused afterwards.
    constexpr int flags = O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    constexpr mode_t mode = 0666;
    int descriptor = ::open(path, flags | O_EXCL, mode);
    isNew = descriptor >= 0;
    if (descriptor < 0 && errno == EEXIST) {
        descriptor = ::open(path, flags, mode);
    }
    return descriptor;
}

} // namespace

OSStatus OutputFile::create(const std::string& path, UInt64 limit, UInt64 reservedBytes,
                            std::unique_ptr<OutputFile>& file) {
    bool isNew = false;
    const int descriptor = openForWriting(path.c_str(), isNew);
    if (descriptor < 0) {
        return statusOfOpening(errno);
    }
    std::unique_ptr<OutputFile> made(new OutputFile(path, descriptor, limit));
    struct stat facts {};
    if (::fstat(descriptor, &facts) != 0 || !S_ISREG(facts.st_mode)) {
        noteOwnReason(irregularReason);
        return kAudioFileUnspecifiedError;
    }
    const OSStatus status = ::ftruncate(descriptor, 0) != 0 ? made->fail(errno) : made->reserve(reservedBytes);
    if (status != 0) {
        if (isNew) {
            ::unlink(path.c_str());
        }
        return status;
    }
    file = std::move(made);
    return 0;
}

OSStatus OutputFile::writeForwards(const std::string& name, int descriptor, std::unique_ptr<OutputFile>& file) {
    const int own = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    if (own < 0) {
        return statusOfOpening(errno);
    }
    constexpr bool isForwards = true;
    file.reset(new OutputFile(name, own, std::numeric_limits<UInt64>::max(), isForwards));
    return 0;
}

OutputFile::OutputFile(std::string path, int descriptor, UInt64 limit, bool isForwards)
    : mPath(std::move(path)), mDescriptor(descriptor), mLimit(limit), mIsForwards(isForwards) {
    auto* const buffer = static_cast<unsigned char*>(av_malloc(streamBytes));
    if (buffer != nullptr) {
#if LIBAVFORMAT_VERSION_MAJOR >= 61
        constexpr auto writePacket = write;
#else
        constexpr auto writePacket = [](void* self, std::uint8_t* bytes, int count) {
            return write(self, bytes, count);
        };
#endif
        mStream.reset(
            avio_alloc_context(buffer, streamBytes, 1, this, nullptr, writePacket, mIsForwards ? nullptr : seek));
    }
    if (mStream == nullptr) {
        av_free(buffer);
        ::close(mDescriptor);
        throw std::bad_alloc();
    }
}

OutputFile::~OutputFile() {
    if (mDescriptor >= 0) {
        ::close(mDescriptor);
    }
}

UInt64 OutputFile::size() const {
    const auto position = static_cast<UInt64>(std::max<std::int64_t>(avio_tell(mStream.get()), 0));
    return std::max(mSize, position);
}

int OutputFile::write(void* self, const std::uint8_t* bytes, int count) {
    auto& file = *static_cast<OutputFile*>(self);
    if (file.mDiscards) {
        return count;
    }
    const int reason = file.writeBytes(bytes, static_cast<std::size_t>(count));
    if (reason != 0) {
        noteSystemReason(reason); // before libav complains of what follows from it
        return AVERROR(reason);
    }
    return count;
}

int OutputFile::writeBytes(const std::uint8_t* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t written = writeSome(bytes, count);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return written < 0 ? errno : EIO;
        }
        bytes += written;
        count -= static_cast<std::size_t>(written);
        mPosition += static_cast<UInt64>(written);
        mSize = std::max(mSize, mPosition);
    }
    return 0;
}

/// Waits for the reader of a pipe, also if somebody else has made that not wait.
ssize_t OutputFile::writeSome(const std::uint8_t* bytes, std::size_t count) const {
    if (!mIsForwards) {
        return ::pwrite(mDescriptor, bytes, count, static_cast<off_t>(mPosition));
    }
    ssize_t written = 0;
    while ((written = ::write(mDescriptor, bytes, count)) < 0 && errno == EAGAIN) {
        pollfd watched = {mDescriptor, POLLOUT, 0};
        ::poll(&watched, 1, -1);
    }
    return written;
}

std::int64_t OutputFile::seek(void* self, std::int64_t offset, int whence) {
    auto& file = *static_cast<OutputFile*>(self);
    if ((whence & AVSEEK_SIZE) != 0) {
        return static_cast<std::int64_t>(file.mSize);
    }
    if ((whence & ~AVSEEK_FORCE) != SEEK_SET || offset < 0) {
        return AVERROR(EINVAL);
    }
    file.mPosition = static_cast<UInt64>(offset);
    return offset;
}

OSStatus OutputFile::reserve(UInt64 bytes) {
    if (mIsForwards || bytes <= mReserved) {
        return 0;
    }
    if (bytes > mLimit) {
        return fail(EFBIG);
    }
    // Large reservations cost less, but the last bytes of a disk should be usable too.
    int reason = reserveOnce(std::min(bytes + reservedAtOnce, mLimit));
    if (reason != 0) {
        reason = reserveOnce(bytes);
    }
    return reason == 0 ? 0 : fail(reason);
}

int OutputFile::reserveOnce(UInt64 bytes) {
    int reason = 0;
    do {
        // The size remains what was written, so that a file whose process is killed does not end in zeros.
        const int result = ::fallocate(mDescriptor, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(mReserved),
                                       static_cast<off_t>(bytes - mReserved));
        reason = result == 0 ? 0 : errno;
    } while (reason == EINTR);
    if (reason == EOPNOTSUPP || reason == ENOSYS) {
        reason = fillWithZeros(bytes);
    }
    if (reason == 0) {
        mReserved = bytes;
    }
    return reason;
}

int OutputFile::fillWithZeros(UInt64 bytes) const {
    static constexpr std::array<std::uint8_t, std::size_t{16} * 1024> zeros{};
    for (UInt64 position = std::max(mReserved, mSize); position < bytes;) {
        const auto count = static_cast<std::size_t>(std::min<UInt64>(zeros.size(), bytes - position));
        const ssize_t written = ::pwrite(mDescriptor, zeros.data(), count, static_cast<off_t>(position));
        if (written > 0) {
            position += static_cast<UInt64>(written);
        } else if (written == 0 || errno != EINTR) {
            const int reason = written == 0 ? EIO : errno;
            const UInt64 kept = std::max(mReserved, mSize);
            return ::ftruncate(mDescriptor, static_cast<off_t>(kept)) == 0 ? reason : errno;
        }
    }
    return 0;
}

OSStatus OutputFile::flush() {
    avio_flush(mStream.get());
    if (mStream->error < 0) {
        return fail(AVUNERROR(mStream->error));
    }
    mReasonLogged = 0;
    return 0;
}

void OutputFile::clearStream() {
    mDiscards = true;
    avio_flush(mStream.get());
    mDiscards = false;
    mStream->error = 0;
}

void OutputFile::goBackTo(UInt64 bytes) {
    clearStream();
    avio_seek(mStream.get(), static_cast<std::int64_t>(bytes), SEEK_SET);
    mPosition = bytes; // the stream already assumes this position and will not seek
    if (bytes < mSize && ::ftruncate(mDescriptor, static_cast<off_t>(bytes)) == 0) {
        mSize = bytes;
        mReserved = std::min(mReserved, bytes);
    }
}

void OutputFile::skipWhatFailed() {
    clearStream();
    mPosition = static_cast<UInt64>(std::max<std::int64_t>(avio_tell(mStream.get()), 0));
}

OSStatus OutputFile::close() {
    if (mDescriptor < 0) {
        return 0;
    }
    OSStatus status = flush();
    if (!mIsForwards && ::ftruncate(mDescriptor, static_cast<off_t>(mSize)) != 0 && status == 0) {
        status = fail(errno);
    }
    // Some file systems report a failed write only here. The descriptor is closed in any case.
    if (::close(std::exchange(mDescriptor, -1)) != 0 && errno != EINTR && status == 0) {
        status = fail(errno);
    }
    return status;
}

OSStatus OutputFile::fail(int reason) {
    noteSystemReason(reason);
    // That the reader of a pipe has had enough is no fault.
    if (std::exchange(mReasonLogged, reason) != reason && reason != EPIPE) {
        log(std::generic_category().message(reason));
    }
    return kAudioFileUnspecifiedError;
}

// Callers of a write are given the reason. Who closes a file, such as the destructor of its object, may have nobody to
// give it to.
void OutputFile::log(const std::string& reason) const {
    const std::string line = "(ERROR) FileWriter : " + mPath + " cannot be written: " + reason;
    mIsClosing ? NSLog(line) : logQuietly(line);
}

} // namespace braq
