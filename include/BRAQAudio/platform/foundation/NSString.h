#pragma once

#include "BRAQAudio/platform/export.h"

#include <string>

/// A text made as by `printf`, but always in the "C" locale: a decimal point is a point whatever the user's language.
/// Raises NSException `NSInvalidArgumentException` when the arguments have no text (a wide character that is not ASCII).
/// Any thread but an I/O thread.
[[gnu::format(printf, 1, 2)]] BRAQ_EXPORT std::string NSStringWithFormat(const char* format, ...);
