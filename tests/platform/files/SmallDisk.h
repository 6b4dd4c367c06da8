#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace braq::tests {

/// Runs `body` on a thread that alone sees, at the folder `place`, an empty disk of so many bytes.
/// @return false, and `body` did not run, where this process may not mount one
bool runWithSmallDisk(const std::string& place, std::size_t bytes, const std::function<void()>& body);

/// Runs `body` on a thread for which space cannot be reserved, as on a file system that has no such thing.
/// @return false, and `body` did not run, where the system has no filter for that
bool runWithoutReservations(const std::function<void()>& body);

/// Runs `body` on a thread for which space that is reserved is only promised, as on a file system that copies on write.
/// @return as `runWithoutReservations`
bool runWithEmptyPromises(const std::function<void()>& body);

/// Runs `body` on a thread for which closing a file fails, as on a file system that writes only then.
/// @return as `runWithoutReservations`
bool runWithFailingClose(const std::function<void()>& body);

/// No file of this process can grow beyond so many bytes while it lives; whoever tries is told, but not killed.
class FileSizeLimit {
  public:
    explicit FileSizeLimit(std::size_t bytes);
    ~FileSizeLimit();
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

  private:
    unsigned long mBefore;
    void (*mHandlerBefore)(int);
};

} // namespace braq::tests
