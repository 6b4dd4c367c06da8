#include "tools/braq/terminal/JobControl.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <initializer_list>
#include <system_error>

namespace {

::sigset_t setOf(std::initializer_list<int> numbers) {
    ::sigset_t signals;
    ::sigemptyset(&signals);
    for (const int number : numbers) {
        ::sigaddset(&signals, number);
    }
    return signals;
}

} // namespace

JobControl::JobControl() {
    const ::sigset_t signals = setOf({SIGTSTP, SIGCONT});
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    mDescriptor = ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (mDescriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot wait for signals");
    }
}

JobControl::~JobControl() { ::close(mDescriptor); }

bool JobControl::isToSuspend() const {
    bool isToSuspend = false;
    ::signalfd_siginfo signal{};
    while (::read(mDescriptor, &signal, sizeof(signal)) == static_cast<ssize_t>(sizeof(signal))) {
        isToSuspend = signal.ssi_signo == SIGTSTP;
    }
    return isToSuspend;
}

// Not SIGSTOP: a program that no shell could continue is not stopped by this.
void JobControl::suspend() {
    const ::sigset_t suspending = setOf({SIGTSTP});
    ::pthread_sigmask(SIG_UNBLOCK, &suspending, nullptr);
    ::raise(SIGTSTP);
    ::pthread_sigmask(SIG_BLOCK, &suspending, nullptr);
}
