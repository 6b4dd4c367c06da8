#pragma once

#include "BRAQAudio/platform/graphs.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace braq::tests {

/// What tests have a call answer.
constexpr OSStatus refused = -4711;

/// A call of a unit or graph function, as far as tests look at it.
struct UnitCall {
    std::string function;
    UInt32 number = 0; ///< property, parameter or node
    AudioUnitScope scope = 0;
    AudioUnitElement element = 0;
    std::vector<std::byte> data{}; ///< that is set

    /// The data as a record.
    template <class Record>
    Record as() const {
        Record record{};
        if (data.size() == sizeof(record)) {
            std::copy(data.begin(), data.end(), reinterpret_cast<std::byte*>(&record));
        }
        return record;
    }
};

/// The calls of units and graphs that the library's classes make on this thread while it lives; those that the platform makes
/// among its own files are not seen. One of them can be made to fail. One at a time a thread.
class UnitCalls {
  public:
    UnitCalls() : UnitCalls(std::nullopt, 0) {}
    /// @param failing which call, from 0, answers `status` and is not made; a search answers null
    UnitCalls(std::optional<std::size_t> failing, OSStatus status);
    ~UnitCalls();
    UnitCalls(const UnitCalls&) = delete;
    UnitCalls& operator=(const UnitCalls&) = delete;

    const std::vector<UnitCall>& calls() const { return mCalls; }
    std::vector<std::string> functions() const;

    /// Keeps the call. @return whether it is to fail
    bool take(UnitCall call);
    OSStatus status() const { return mStatus; }

    /// Called with each call before it is made.
    std::function<void(const UnitCall&)> beforeCall;

  private:
    const std::optional<std::size_t> mFailing;
    const OSStatus mStatus;
    std::vector<UnitCall> mCalls;
};

} // namespace braq::tests
