#pragma once

#include <string>

namespace braq {

/// Like `NSLog`, but by default the line goes to syslog only: for what programs are given as an error as well, and for
/// what is no failure. Any thread but an I/O thread.
void logQuietly(const std::string& line);

} // namespace braq
