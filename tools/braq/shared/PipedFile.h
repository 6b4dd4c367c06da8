#pragma once

#include <cstdint>
#include <string>

/// The path of the standard input.
constexpr const char* standardInputPath = "/dev/stdin";

/// A file that comes out of a pipe or a socket. Audio files are read at any place, so it is kept on the disk until this
/// object goes: in a file without a name, in $TMPDIR, or /var/tmp without that variable. Main thread.
class PipedFile {
  public:
    /// Whether what is at the path can be read forwards only: a pipe, and a standard input that is not a file at its
    /// beginning.
    static bool isAt(const std::string& path);

    /// Opens it, and waits neither for somebody who writes nor for data.
    explicit PipedFile(const std::string& path);
    ~PipedFile();
    PipedFile(const PipedFile&) = delete;
    PipedFile& operator=(const PipedFile&) = delete;

    /// Readable when `take` has something to do; -1 when all is there.
    int descriptor() const noexcept { return mSource; }
    /// Takes what has arrived. Does not wait.
    void take() noexcept;

    /// Whether all of it has arrived, or no more will.
    bool isComplete() const noexcept { return mSource < 0; }
    /// So far.
    std::uint64_t bytes() const noexcept { return mBytes; }
    /// Where the complete file can be opened. Throws std::runtime_error if it has not arrived, in words for users: why.
    std::string path() const;

  private:
    bool takeOnce();
    void end(std::string trouble) noexcept;

    int mSource = -1; // -1: has ended
    int mKept = -1;
    std::uint64_t mBytes = 0;
    std::string mTrouble;
};

/// A number of bytes for users, such as "12.3 MB".
std::string bytesText(std::uint64_t bytes);
