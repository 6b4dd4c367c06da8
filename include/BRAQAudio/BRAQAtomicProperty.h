#pragma once

#include <mutex>
#include <utility>

/// A field that any thread may read and set whole. Neither on an I/O thread, which is what `plain` is for.
template <class Value>
class BRAQAtomicProperty {
  public:
    BRAQAtomicProperty() = default;
    explicit BRAQAtomicProperty(Value value) : mValue(std::move(value)) {}

    Value get() const {
        const std::lock_guard lock(mMutex);
        return mValue;
    }

    /// The old value is let go on the calling thread, without a lock.
    void set(Value value) {
        const std::lock_guard lock(mMutex);
        std::swap(mValue, value);
    }

    /// The field without a lock, for who knows that nobody sets it meanwhile.
    /// @realtime
    const Value& plain() const noexcept { return mValue; }

  private:
    mutable std::mutex mMutex;
    Value mValue{};
};
