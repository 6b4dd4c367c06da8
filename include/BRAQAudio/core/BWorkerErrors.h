#pragma once

#include "BRAQAudio/platform/foundation/NSError.h"

#include <memory>
#include <mutex>

/// @addtogroup core
/// @{

/// What the blocks that a worker runs have thrown. Read on any thread but an I/O thread.
struct BWorkerErrors {
    std::mutex mMutex;
    std::shared_ptr<NSError> mLast; ///< null until a block throws
    bool mFailing = false;          ///< worker's thread: whether the last block threw
};

/// @}
