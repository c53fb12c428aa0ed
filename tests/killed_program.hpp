/// The program, killed before it puts a file in place: after each of these moments a disk holds
/// something else.
#pragma once

#include <cstddef>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <string>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace saddlefit::test {

/// Stops at each system call that renames a file, for the tracing parent.
inline bool stopAtRenamings() {
    sock_filter filter[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
#ifdef SYS_rename
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_rename, 3, 0),
#endif
#ifdef SYS_renameat
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_renameat, 2, 0),
#endif
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_renameat2, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRACE),
    };
    const sock_fprog program{sizeof filter / sizeof filter[0], filter};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

/// Runs the program in a folder and kills it once it has renamed so many files and is about to
/// rename another. False if it ended before that.
inline bool killedBeforeRenaming(const std::string &folder, const std::string &program,
                                 const std::string &arguments, int renamings) {
    const auto command =
        "cd " + folder + " && exec " + program + " " + arguments + " > stdout 2> stderr";
    const pid_t process = fork();
    if (process == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        if (stopAtRenamings()) execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
        _exit(127);
    }
    int status = 0;
    waitpid(process, &status, 0);
    ptrace(PTRACE_SETOPTIONS, process, nullptr, PTRACE_O_TRACESECCOMP | PTRACE_O_EXITKILL);
    for (ptrace(PTRACE_CONT, process, nullptr, nullptr);
         waitpid(process, &status, 0) == process && WIFSTOPPED(status);) {
        const bool renames = status >> 8 == (SIGTRAP | PTRACE_EVENT_SECCOMP << 8);
        if (renames && renamings-- == 0) kill(process, SIGKILL);
        const int signal = renames || WSTOPSIG(status) == SIGTRAP ? 0 : WSTOPSIG(status);
        ptrace(PTRACE_CONT, process, nullptr, signal);
    }
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
}

} // namespace saddlefit::test
