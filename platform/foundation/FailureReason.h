#pragma once

#include "BRAQAudio/platform/types.h"

#include <string_view>
#include <utility>

namespace braq {

// Why a call of the C interface fails, more precisely than its status says. A status has no room for it, so it stands
// beside the status, in a fixed record of the calling thread: nothing is allocated, and threads that make no such calls,
// such as I/O threads, never touch it. `BRAQStatusTakeReason` hands it out.

/// Notes the reason for the failure of the call in progress on this thread. The first one counts, because it is nearest
/// to the cause. A very long text is cut.
void noteReason(std::string_view reason) noexcept;

/// The same with an error number of the system.
void noteSystemReason(int errorNumber);

/// The same with a phrase of the library's, which is translated: `phrase` is its key in the table "StatusDescription".
void noteOwnReason(const char* phrase);

/// What was noted for the call in progress; empty if nothing was. Valid until something else is noted or forgotten.
std::string_view notedReason() noexcept;

/// Forgets what was noted. Calls that never note a reason begin with it.
void forgetReason() noexcept;

/// Ends a call: keeps what was noted together with the status, if it is a failure.
void keepReasonFor(OSStatus status) noexcept;

/// Runs a call that may note a reason. @return its status
template <class Call>
OSStatus withReason(Call&& call) {
    forgetReason();
    const OSStatus status = std::forward<Call>(call)();
    keepReasonFor(status);
    return status;
}

} // namespace braq
