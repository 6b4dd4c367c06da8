#include "tests/support/ChildProcess.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <iterator>
#include <system_error>

namespace braq::tests {
namespace {

int statusOf(int waited) { return WIFEXITED(waited) ? WEXITSTATUS(waited) : 128 + WTERMSIG(waited); }

// Only what may be called between fork and exec in a process with threads.
[[noreturn]] void become(char* const* arguments, const char* log, pid_t parent) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int output = open(log, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    const int input = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (getppid() == parent && output >= 0 && input >= 0) {
        dup2(input, STDIN_FILENO);
        dup2(output, STDOUT_FILENO);
        dup2(output, STDERR_FILENO);
        execvp(arguments[0], arguments);
    }
    _exit(127);
}

} // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, const std::string& log) {
    std::vector<char*> pointers;
    std::ranges::transform(arguments, std::back_inserter(pointers),
                           [](const std::string& argument) { return const_cast<char*>(argument.c_str()); });
    pointers.push_back(nullptr);
    const pid_t self = getpid();
    mProcess = fork();
    if (mProcess == 0) {
        become(pointers.data(), log.c_str(), self);
    }
    if (mProcess < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
}

ChildProcess::~ChildProcess() {
    signal(SIGKILL);
    wait();
}

void ChildProcess::signal(int number) const {
    if (mProcess > 0) {
        ::kill(mProcess, number);
    }
}

int ChildProcess::wait() {
    if (mProcess > 0) {
        int waited = 0;
        while (waitpid(mProcess, &waited, 0) < 0 && errno == EINTR) {
        }
        mProcess = -1;
        mStatus = statusOf(waited);
    }
    return mStatus;
}

bool ChildProcess::isRunning() {
    int waited = 0;
    if (mProcess > 0 && waitpid(mProcess, &waited, WNOHANG) == mProcess) {
        mProcess = -1;
        mStatus = statusOf(waited);
    }
    return mProcess > 0;
}

} // namespace braq::tests
