#pragma once

#include <memory>
#include <type_traits>

/// @addtogroup devices
/// @{

/// A strong reference to a delegate in a list of delegates, compared by object identity. A delegate is an object of any
/// class, without a required base. A class that has delegates derives its own entry from this one, with a function for
/// each operation that a delegate may have. Any thread; copies are independent.
class BRAQDelegateEntry {
  public:
    /// @param delegate may be null: an entry without an object
    template <class Delegate>
    requires std::is_class_v<Delegate> BRAQDelegateEntry(const std::shared_ptr<Delegate>& delegate)
        : mObject(delegate, identity(delegate.get())) {}

    /// The delegate; null if there is none.
    const std::shared_ptr<const void>& object() const noexcept { return mObject; }

    /// Whether both refer to the same object; the object's own operators are not used.
    friend bool operator==(const BRAQDelegateEntry& one, const BRAQDelegateEntry& other) noexcept {
        return one.mObject.get() == other.mObject.get();
    }

  private:
    // An object with several bases has several addresses; this is the one that all of them share.
    template <class Delegate>
    static const void* identity(Delegate* delegate) noexcept {
        if constexpr (std::is_polymorphic_v<Delegate>) {
            return dynamic_cast<const void*>(delegate);
        } else {
            return delegate;
        }
    }

    std::shared_ptr<const void> mObject;
};

/// @}
