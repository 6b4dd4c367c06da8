#include "tools/braq/terminal/Keyboard.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace {

/// @return -1 without a terminal
int openTerminal(Keyboard::Source source) {
    return source == Keyboard::Source::standardInput ? STDIN_FILENO : ::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY);
}

// A background process that changes a terminal or reads from it is stopped.
bool isInForeground(int terminal) { return ::tcgetpgrp(terminal) == ::getpgrp(); }

} // namespace

Keyboard::Keyboard(Suspending suspending, Source source) : mSuspending(suspending), mTerminal(openTerminal(source)) {
    take();
}

Keyboard::~Keyboard() {
    release();
    if (mTerminal > STDIN_FILENO) {
        ::close(mTerminal);
    }
}

void Keyboard::take() {
    if (mIsTaken || ::isatty(mTerminal) == 0 || ::isatty(STDOUT_FILENO) == 0 || !isInForeground(mTerminal) ||
        ::tcgetattr(mTerminal, &mBefore) != 0) {
        return;
    }
    ::termios settings = mBefore;
    settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    settings.c_cc[VMIN] = 0; // an interruption discards typed keys, and a blocking read would then hang
    settings.c_cc[VTIME] = 0;
    settings.c_cc[VQUIT] = _POSIX_VDISABLE; // it would leave the terminal in this mode
    if (mSuspending == Suspending::impossible) {
        settings.c_cc[VSUSP] = _POSIX_VDISABLE;
    }
    mIsTaken = ::tcsetattr(mTerminal, TCSANOW, &settings) == 0;
}

void Keyboard::release() {
    if (mIsTaken && isInForeground(mTerminal)) {
        ::tcsetattr(mTerminal, TCSANOW, &mBefore);
    }
    mIsTaken = false;
}

std::optional<std::string> Keyboard::read() const {
    char typed[64];
    const ssize_t count = ::read(mTerminal, typed, sizeof(typed));
    if (count < 0 && errno != EINTR && errno != EAGAIN) {
        return std::nullopt;
    }
    pollfd terminal = {mTerminal, POLLIN, 0};
    if (count == 0 && ::poll(&terminal, 1, 0) > 0 && (terminal.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0) {
        return std::nullopt;
    }
    return std::string(typed, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
}
