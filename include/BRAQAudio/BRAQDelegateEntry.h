#pragma once

#include <memory>
#include <type_traits>

/// A delegate as an array of delegates holds it: strongly, and told apart from others by which object it is. Delegates are
/// objects of any class, derived from nothing. A class that has delegates derives an entry of its own from this one, with a
/// function for each operation that a delegate may have. Any thread; copies are independent.
class BRAQDelegateEntry {
  public:
    /// @param delegate may be null, which is an entry of no object
    template <class Delegate>
    requires std::is_class_v<Delegate> BRAQDelegateEntry(const std::shared_ptr<Delegate>& delegate)
        : mObject(delegate, identity(delegate.get())) {}

    /// The delegate; null if there is none.
    const std::shared_ptr<const void>& object() const noexcept { return mObject; }

    /// Whether both are the same object, whatever they say about it.
    friend bool operator==(const BRAQDelegateEntry& one, const BRAQDelegateEntry& other) noexcept {
        return one.mObject.get() == other.mObject.get();
    }

  private:
    // An object with several bases has several addresses; this is the one that they share.
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
