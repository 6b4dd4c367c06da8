#include "tests/platform/files/SmallDisk.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <thread>

namespace braq::tests {
namespace {

// The mount goes with the thread that is the only one to see it.
bool mountSmallDisk(const std::string& place, std::size_t bytes) {
    const std::string options = "size=" + std::to_string(bytes);
    return ::unshare(CLONE_NEWNS) == 0 && ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           ::mount("none", place.c_str(), "tmpfs", 0, options.c_str()) == 0;
}

/// The thread's calls of one function of the system get an answer, an error or 0 for success, and nothing is done.
bool answerCalls(unsigned call, unsigned answer) {
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | answer),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter{sizeof(program) / sizeof(program[0]), program};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter, 0, 0) == 0;
}

bool runOnThread(const std::function<bool()>& prepare, const std::function<void()>& body) {
    bool isPrepared = false;
    std::thread([&] {
        isPrepared = prepare();
        if (isPrepared) {
            body();
        }
    }).join();
    return isPrepared;
}

} // namespace

bool runWithSmallDisk(const std::string& place, std::size_t bytes, const std::function<void()>& body) {
    return runOnThread([&] { return mountSmallDisk(place, bytes); }, body);
}

bool runWithoutReservations(const std::function<void()>& body) {
    return runOnThread([] { return answerCalls(SYS_fallocate, EOPNOTSUPP); }, body);
}

bool runWithFailingClose(const std::function<void()>& body) {
    return runOnThread([] { return answerCalls(SYS_close, ENOSPC); }, body);
}

bool runWithEmptyPromises(const std::function<void()>& body) {
    return runOnThread([] { return answerCalls(SYS_fallocate, 0); }, body);
}

FileSizeLimit::FileSizeLimit(std::size_t bytes) : mHandlerBefore(std::signal(SIGXFSZ, SIG_IGN)) {
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    mBefore = limit.rlim_cur;
    limit.rlim_cur = bytes;
    ::setrlimit(RLIMIT_FSIZE, &limit);
}

FileSizeLimit::~FileSizeLimit() {
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = mBefore;
    ::setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, mHandlerBefore);
}

} // namespace braq::tests
