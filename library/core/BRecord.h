#pragma once

#include <cstddef>
#include <cstdlib>

// Records are zero-filled memory of the C heap, so fields that an initialiser does not set are 0, false or null.
// `Initialize` then constructs non-trivial fields in place.
namespace braq {

/// A zero-filled record initialised by `initialize(record)`; null if out of memory or if `initialize` returns false.
template <class Record, class Initialize>
Record* createRecord(Initialize initialize) {
    static_assert(alignof(Record) <= alignof(std::max_align_t), "calloc aligns no further");
    auto* record = static_cast<Record*>(std::calloc(1, sizeof(Record)));
    if (record == nullptr) {
        return nullptr;
    }
    try {
        if (initialize(record)) {
            return record;
        }
    } catch (...) {
        // A closure that cannot be copied counts as a failure to initialise.
    }
    std::free(record);
    return nullptr;
}

} // namespace braq
