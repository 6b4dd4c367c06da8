#pragma once

#include <stdexcept>
#include <string>

/// Thrown when nobody reads what the program writes any more, as after `braq devices | head -1`: it has done its work.
class ReaderIsGone : public std::runtime_error {
  public:
    ReaderIsGone() : std::runtime_error("nobody reads the output") {}
};

/// Writes all of `text` to the standard output, at once. Throws `ReaderIsGone`, or std::system_error for another failure.
/// The signal SIGPIPE is ignored.
void writeOutput(const std::string& text);
