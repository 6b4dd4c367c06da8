#pragma once

#include <typeinfo>

namespace braq {

/// Whether the class `derived` is the class `base` or has it as an unambiguous or repeated public base. Any thread.
///
/// The language answers this only for classes known at compile time. This function reads the type information that
/// every compiler for Linux generates (Itanium C++ ABI, 2.9.5, "RTTI Layout").
bool isSameOrDerivedClass(const std::type_info& derived, const std::type_info& base) noexcept;

/// Whether the class of `other` is that of `object`, or derived from it.
template <class Base>
bool isKindOfClassOf(const Base& object, const Base& other) noexcept {
    return isSameOrDerivedClass(typeid(other), typeid(object));
}

} // namespace braq
