#pragma once

#include <cstddef>
#include <cstdlib>

// Records come zero-filled from the C heap, so that every field that an initialiser does not name is 0, false or null.
// Their `Initialize` then constructs in place what is more than bytes.
namespace braq {

/// A zero-filled record made by `initialize(record)`, or null if there is no memory or `initialize` answers false.
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
        // A closure that cannot be copied is one more thing that the record could not get.
    }
    std::free(record);
    return nullptr;
}

} // namespace braq
