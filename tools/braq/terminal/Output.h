#pragma once

#include <stdexcept>
#include <string>

/// Thrown when the reader of the output has closed the pipe, as after `braq devices | head -1`: the program is done.
class ReaderIsGone : public std::runtime_error {
  public:
    ReaderIsGone() : std::runtime_error("nobody reads the output") {}
};

/// Writes all of `text` to the standard output at once. Throws `ReaderIsGone`, or std::system_error for another
/// failure. SIGPIPE must be ignored.
void writeOutput(const std::string& text);
