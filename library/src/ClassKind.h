#pragma once

#include <typeinfo>

namespace braq {

/// Whether the class `derived` is the class `base` or has it as an unambiguous or repeated public base. Any thread.
///
/// The language answers that of classes that are known when it is compiled only. This reads the descriptions of classes that
/// every compiler for Linux leaves in a program (Itanium C++ ABI, 2.9.5, "RTTI Layout").
bool isSameOrDerivedClass(const std::type_info& derived, const std::type_info& base) noexcept;

/// Whether `other` is of the class that `object` was made of, or of one derived from it.
template <class Base>
bool isKindOfClassOf(const Base& object, const Base& other) noexcept {
    return isSameOrDerivedClass(typeid(other), typeid(object));
}

} // namespace braq
