/// The system calls by which this process touches files, each of which a watcher sees before it
/// happens and may answer in the kernel's place. (Streams of the C library make them out of reach
/// of any wrapper: seccomp sends them here as signals.)
#pragma once

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <optional>
#include <string>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>
#include <vector>

// A number and six arguments; the one place from which calls go to the kernel unseen.
extern "C" long saddlefitUnseenCall(long number, const long *arguments);
extern "C" const char saddlefitUnseenCallEnd[];
asm(R"(
    .text
    .globl saddlefitUnseenCall
    .type saddlefitUnseenCall, @function
saddlefitUnseenCall:
    mov %rdi, %rax
    mov %rsi, %rcx
    mov 0(%rcx), %rdi
    mov 8(%rcx), %rsi
    mov 16(%rcx), %rdx
    mov 24(%rcx), %r10
    mov 32(%rcx), %r8
    mov 40(%rcx), %r9
    syscall
    .globl saddlefitUnseenCallEnd
saddlefitUnseenCallEnd:
    ret
)");

namespace saddlefit::test {

struct SystemCall {
    long number = 0;
    std::array<long, 6> arguments{};

    /// The kernel's answer: an error number is negative.
    long happen() const { return saddlefitUnseenCall(number, arguments.data()); }
    int descriptor() const { return static_cast<int>(arguments[0]); }
    bool isOneOf(std::initializer_list<long> numbers) const {
        for (const long one : numbers)
            if (one == number) return true;
        return false;
    }
};

/// The answer; nothing lets the call happen.
using Watcher = std::optional<long> (*)(const SystemCall &);

inline constexpr std::array watchedCalls{SYS_open,     SYS_openat,   SYS_read,      SYS_write,
                                         SYS_pread64,  SYS_pwrite64, SYS_readv,     SYS_writev,
                                         SYS_lseek,    SYS_fsync,    SYS_fdatasync, SYS_ftruncate,
                                         SYS_rename,   SYS_renameat, SYS_renameat2, SYS_unlink,
                                         SYS_unlinkat, SYS_close,    SYS_fchmod,    SYS_fchown};

template <class... Arguments> long unseen(long number, Arguments... arguments) {
    const std::array<long, 6> all{(long)(arguments)...};
    return saddlefitUnseenCall(number, all.data());
}

/// What a descriptor was opened by; empty if that is no path.
inline std::string pathOf(int descriptor) {
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    std::array<char, 4096> path;
    const long length =
        unseen(SYS_readlinkat, -100, link.c_str(), path.data(), static_cast<long>(path.size()));
    return length < 0 || path[0] != '/'
               ? std::string()
               : std::string(path.data(), static_cast<std::size_t>(length));
}

namespace detail {

inline Watcher watcher = nullptr;

inline void answerCall(int, siginfo_t *, void *context) {
    auto &registers = static_cast<ucontext_t *>(context)->uc_mcontext.gregs;
    const SystemCall call{registers[REG_RAX],
                          {registers[REG_RDI], registers[REG_RSI], registers[REG_RDX],
                           registers[REG_R10], registers[REG_R8], registers[REG_R9]}};
    const int error = errno;
    const auto answer = watcher ? watcher(call) : std::nullopt;
    registers[REG_RAX] = answer ? *answer : call.happen();
    errno = error;
}

inline bool sendCallsHere() {
    const auto end = reinterpret_cast<std::uintptr_t>(saddlefitUnseenCallEnd);
    std::vector<sock_filter> steps{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, instruction_pointer)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(end), 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, instruction_pointer) + 4),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(end >> 32), 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const long number : watchedCalls) {
        steps.push_back(
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(number), 0, 1));
        steps.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRAP));
    }
    steps.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog filter{static_cast<unsigned short>(steps.size()), steps.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

} // namespace detail

/// From now on, in this process and those that it forks; null sees nothing. False where the kernel
/// does not allow it. A program that is started ends at its first call.
inline bool watchCalls(Watcher watcher) {
    static const bool installed = [] {
        struct sigaction action {};
        action.sa_sigaction = detail::answerCall;
        action.sa_flags = SA_SIGINFO | SA_NODEFER;
        return sigaction(SIGSYS, &action, nullptr) == 0 && detail::sendCallsHere();
    }();
    detail::watcher = watcher;
    return installed;
}

} // namespace saddlefit::test
