#pragma once

#include <mutex>
#include <utility>

/// @addtogroup core
/// @{

/// A field that any thread but an I/O thread may read and set as a whole. An I/O thread may call `plain` only.
template <class Value>
class BRAQAtomicProperty {
  public:
    BRAQAtomicProperty() = default;
    explicit BRAQAtomicProperty(Value value) : mValue(std::move(value)) {}

    Value get() const {
        const std::lock_guard lock(mMutex);
        return mValue;
    }

    /// The old value is released on the calling thread, after the lock is dropped.
    void set(Value value) {
        const std::lock_guard lock(mMutex);
        std::swap(mValue, value);
    }

    /// Reads the field without locking. The caller knows that no other thread sets it at the same time.
    /// @realtime
    const Value& plain() const noexcept { return mValue; }

  private:
    mutable std::mutex mMutex;
    Value mValue{};
};

/// @}
