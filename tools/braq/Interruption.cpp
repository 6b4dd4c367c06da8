#include "Interruption.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

Interruption::Interruption() {
    ::sigset_t signals;
    ::sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        ::sigaddset(&signals, signal);
    }
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    mDescriptor = ::signalfd(-1, &signals, SFD_CLOEXEC);
    if (mDescriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot wait for signals");
    }
}

Interruption::~Interruption() { ::close(mDescriptor); }
