#include "tests/tools/pipewire/TerminalProcess.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <iterator>
#include <system_error>

namespace tool_test {
namespace {

// Only what may be called between fork and exec in a process with threads.
[[noreturn]] void become(char* const* arguments, int terminal) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::signal(SIGHUP, SIG_DFL); // whatever the test was started with
    const winsize size{24, 80, 0, 0};
    if (setsid() >= 0 && ioctl(terminal, TIOCSCTTY, 0) == 0 && ioctl(terminal, TIOCSWINSZ, &size) == 0) {
        dup2(terminal, STDIN_FILENO);
        dup2(terminal, STDOUT_FILENO);
        dup2(terminal, STDERR_FILENO);
        execvp(arguments[0], arguments);
    }
    _exit(127);
}

} // namespace

TerminalProcess::TerminalProcess(const std::vector<std::string>& arguments) {
    std::vector<char*> pointers;
    std::ranges::transform(arguments, std::back_inserter(pointers),
                           [](const std::string& argument) { return const_cast<char*>(argument.c_str()); });
    pointers.push_back(nullptr);
    mTerminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    char name[64];
    int ofProcess = -1;
    if (mTerminal < 0 || grantpt(mTerminal) != 0 || unlockpt(mTerminal) != 0 ||
        ptsname_r(mTerminal, name, sizeof(name)) != 0 || (ofProcess = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC)) < 0 ||
        (mProcess = fork()) < 0) {
        throw std::system_error(errno, std::generic_category(), "a program on a terminal");
    }
    if (mProcess == 0) {
        become(pointers.data(), ofProcess);
    }
    close(ofProcess);
    mReading = std::thread([this] { keepReading(); });
}

TerminalProcess::~TerminalProcess() {
    signal(SIGKILL);
    wait();
    mReading.join();
    close(mTerminal);
}

// Until nobody has the program's end open any more.
void TerminalProcess::keepReading() {
    char read[4096];
    ssize_t count = 0;
    while ((count = ::read(mTerminal, read, sizeof(read))) > 0 || (count < 0 && errno == EINTR)) {
        const std::lock_guard lock(mMutex);
        mWritten.append(read, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
}

void TerminalProcess::press(const std::string& keys) const {
    static_cast<void>(::write(mTerminal, keys.data(), keys.size()));
}

void TerminalProcess::signal(int number) const {
    if (mProcess > 0) {
        ::kill(mProcess, number);
    }
}

std::string TerminalProcess::written() const {
    const std::lock_guard lock(mMutex);
    return mWritten;
}

int TerminalProcess::wait() {
    if (mProcess > 0) {
        int waited = 0;
        while (waitpid(mProcess, &waited, 0) < 0 && errno == EINTR) {
        }
        mProcess = -1;
        mStatus = WIFEXITED(waited) ? WEXITSTATUS(waited) : 128 + WTERMSIG(waited);
    }
    return mStatus;
}

} // namespace tool_test
