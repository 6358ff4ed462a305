#include "real_time_setup.hpp"

#include "cpu_list.hpp"
#include "model_files.hpp"
#include <slrealtime/IamRoot.hpp>

#include <fmt/format.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <malloc.h>
#include <string_view>

namespace slrealtime {

namespace {

constexpr const char* kIsolatedFile = "/sys/devices/system/cpu/isolated";
constexpr const char* kRealTimeFile = "/sys/kernel/realtime";
constexpr const char* kThrottleFile = "/proc/sys/kernel/sched_rt_runtime_us";
constexpr std::size_t kStackBytes = 256UL * 1024;
constexpr std::size_t kPage = 4096;

std::string grant(std::string_view capability)
{
    return fmt::format("run as root, or: setcap {}+ep {}", capability, programName());
}

}  // namespace

Machine thisMachine()
{
    utsname name = {};
    ::uname(&name);
    Machine machine;
    machine.kernel = name.release;
    // Newer kernels have no such file: their version text tells.
    machine.realTimeKernel = firstLine(kRealTimeFile) == "1" ||
                             std::string_view(name.version).find("PREEMPT_RT") != std::string_view::npos;
    machine.cpus = static_cast<unsigned>(::sysconf(_SC_NPROCESSORS_ONLN));
    machine.isolated = parseCpuList(firstLine(kIsolatedFile));
    return machine;
}

void checkKernel(const Machine& machine, bool polling, Reasons& reasons)
{
    if (!machine.realTimeKernel)
        reasons.push_back(
            fmt::format("kernel {} is not a real-time kernel: boot one with PREEMPT_RT, such as "
                        "Debian's linux-image-rt-amd64, or use the virtual target",
                        machine.kernel));
    if (const auto runtime = firstLine(kThrottleFile); polling && runtime != "-1")
        reasons.push_back(
            fmt::format("the kernel stops a polling task after {} us of each second: "
                        "echo -1 > {}",
                        runtime, kThrottleFile));
}

MemoryLock::MemoryLock(Reasons& reasons)
{
    // Freed memory stays with the process, and large blocks come from the heap: no page fault comes back
    // later.
    ::mallopt(M_TRIM_THRESHOLD, -1);
    ::mallopt(M_MMAP_MAX, 0);
    const IamRoot root;
    const rlimit unlimited = {RLIM_INFINITY, RLIM_INFINITY};
    // The limit holds for what is mapped after the scope; a refusal shows in mlockall.
    static_cast<void>(::setrlimit(RLIMIT_MEMLOCK, &unlimited));
    locked_ = ::mlockall(MCL_CURRENT | MCL_FUTURE) == 0;
    if (!locked_)
        reasons.push_back(
            fmt::format("memory is not locked ({}): {}, or raise the limit: ulimit -l unlimited",
                        std::strerror(errno), grant("cap_ipc_lock")));
}

MemoryLock::~MemoryLock()
{
    if (locked_) ::munlockall();
}

void makeRealTime(pthread_t thread, int task, int priority, int cpu, Reasons& reasons)
{
    const IamRoot root;
    ::pthread_setname_np(thread, fmt::format("task{}", task).c_str());
    if (cpu >= 0) {
        cpu_set_t set;
        CPU_ZERO(&set);
        CPU_SET(static_cast<unsigned>(cpu), &set);
        if (const int error = ::pthread_setaffinity_np(thread, sizeof set, &set); error != 0)
            reasons.push_back(
                fmt::format("task {}: isolated CPU {} refused ({}): allow it in the process's cpuset", task,
                            cpu, std::strerror(error)));
    }
    sched_param parameter = {};
    parameter.sched_priority = priority;
    if (const int error = ::pthread_setschedparam(thread, SCHED_FIFO, &parameter); error != 0)
        reasons.push_back(fmt::format("task {}: SCHED_FIFO priority {} refused ({}): {}", task, priority,
                                      std::strerror(error), grant("cap_sys_nice")));
}

void prefaultStack()
{
    volatile unsigned char stack[kStackBytes];
    for (std::size_t i = 0; i < kStackBytes; i += kPage)
        stack[i] = 0;
    static_cast<void>(stack[0]);
}

}  // namespace slrealtime
