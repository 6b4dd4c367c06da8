#pragma once

#include <utility>

namespace braq {

/// Logs the exception being handled as "(ERROR) WHERE : WHAT". Only inside a catch clause. Never throws.
void logCaughtException(const char* where) noexcept;

/// Runs `work`. Exceptions are caught and logged.
template <class Work>
void runAndLogExceptions(const char* where, Work&& work) noexcept {
    try {
        std::forward<Work>(work)();
    } catch (...) {
        logCaughtException(where);
    }
}

} // namespace braq
