#include "child.hpp"

#include "table.hpp"

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {

/// Becomes the program; its output goes nowhere.
void become(const std::vector<const char*>& command)
{
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    (void)::dup2(nowhere, STDOUT_FILENO);
    std::vector<const char*> words = command;
    words.push_back(nullptr);
    (void)::execvp(words[0], const_cast<char* const*>(words.data()));
    require(false, words[0]);
}

void awaitEnd(pid_t child)
{
    int status = 1;
    require(::waitpid(child, &status, 0) == child && status == 0, "a process of the benchmark failed");
}

double processorNs()
{
    timespec used{};
    (void)::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) * 1e9 + static_cast<double>(used.tv_nsec);
}

double processorNsOfChildren()
{
    rusage used{};
    (void)::getrusage(RUSAGE_CHILDREN, &used);
    const auto ns = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_usec) * 1e3;
    };
    return ns(used.ru_utime) + ns(used.ru_stime);
}

/// Entries into the kernel from the child's first stop on, that to its end included.
double countSystemCalls(pid_t child)
{
    constexpr int kStopOfSystemCall = SIGTRAP | 0x80;
    int status = 0;
    require(::waitpid(child, &status, 0) == child && WIFSTOPPED(status), "ptrace");
    require(::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL) == 0,
            "ptrace");
    int stops = 0;
    while (::ptrace(PTRACE_SYSCALL, child, nullptr, nullptr) == 0) {
        require(::waitpid(child, &status, 0) == child, "waitpid");
        if (!WIFSTOPPED(status)) break;
        if (WSTOPSIG(status) == kStopOfSystemCall) ++stops;
    }
    require(WIFEXITED(status) && WEXITSTATUS(status) == 0, "a process of the benchmark failed");
    return (stops + 1) / 2;  // an end is not returned from
}

double countAll(const std::function<void()>& act)
{
    const pid_t child = ::fork();
    require(child >= 0, "fork");
    if (child != 0) return countSystemCalls(child);
    require(::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0, "ptrace");
    (void)::kill(::getpid(), SIGSTOP);
    act();
    ::_exit(0);
}

}  // namespace

void require(bool works, const char* what)
{
    if (works) return;
    std::perror(what);
    ::_exit(1);
}

double processorNsOf(const std::function<void()>& act)
{
    const double begin = processorNs();
    act();
    return processorNs() - begin;
}

double inNewProcess(const std::function<double()>& measure)
{
    void* const shared =
        ::mmap(nullptr, sizeof(double), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    require(shared != MAP_FAILED, "mmap");
    const pid_t child = ::fork();
    require(child >= 0, "fork");
    if (child == 0) {
        *static_cast<double*>(shared) = measure();
        ::_exit(0);
    }
    awaitEnd(child);
    const double result = *static_cast<double*>(shared);
    (void)::munmap(shared, sizeof(double));
    return result;
}

double processorNsOfProgram(const std::vector<const char*>& command)
{
    const double before = processorNsOfChildren();
    const pid_t child = ::fork();
    require(child >= 0, "fork");
    if (child == 0) become(command);
    awaitEnd(child);
    return processorNsOfChildren() - before;
}

std::vector<double> mediansByTurns(int rounds, const std::vector<std::function<double()>>& measures)
{
    std::vector<std::vector<double>> results(measures.size());
    for (int round = -1; round < rounds; ++round)
        for (std::size_t i = 0; i < measures.size(); ++i) {
            const double result = measures[i]();
            if (round >= 0) results[i].push_back(result);
        }
    std::vector<double> medians;
    for (std::vector<double>& values : results)
        medians.push_back(percentile(values, 0.5));
    return medians;
}

double systemCallsOf(const std::function<void()>& act)
{
    return countAll(act) - countAll([] {});
}

void enterOwnSharedMemory()
{
    const int user = ::geteuid() == 0 ? 0 : CLONE_NEWUSER;
    require(::unshare(CLONE_NEWNS | user) == 0 &&
                ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                ::mount("tmpfs", "/dev/shm", "tmpfs", 0, nullptr) == 0,
            "cannot mount a /dev/shm of its own");
}
