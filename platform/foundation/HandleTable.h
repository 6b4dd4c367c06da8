#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

namespace braq {

/// Objects by numbers from 1 on, which programs know them by. No number is used again, so that what was taken away is known to
/// be. Any thread but an I/O thread.
template <class Object>
class HandleTable {
  public:
    std::uintptr_t add(std::shared_ptr<Object> object) {
        const std::lock_guard lock(mMutex);
        mObjects[++mLast] = std::move(object);
        return mLast;
    }

    /// Null for what is no number of an object.
    std::shared_ptr<Object> find(std::uintptr_t number) const {
        const std::lock_guard lock(mMutex);
        const auto found = mObjects.find(number);
        return found != mObjects.end() ? found->second : nullptr;
    }

    /// The object is not found any more. @return it, or null
    std::shared_ptr<Object> take(std::uintptr_t number) {
        const std::lock_guard lock(mMutex);
        const auto found = mObjects.extract(number);
        return found.empty() ? nullptr : std::move(found.mapped());
    }

  private:
    mutable std::mutex mMutex;
    std::map<std::uintptr_t, std::shared_ptr<Object>> mObjects; // under the mutex
    std::uintptr_t mLast = 0;                                   // under the mutex
};

} // namespace braq
