#include "Interruption.h"

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

bool isReadable(int descriptor, std::chrono::milliseconds wait = {}) {
    pollfd watched = {descriptor, POLLIN, 0};
    return ::poll(&watched, 1, static_cast<int>(wait.count())) > 0;
}

void makeReadable(int event) {
    const std::uint64_t one = 1;
    static_cast<void>(::write(event, &one, sizeof(one)));
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
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        ::sigaddset(&signals, signal);
    }
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    mSignals = opened(::signalfd(-1, &signals, SFD_CLOEXEC));
    mRequest = opened(::eventfd(0, EFD_CLOEXEC));
    mEnd = opened(::eventfd(0, EFD_CLOEXEC));
    // The thread takes no signal from those that are waited for elsewhere, such as by job control.
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
    Clock::time_point lastHope = Clock::time_point::max();
    while (true) {
        pollfd watched[] = {{mSignals, POLLIN, 0}, {mEnd, POLLIN, 0}};
        if (::poll(watched, std::size(watched), -1) < 0) {
            continue;
        }
        if (watched[1].revents != 0) {
            return;
        }
        ::signalfd_siginfo signal{};
        if (::read(mSignals, &signal, sizeof(signal)) != static_cast<ssize_t>(sizeof(signal))) {
            continue;
        }
        if (Clock::now() >= lastHope) {
            dieOf(static_cast<int>(signal.ssi_signo));
        }
        makeReadable(mRequest);
        if (!mIsNoticed) {
            waitUntilNoticed(static_cast<int>(signal.ssi_signo));
        }
        if (lastHope == Clock::time_point::max()) {
            lastHope = Clock::now() + mPatience;
        }
    }
}

void Interruption::waitUntilNoticed(int signal) {
    constexpr std::chrono::milliseconds betweenLooks{10};
    const Clock::time_point end = Clock::now() + mPatience;
    while (!mIsNoticed && !isReadable(mEnd, betweenLooks)) {
        if (Clock::now() >= end) {
            dieOf(signal);
        }
    }
}
