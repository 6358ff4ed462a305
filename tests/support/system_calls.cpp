#include "system_calls.hpp"

#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

namespace qm::test {

namespace {

constexpr long kMark = SYS_getppid;  // nothing here calls it otherwise

[[noreturn]] void actTraced(const std::function<void()>& act)
{
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(1);
    (void)raise(SIGSTOP);
    (void)syscall(kMark);
    act();
    (void)syscall(kMark);
    _exit(0);
}

/// The next entry to a system call, or -1 at the end of the process.
long nextEntry(pid_t child, int& status)
{
    long signal = 0;
    for (;;) {
        if (ptrace(PTRACE_SYSCALL, child, nullptr, signal) != 0 || waitpid(child, &status, 0) < 0 ||
            !WIFSTOPPED(status))
            return -1;
        const bool atSystemCall = WSTOPSIG(status) == (SIGTRAP | 0x80);
        signal = atSystemCall ? 0 : WSTOPSIG(status);  // the process's own signals reach it
        __ptrace_syscall_info info{};
        if (!atSystemCall || ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info) <= 0) continue;
        if (info.op == PTRACE_SYSCALL_INFO_ENTRY) return static_cast<long>(info.entry.nr);
    }
}

}  // namespace

std::vector<long> systemCallsOf(const std::function<void()>& act)
{
    const pid_t child = fork();
    if (child == 0) actTraced(act);
    int status = 0;
    (void)waitpid(child, &status, 0);
    std::vector<long> calls;
    int marks = 0;
    if (WIFSTOPPED(status)) {
        (void)ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
        for (long call = nextEntry(child, status); call >= 0; call = nextEntry(child, status)) {
            if (call == kMark)
                ++marks;
            else if (marks == 1)
                calls.push_back(call);
        }
    }
    if (marks != 2 || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw std::runtime_error("the traced process did not come to its end");
    return calls;
}

}  // namespace qm::test
