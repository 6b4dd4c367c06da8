#pragma once

#include "BRAQAudio/platform/threads.h"

#include <string>

namespace braq::tests {

/// What a thread is like.
struct ThreadFacts {
    thread_act_t thread = 0;
    std::string name;
    std::size_t stackBytes = 0; ///< without what guards it
    int policy = -1;            ///< as the kernel says, without flags
    int priority = -1;
};

ThreadFacts factsOfThisThread();

/// Whether its stack is as large as the library's threads have it. Sanitizers enlarge stacks; then only not less is shown.
bool hasStackOfTheLibrary(const ThreadFacts& facts);

} // namespace braq::tests
