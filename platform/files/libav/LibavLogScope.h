#pragma once

#include <cstdarg>
#include <string>

namespace braq {

/// While it lives, libav's messages on this thread, warnings and worse, go to the log with the name of the file being
/// worked on. The first error is also noted as the reason why the call in progress fails, if it does. Other users of libav in the process keep theirs.
class LibavLogScope {
  public:
    /// @param file must outlive this object
    /// @param linesLeft lines that libav may still log about this file, because a damaged file has a complaint in each
    ///        packet. Null silences it.
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
