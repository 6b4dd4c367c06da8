#include "BRAQAudio/platform/foundation/CFURL.h"

#include "BRAQAudio/platform/foundation/NSURL.h"

#include <new>

CFURLRef CFURLCreateFromFileSystemRepresentation(const char* path) noexcept {
    if (path == nullptr) {
        return nullptr;
    }
    try {
        return new NSURL(*NSURL::fileURLWithPath(path));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void CFURLRelease(CFURLRef url) noexcept { delete url; }
