#pragma once

#ifndef __cplusplus
#include <assert.h>
#include <stdbool.h>
#endif

/// @addtogroup platform
/// @{

#ifdef __cplusplus
/// Exports a name from the shared library. All other names are hidden.
#define BRAQ_EXPORT [[gnu::visibility("default")]]
/// The result must not be ignored.
#define BRAQ_NODISCARD [[nodiscard]]
/// The function throws nothing, which goes without saying in C.
#define BRAQ_NOEXCEPT noexcept
/// A function that headers define, constant where the language allows it.
#define BRAQ_INLINE constexpr
#else
#define BRAQ_EXPORT __attribute__((visibility("default")))
#define BRAQ_NODISCARD __attribute__((warn_unused_result))
#define BRAQ_NOEXCEPT
#define BRAQ_INLINE static inline
#endif

/// Ends the declaration of an exported constant or function whose name other libraries may use, too. Its linker name
/// gets the prefix BRAQ_; otherwise one of the same name in another library of the process could replace it.
#define BRAQ_LINKER_NAME(name) __asm__("BRAQ_" #name)

/// Enclose declarations with C linkage that return C++ types. Their names are unmangled so that they can be looked up
/// by name, but their callers are C++, so the compiler's warning does not apply.
#if defined(__clang__)
#define BRAQ_BEGIN_CXX_RETURN                                                                                          \
    _Pragma("clang diagnostic push") _Pragma("clang diagnostic ignored \"-Wreturn-type-c-linkage\"")
#define BRAQ_END_CXX_RETURN _Pragma("clang diagnostic pop")
#else
#define BRAQ_BEGIN_CXX_RETURN
#define BRAQ_END_CXX_RETURN
#endif

/// @}
