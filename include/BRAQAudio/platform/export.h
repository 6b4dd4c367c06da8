#pragma once

/// Marks a name that leaves the shared library; everything else is hidden.
#define BRAQ_EXPORT [[gnu::visibility("default")]]

/// Ends the declaration of an exported constant whose name does not begin with BRAQ or kBRAQ: to the linker it is called
/// BRAQ_ and the name. Another library's constant of the same name, in the same process, would take its place otherwise.
#define BRAQ_LINKER_NAME(name) __asm__("BRAQ_" #name)

/// Enclose declarations with C linkage that return C++ types: their names are unmangled so that they can be looked up by
/// name, but their callers are C++, so the compiler need not warn of it.
#if defined(__clang__)
#define BRAQ_BEGIN_CXX_RETURN                                                                                          \
    _Pragma("clang diagnostic push") _Pragma("clang diagnostic ignored \"-Wreturn-type-c-linkage\"")
#define BRAQ_END_CXX_RETURN _Pragma("clang diagnostic pop")
#else
#define BRAQ_BEGIN_CXX_RETURN
#define BRAQ_END_CXX_RETURN
#endif
