#include "KilledProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <iterator>

namespace kelvane::testing {

namespace {

constexpr int notPermittedStatus = 77;

/// Calls that change files, whatever their arguments.
constexpr std::uint64_t changes[] = {
    SYS_write,           SYS_pwrite64,  SYS_mkdirat, SYS_renameat2, SYS_unlinkat, SYS_ftruncate,
    SYS_fsync,           SYS_fdatasync, SYS_linkat,  SYS_symlinkat, SYS_fchmod,   SYS_fchmodat,
    SYS_copy_file_range, SYS_bind,      SYS_listen,
#ifdef SYS_mkdir
    SYS_mkdir,           SYS_rename,    SYS_unlink,  SYS_rmdir,     SYS_link,     SYS_chmod,
#endif
#ifdef SYS_renameat
    SYS_renameat,
#endif
};

bool changesFiles(const __ptrace_syscall_info& info) {
    const std::uint64_t number = info.entry.nr;
#ifdef SYS_open
    if (number == SYS_open) return (info.entry.args[1] & O_CREAT) != 0;
#endif
    if (number == SYS_openat) return (info.entry.args[2] & O_CREAT) != 0;
    return std::ranges::find(changes, number) != std::end(changes);
}

/// Whether the stopped child is about to enter a call that changes files.
bool isBeforeChange(pid_t child) {
    __ptrace_syscall_info info{};
    const long size = ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info);
    return size > 0 && info.op == PTRACE_SYSCALL_INFO_ENTRY && changesFiles(info);
}

int waitFor(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

ChildEnd endOf(int status) {
    if (!WIFEXITED(status)) return ChildEnd::failed;
    if (WEXITSTATUS(status) == notPermittedStatus) return ChildEnd::notPermitted;
    return WEXITSTATUS(status) == 0 ? ChildEnd::done : ChildEnd::failed;
}

}  // namespace

ChildEnd killAtFileOperation(int n, const std::function<bool()>& work) {
    const pid_t child = fork();
    if (child < 0) return ChildEnd::failed;
    if (child == 0) {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(notPermittedStatus);
        raise(SIGSTOP);
        _exit(work() ? 0 : 1);
    }
    int status = waitFor(child);
    if (!WIFSTOPPED(status)) return endOf(status);
    if (ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL) != 0) {
        kill(child, SIGKILL);
        waitFor(child);
        return ChildEnd::notPermitted;
    }
    int signal = 0;
    for (int count = 0;;) {
        ptrace(PTRACE_SYSCALL, child, nullptr, signal);
        status = waitFor(child);
        if (!WIFSTOPPED(status)) return endOf(status);
        const bool isCall = WSTOPSIG(status) == (SIGTRAP | 0x80);
        signal = isCall ? 0 : WSTOPSIG(status);
        if (isCall && isBeforeChange(child) && ++count == n) {
            kill(child, SIGKILL);
            waitFor(child);
            return ChildEnd::killed;
        }
    }
}

}  // namespace kelvane::testing
