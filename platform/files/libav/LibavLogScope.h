#pragma once

#include <cstdarg>
#include <string>

namespace braq {

/// While it lives, what libav says on this thread, warnings and worse, goes to the log with the name of the file that is
/// worked on. What libav says to others in the process stays theirs.
class LibavLogScope {
  public:
    /// @param file lives as long as this object
    /// @param linesLeft lines that libav may still write about that file: a damaged one has a complaint in each packet.
    ///        Null for silence.
    LibavLogScope(const std::string& file, unsigned* linesLeft);
    ~LibavLogScope();
    LibavLogScope(const LibavLogScope&) = delete;
    LibavLogScope& operator=(const LibavLogScope&) = delete;

  private:
    friend void writeLibavLine(void*, int, const char*, va_list);

    const std::string& mFile;
    unsigned* const mLinesLeft;
    LibavLogScope* const mBefore;
};

} // namespace braq
