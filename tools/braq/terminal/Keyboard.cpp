#include "tools/braq/terminal/Keyboard.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace {

// A background process that changes a terminal or reads from it is stopped.
bool isInForeground() { return ::tcgetpgrp(STDIN_FILENO) == ::getpgrp(); }

} // namespace

void Keyboard::take() {
    if (mDescriptor >= 0 || ::isatty(STDIN_FILENO) == 0 || ::isatty(STDOUT_FILENO) == 0 || !isInForeground() ||
        ::tcgetattr(STDIN_FILENO, &mBefore) != 0) {
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
    if (::tcsetattr(STDIN_FILENO, TCSANOW, &settings) == 0) {
        mDescriptor = STDIN_FILENO;
    }
}

void Keyboard::release() {
    if (mDescriptor >= 0 && isInForeground()) {
        ::tcsetattr(mDescriptor, TCSANOW, &mBefore);
    }
    mDescriptor = -1;
}

std::optional<std::string> Keyboard::read() const {
    char typed[64];
    const ssize_t count = ::read(mDescriptor, typed, sizeof(typed));
    if (count < 0 && errno != EINTR && errno != EAGAIN) {
        return std::nullopt;
    }
    pollfd terminal = {mDescriptor, POLLIN, 0};
    if (count == 0 && ::poll(&terminal, 1, 0) > 0 && (terminal.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0) {
        return std::nullopt;
    }
    return std::string(typed, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
}
