#pragma once

/// The C library's own assertion failure. Its header declares it only where assertions are compiled in.
extern "C" [[noreturn]] void __assert_fail(const char* expression, const char* file, unsigned int line,
                                           const char* function) noexcept;

/// Ends the process as a failed `assert` does when `holds` is false. The place and the expression are given, not taken
/// from the source, because they are what users quote in reports; unlike `assert` it is always compiled in.
inline void BAssertAt(bool holds, const char* function, const char* file, unsigned int line,
                      const char* expression) noexcept {
    if (!holds) [[unlikely]] {
        __assert_fail(expression, file, line, function);
    }
}
