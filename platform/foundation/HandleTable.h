#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

namespace braq {

/// Objects by handle: numbers from 1, which programs hold. A number is never reused, so stale handles are detected. Any
/// thread but an I/O thread.
template <class Object>
class HandleTable {
  public:
    std::uintptr_t add(std::shared_ptr<Object> object) {
        const std::lock_guard lock(mMutex);
        mObjects[++mLast] = std::move(object);
        return mLast;
    }

    /// Null for an unknown number.
    std::shared_ptr<Object> find(std::uintptr_t number) const {
        const std::lock_guard lock(mMutex);
        const auto found = mObjects.find(number);
        return found != mObjects.end() ? found->second : nullptr;
    }

    /// Removes the object. @return the object, or null
    std::shared_ptr<Object> take(std::uintptr_t number) {
        const std::lock_guard lock(mMutex);
        const auto found = mObjects.extract(number);
        return found.empty() ? nullptr : std::move(found.mapped());
    }

  private:
    mutable std::mutex mMutex;
    std::map<std::uintptr_t, std::shared_ptr<Object>> mObjects; // under mMutex
    std::uintptr_t mLast = 0;                                   // under mMutex
};

} // namespace braq
