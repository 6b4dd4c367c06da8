#pragma once

// How platform threads find the object that a procedure was installed for.

#include <map>
#include <memory>
#include <mutex>

namespace braq {

/// The objects of a class that platform procedures are installed with. The platform keeps only an address, and may use
/// it while the object is being destroyed or later; the lookup then returns nothing. Any thread but an I/O thread.
template <class Object>
class LiveObjects {
  public:
    /// The registry of this class.
    static LiveObjects& all() {
        // Never destroyed: platform threads may use it while the process exits.
        static LiveObjects& objects = *new LiveObjects;
        return objects;
    }

    /// Registers the object under its address until it is removed.
    void add(const std::shared_ptr<Object>& object) {
        const std::lock_guard lock(mMutex);
        mObjects[object.get()] = object;
    }

    /// Must follow each `add`, at the latest in the object's destructor: afterwards another object may have its
    /// address.
    void remove(const Object* object) noexcept {
        const std::lock_guard lock(mMutex);
        mObjects.erase(object);
    }

    /// @return null for an unknown address, and for an object whose destruction has begun
    std::shared_ptr<Object> find(const void* address) const {
        const std::lock_guard lock(mMutex);
        const auto found = mObjects.find(address);
        return found != mObjects.end() ? found->second.lock() : nullptr;
    }

  private:
    LiveObjects() = default;

    mutable std::mutex mMutex;
    std::map<const void*, std::weak_ptr<Object>> mObjects;
};

} // namespace braq
