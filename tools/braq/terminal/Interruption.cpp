#include "tools/braq/terminal/Interruption.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <iterator>
#include <system_error>

namespace {

int opened(int descriptor) {
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot wait for signals");
    }
    return descriptor;
}

bool isReadable(int descriptor) {
    pollfd watched = {descriptor, POLLIN, 0};
    return ::poll(&watched, 1, 0) > 0;
}

void makeReadable(int event) {
    const std::uint64_t one = 1;
    static_cast<void>(::write(event, &one, sizeof(one)));
}

// As after nohup(1). A signal that is waited for would be seen all the same.
bool isIgnored(int signal) {
    struct sigaction action {};
    return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

[[noreturn]] void dieOf(int signal) {
    std::signal(signal, SIG_DFL);
    ::sigset_t only;
    ::sigemptyset(&only);
    ::sigaddset(&only, signal);
    ::pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
    ::raise(signal);
    ::_exit(128 + signal);
}

} // namespace

Interruption::Interruption(std::chrono::milliseconds patience) : mPatience(patience) {
    ::sigset_t signals;
    ::sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM}) {
        ::sigaddset(&signals, signal);
    }
    if (!isIgnored(SIGHUP)) {
        ::sigaddset(&signals, SIGHUP);
    }
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    mSignals = opened(::signalfd(-1, &signals, SFD_CLOEXEC));
    mRequest = opened(::eventfd(0, EFD_CLOEXEC));
    mEnd = opened(::eventfd(0, EFD_CLOEXEC));
    // Blocks all signals in the thread, so that it takes none that others wait for, such as job control.
    ::sigset_t every;
    ::sigset_t before;
    ::sigfillset(&every);
    ::pthread_sigmask(SIG_SETMASK, &every, &before);
    mWatch = std::thread([this] { watch(); });
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    ::pthread_setname_np(mWatch.native_handle(), "interruption");
}

Interruption::~Interruption() {
    makeReadable(mEnd);
    mWatch.join();
    for (const int descriptor : {mSignals, mRequest, mEnd}) {
        ::close(descriptor);
    }
}

bool Interruption::isRequested() const noexcept {
    const bool isRequested = isReadable(mRequest);
    if (isRequested) {
        mIsNoticed = true;
    }
    return isRequested;
}

void Interruption::watch() {
    constexpr std::chrono::milliseconds betweenLooks{10};
    int first = 0; // signal
    Clock::time_point firstTime;
    while (true) {
        const bool mayHang = first != 0 && !mIsNoticed;
        bool hasSignal = false;
        if (!isToWatch(mayHang ? betweenLooks : std::chrono::milliseconds(-1), hasSignal)) {
            return;
        }
        const int signal = hasSignal ? takeSignal() : 0;
        const auto passed = Clock::now() - firstTime;
        if (signal != 0 && first == 0) {
            first = signal;
            firstTime = Clock::now();
            makeReadable(mRequest);
        } else if (signal != 0 && passed >= mPatience / 5) {
            dieOf(signal);
        } else if (first != 0 && !mIsNoticed && passed >= mPatience) {
            dieOf(first);
        }
    }
}

/// @return 0: none
int Interruption::takeSignal() const {
    ::signalfd_siginfo signal{};
    const bool isThere = ::read(mSignals, &signal, sizeof(signal)) == static_cast<ssize_t>(sizeof(signal));
    return isThere ? static_cast<int>(signal.ssi_signo) : 0;
}

/// Waits for a signal.
/// @param longest negative: no limit
/// @return false: it is over
bool Interruption::isToWatch(std::chrono::milliseconds longest, bool& hasSignal) const {
    pollfd watched[] = {{mSignals, POLLIN, 0}, {mEnd, POLLIN, 0}};
    const int ready = ::poll(watched, std::size(watched), static_cast<int>(longest.count()));
    hasSignal = ready > 0 && watched[0].revents != 0;
    return ready <= 0 || watched[1].revents == 0;
}
