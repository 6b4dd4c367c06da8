#pragma once

#include <memory>
#include <type_traits>

/// @addtogroup devices
/// @{

namespace braq::delegates {

/// Has the members of both classes. A name that both have is ambiguous in it.
template <class Delegate, class Name>
struct MembersOfBoth : Delegate, Name {};
/// Nothing is derived from a final class.
template <class Delegate, class Name>
requires std::is_final_v<Delegate>
struct MembersOfBoth<Delegate, Name> : Name {
};

/// Whether the type is that of the address of a function, of a class or not.
template <class Address>
inline constexpr bool isFunction =
    std::is_member_function_pointer_v<Address> || std::is_function_v<std::remove_pointer_t<Address>>;

} // namespace braq::delegates

/// Declares the concept `braq::delegates::Has_OPERATION`: whether a class has a function of that name, whatever it can
/// be called with; a field is no function. Classes whose objects have delegates use it to refuse, when a program is
/// compiled, a delegate whose operation would never be called because it has other parameters or is private. Overloaded
/// and private functions of a final class are not seen. At namespace scope, outside other namespaces.
// NOLINTBEGIN(bugprone-macro-parentheses): names cannot be in parentheses
#define BRAQ_DELEGATE_OPERATION(OPERATION)                                                                             \
    namespace braq::delegates {                                                                                        \
    struct Name_##OPERATION {                                                                                          \
        int OPERATION;                                                                                                 \
    };                                                                                                                 \
    template <class Delegate>                                                                                          \
    concept HasOne_##OPERATION = requires {                                                                            \
        &Delegate::OPERATION;                                                                                          \
    };                                                                                                                 \
    template <class Delegate>                                                                                          \
    concept Has_##OPERATION = (HasOne_##OPERATION<Delegate> && isFunction<decltype(&Delegate::OPERATION)>) ||          \
                              (!HasOne_##OPERATION<Delegate> &&                                                        \
                               !HasOne_##OPERATION<MembersOfBoth<std::remove_cv_t<Delegate>, Name_##OPERATION>>);      \
    }
// NOLINTEND(bugprone-macro-parentheses)

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
