// A seccomp filter that lets a guarded thread wake other threads and turns every other system call into a SIGSYS. Its
// handler ends the test inside a marked scope; outside of one it makes the call on the thread's behalf, through the one
// instruction that the filter lets pass.

#include "tests/support/RealtimeGuardInternal.h"

#if BRAQ_REALTIME_GUARD && defined(__x86_64__)

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/futex.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" {
// number, six arguments; the kernel's answer
long braqGuardSystemCall(long number, long a, long b, long c, long d, long e, long f);
extern const char braqGuardSystemCallReturn[];
}

asm(R"(
    .text
    .globl braqGuardSystemCall, braqGuardSystemCallReturn
    .hidden braqGuardSystemCall, braqGuardSystemCallReturn
    .type braqGuardSystemCall, @function
braqGuardSystemCall:
    mov %rdi, %rax
    mov %rsi, %rdi
    mov %rdx, %rsi
    mov %rcx, %rdx
    mov %r8, %r10
    mov %r9, %r8
    mov 8(%rsp), %r9
    syscall
braqGuardSystemCallReturn:
    ret
    .size braqGuardSystemCall, . - braqGuardSystemCall
)");

namespace braq::tests {

namespace {

void handle(int /*signal*/, siginfo_t* info, void* context) {
    if (inRealtimeScope()) {
        char what[64];
        std::snprintf(what, sizeof(what), "system call %d", info->si_syscall);
        refuseInRealtimeScope(what);
    }
    auto& registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    registers[REG_RAX] =
        braqGuardSystemCall(info->si_syscall, registers[REG_RDI], registers[REG_RSI], registers[REG_RDX],
                            registers[REG_R10], registers[REG_R8], registers[REG_R9]);
}

[[noreturn]] void fail(const char* what) {
    std::perror(what);
    std::abort();
}

// On a stack of its own: a thread that ends gives the unused part of its stack back, which the handler would sit on.
void installHandler(void* signalStack) {
    const stack_t stack{.ss_sp = signalStack, .ss_flags = 0, .ss_size = signalStackBytes};
    struct sigaction action {};
    action.sa_sigaction = handle;
    // Not deferred: a report makes system calls of its own.
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    if (sigaltstack(&stack, nullptr) != 0 || sigaction(SIGSYS, &action, nullptr) != 0) {
        fail("real-time guard: signal handler");
    }
}

} // namespace

void filterSystemCalls(void* signalStack) {
    installHandler(signalStack);

    const auto pass = reinterpret_cast<std::uintptr_t>(braqGuardSystemCallReturn);
    const auto passLow = static_cast<std::uint32_t>(pass);
    const auto passHigh = static_cast<std::uint32_t>(pass >> 32);
    constexpr std::uint32_t pointer = offsetof(seccomp_data, instruction_pointer);
    constexpr std::uint32_t operation = offsetof(seccomp_data, args) + 8;
    constexpr std::uint32_t operationMask = 0x7F; // without FUTEX_PRIVATE_FLAG
    const auto number = [](long call) { return static_cast<std::uint32_t>(call); };

    sock_filter filter[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, pointer),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, passLow, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, pointer + 4),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, passHigh, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        // How a handler returns and how a thread ends, which it does with every signal blocked.
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number(SYS_rt_sigreturn), 8, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number(SYS_rt_sigprocmask), 7, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number(SYS_madvise), 6, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number(SYS_exit), 5, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number(SYS_exit_group), 4, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number(SYS_futex), 0, 4),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, operation),
        BPF_STMT(BPF_ALU | BPF_AND | BPF_K, operationMask),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, FUTEX_WAKE, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRAP),
    };
    const sock_fprog program{.len = sizeof(filter) / sizeof(filter[0]), .filter = filter};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &program) != 0) {
        fail("real-time guard: system-call filter");
    }
}

} // namespace braq::tests

#else

namespace braq::tests {

void filterSystemCalls(void* /*signalStack*/) {}

} // namespace braq::tests

#endif
