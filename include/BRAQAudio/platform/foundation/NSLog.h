#pragma once

#include "BRAQAudio/platform/export.h"

#include <functional>
#include <string>

/// Receives each line of the log, without a line end. Called on whichever thread logs, one call at a time, so it must
/// not wait for a thread that may log. A line whose sink throws, or that is logged from inside the sink, goes where the
/// default writes.
using NSLogSink = std::function<void(const std::string& line)>;

/// Writes one line to the log. Line ends inside `line` become spaces; `errno` is left as it was. Any thread but an I/O
/// thread.
BRAQ_EXPORT void NSLog(const std::string& line);

/// Replaces where the log goes; an empty sink restores the default, which writes to standard error and to syslog.
/// The sink that was in force is not running and is not called again when this returns, except from inside that sink.
/// @return the sink that was in force; empty for the default
BRAQ_EXPORT NSLogSink NSLogSetSink(NSLogSink sink);
