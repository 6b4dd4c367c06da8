#include "tests/platform/threads/Sandbox.h"

#include "BRAQAudio/platform/foundation/NSLog.h"

#include <linux/capability.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

namespace threads_test {
namespace {

bool mayBeSet(__rlimit_resource resource, rlim_t value) {
    rlimit before{};
    getrlimit(resource, &before);
    const rlimit wanted{.rlim_cur = value, .rlim_max = std::max(value, before.rlim_max)};
    return setrlimit(resource, &wanted) == 0 && setrlimit(resource, &before) == 0;
}

void setLimit(__rlimit_resource resource, rlim_t value) {
    const rlimit wanted{.rlim_cur = value, .rlim_max = value};
    REQUIRE(setrlimit(resource, &wanted) == 0);
}

/// Has all threads of the process, those that are there included, pass this filter with each system call.
void forbid(std::vector<sock_filter> filter) {
    const sock_fprog program{.len = static_cast<unsigned short>(filter.size()), .filter = filter.data()};
    REQUIRE(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0);
    REQUIRE(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_TSYNC, &program) == 0);
}

} // namespace

void dropPermission(Limits limits) {
    setLimit(RLIMIT_RTPRIO, limits.realtimePriority);
    setLimit(RLIMIT_NICE, limits.nice);
    __user_cap_header_struct header{.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
    __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3] = {};
    REQUIRE(syscall(SYS_capget, &header, sets) == 0);
    constexpr __u32 kBit = __u32{1} << CAP_SYS_NICE;
    sets[0].effective &= ~kBit;
    sets[0].permitted &= ~kBit;
    sets[0].inheritable &= ~kBit;
    REQUIRE(syscall(SYS_capset, &header, sets) == 0);
}

bool canBeGiven(Limits limits) {
    return mayBeSet(RLIMIT_RTPRIO, limits.realtimePriority) && mayBeSet(RLIMIT_NICE, limits.nice);
}

void refuseNewThreads() {
    forbid({
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
#ifdef SYS_clone3
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone3, 1, 0),
#endif
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EAGAIN),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    });
}

void refuseBarriers() {
    forbid({
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_membarrier, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    });
}

void useSystemBus(const std::string& address) {
    REQUIRE(setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1) == 0);
    useSessionBus(kNoBus);
}

void useSessionBus(const std::string& address) { REQUIRE(setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1) == 0); }

LogRecorder::LogRecorder() {
    NSLogSetSink([this](const std::string& line) {
        const std::lock_guard lock(mMutex);
        mLines.push_back(line);
        mHasChanged.notify_all();
    });
}

LogRecorder::~LogRecorder() { NSLogSetSink({}); }

std::string LogRecorder::waitFor(const std::string& text) {
    std::string found;
    std::unique_lock lock(mMutex);
    mHasChanged.wait_for(lock, std::chrono::minutes(1), [&] {
        const auto line =
            std::ranges::find_if(mLines, [&](const auto& each) { return each.find(text) != std::string::npos; });
        found = line == mLines.end() ? std::string() : *line;
        return line != mLines.end();
    });
    return found;
}

std::vector<std::string> LogRecorder::lines() {
    const std::lock_guard lock(mMutex);
    return mLines;
}

} // namespace threads_test
