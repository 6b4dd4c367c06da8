#pragma once

#include "BRAQAudio/platform/export.h"

/// @addtogroup foundation
/// @{

/// A URL in the C interface. Immutable, so any thread may read it.
#ifdef __cplusplus
class NSURL;
typedef const NSURL* CFURLRef;
#else
typedef const struct NSURL* CFURLRef;
#endif

#ifdef __cplusplus
extern "C" {
#endif

/// Creates a file URL for a null-terminated UTF-8 path, absolute or relative to the current working directory. The path
/// is copied as it is.
/// @return a URL to be released with `CFURLRelease`; null for null or if out of memory
/// Any thread but an I/O thread.
BRAQ_NODISCARD BRAQ_EXPORT CFURLRef CFURLCreateFromFileSystemRepresentation(const char* path) BRAQ_NOEXCEPT
    BRAQ_LINKER_NAME(CFURLCreateFromFileSystemRepresentation);

/// Frees a URL that `CFURLCreateFromFileSystemRepresentation` made, and no other. Nothing opened with it needs it any
/// longer. Null does nothing. Any thread but an I/O thread.
BRAQ_EXPORT void CFURLRelease(CFURLRef url) BRAQ_NOEXCEPT BRAQ_LINKER_NAME(CFURLRelease);

#ifdef __cplusplus
}
#endif

/// @}
