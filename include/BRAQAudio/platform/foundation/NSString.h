#pragma once

#include "BRAQAudio/platform/export.h"

#include <string>

/// @addtogroup foundation
/// @{

/// Formats like `printf`, but always in the "C" locale: the decimal point is a point in every language. Raises
/// NSException `NSInvalidArgumentException` if the arguments cannot be formatted (a wide character that is not ASCII).
/// Any thread but an I/O thread.
[[gnu::format(printf, 1, 2)]] BRAQ_EXPORT std::string NSStringWithFormat(const char* format, ...);

/// @}
