#pragma once

#include "BRAQAudio/platform/foundation/NSError.h"

#include <memory>
#include <mutex>

/// What the closures that a worker runs have thrown. Any thread but an I/O thread reads it.
struct BWorkerErrors {
    std::mutex mMutex;
    std::shared_ptr<NSError> mLast; ///< null until something was thrown
    bool mFailing = false;          ///< worker's thread: the last closure threw
};
