#pragma once

/// @addtogroup platform
/// @{

/// Exports a name from the shared library. All other names are hidden.
#define BRAQ_EXPORT [[gnu::visibility("default")]]

/// Ends the declaration of an exported constant whose name does not begin with BRAQ or kBRAQ. Its linker name gets the
/// prefix BRAQ_; otherwise a constant of the same name in another library of the process could replace it.
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
