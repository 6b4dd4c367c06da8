#include "tests/support/RealtimeGuard.h"

#include "tests/support/RealtimeGuardInternal.h"

#include <execinfo.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

namespace braq::tests {

namespace {

thread_local bool marked = false;

void print(const char* text) { [[maybe_unused]] const auto written = ::write(STDERR_FILENO, text, std::strlen(text)); }

} // namespace

bool inRealtimeScope() noexcept { return marked; }

void refuseInRealtimeScope(const char* what) noexcept {
    if (!marked) {
        return;
    }
    marked = false; // the report itself allocates and writes
    print("real-time guard: ");
    print(what);
    print(" in a real-time scope, called from\n");
    void* frames[64];
    backtrace_symbols_fd(frames, backtrace(frames, 64), STDERR_FILENO);
    std::abort();
}

bool realtimeGuardIsActive() { return interposersAreLinked(); }

void runRealtime(const std::function<void()>& body) {
    // The first call of `backtrace` loads a library; done here it cannot disturb a report.
    void* frame = nullptr;
    backtrace(&frame, 1);

    std::vector<char> signalStack(signalStackBytes);
    std::thread thread([&] {
        filterSystemCalls(signalStack.data());
        marked = true;
        body();
        marked = false;
    });
    thread.join();
}

RealtimePause::RealtimePause() : mWasMarked(marked) { marked = false; }

RealtimePause::~RealtimePause() { marked = mWasMarked; }

} // namespace braq::tests
