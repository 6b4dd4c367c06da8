#pragma once

#include <unistd.h>

#include <stdexcept>
#include <string>

/// Thrown when the reader of the output has closed the pipe, as after `braq devices | head -1`: the program is done.
class ReaderIsGone : public std::runtime_error {
  public:
    ReaderIsGone() : std::runtime_error("nobody reads the output") {}
};

/// Writes all of `text` at once. Throws `ReaderIsGone`, or std::system_error for another failure. SIGPIPE must be
/// ignored.
void writeOutput(const std::string& text, int descriptor = STDOUT_FILENO);

/// Takes the place of a standard stream that was closed when the program was started, so that a file that is opened
/// later does not get its number, and messages. Reading from it and writing to it fail as before.
void holdClosedStreams();

/// Whether nobody will read what is written there: the pipe or the terminal is closed.
bool isReaderGone(int descriptor);
