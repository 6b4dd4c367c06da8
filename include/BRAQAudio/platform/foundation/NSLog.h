#pragma once

#include "BRAQAudio/platform/export.h"

#include <functional>
#include <string>

/// @addtogroup foundation
/// @{

/// Receives each line of the log, without a line end. Called on the thread that logs, one call at a time, so it must
/// not wait for a thread that may log. If the sink throws, or logs from inside itself, that line goes to the default
/// destination.
using NSLogSink = std::function<void(const std::string& line)>;

/// Writes one line to the log. Line breaks inside `line` become spaces. `errno` is preserved. Any thread but an I/O
/// thread.
BRAQ_EXPORT void NSLog(const std::string& line);

/// Replaces the destination of the log. An empty sink restores the default: standard error and syslog, and only syslog
/// for what the library also returns as an error and for what is no failure. When this returns, the previous sink is not running and is not called again, except if called from inside that sink.
/// @return the previous sink; empty for the default
BRAQ_EXPORT NSLogSink NSLogSetSink(NSLogSink sink);

/// @}
