#pragma once

/// The C library's own assertion failure. Its header declares it only where assertions are compiled in.
extern "C" [[noreturn]] void __assert_fail(const char* expression, const char* file, unsigned int line,
                                           const char* function) noexcept;

/// Ends the process as a failed `assert` does if `holds` is false. Place and expression are arguments, because users
/// quote them in reports. Unlike `assert`, it is always compiled in.
inline void BAssertAt(bool holds, const char* function, const char* file, unsigned int line,
                      const char* expression) noexcept {
    if (!holds) [[unlikely]] {
        __assert_fail(expression, file, line, function);
    }
}
