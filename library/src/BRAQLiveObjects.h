#pragma once

// How the platform's threads find the object that a procedure of theirs was installed for.

#include <map>
#include <memory>
#include <mutex>

namespace braq {

/// The objects of a class that procedures of the platform are installed with. The platform keeps nothing but an address,
/// and may still use it when the object is being destroyed or is gone: then nothing is found. Any thread but an I/O thread.
template <class Object>
class LiveObjects {
  public:
    /// Those of the class.
    static LiveObjects& all() {
        // Never destroyed: threads of the platform may ask while the process exits.
        static LiveObjects& objects = *new LiveObjects;
        return objects;
    }

    /// Makes the object one that is found under its address, until it is removed.
    void add(const std::shared_ptr<Object>& object) {
        const std::lock_guard lock(mMutex);
        mObjects[object.get()] = object;
    }

    /// Follows each `add`, at the latest in the object's destructor: after that, its address may be another one's.
    void remove(const Object* object) noexcept {
        const std::lock_guard lock(mMutex);
        mObjects.erase(object);
    }

    /// @return null for an address of no object, and for an object that has begun to be destroyed
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
