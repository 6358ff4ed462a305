#include "fake_kernel.hpp"

#include <sys/io.h>

#include <optional>

namespace {

using namespace qm::test;

/** Nothing for a write that goes its usual way. */
std::optional<ssize_t> answer(int descriptor, const void* bytes, size_t size, off_t offset)
{
    std::error_code none;
    const std::string path = fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor), none);
    if (!path.starts_with("/sys/") && !path.starts_with("/dev/u") && !path.starts_with("/proc/irq/"))
        return std::nullopt;
    kernel.writes.emplace_back(path, offset, std::string(static_cast<const char*>(bytes), size));
    const auto found = kernel.answers.find(path);
    if (found == kernel.answers.end()) return std::nullopt;
    const ssize_t result = found->second();
    errno = result < 0 ? static_cast<int>(-result) : 0;
    return result < 0 ? -1 : result;
}

/** A thread's priority, or -1 and errno. */
int priorityOf(pid_t thread)
{
    const auto found = kernel.priorities.find(thread);
    if (found != kernel.priorities.end()) return found->second;
    errno = ESRCH;
    return -1;
}

int grantOrRefuse()
{
    errno = kernel.refusal;
    return errno == 0 ? 0 : -1;
}

}  // namespace

INTERPOSED ssize_t write(int descriptor, const void* bytes, size_t size)
{
    const auto result = answer(descriptor, bytes, size, -1);
    return result ? *result : syscall(SYS_write, descriptor, bytes, size);
}

INTERPOSED ssize_t pwrite(int descriptor, const void* bytes, size_t size, off_t offset)
{
    const auto result = answer(descriptor, bytes, size, offset);
    return result ? *result : syscall(SYS_pwrite64, descriptor, bytes, size, offset);
}

INTERPOSED int ioperm(unsigned long from, unsigned long count, int on) noexcept
{
    kernel.ports.emplace_back(from, count, on);
    return grantOrRefuse();
}

INTERPOSED int sched_getscheduler(pid_t thread) noexcept
{
    return priorityOf(thread) < 0 ? -1 : SCHED_FIFO;
}

INTERPOSED int sched_getparam(pid_t thread, sched_param* param) noexcept
{
    param->sched_priority = priorityOf(thread);
    return param->sched_priority < 0 ? -1 : 0;
}

INTERPOSED int sched_setscheduler(pid_t thread, int /*policy*/, const sched_param* param) noexcept
{
    if (priorityOf(thread) < 0 || grantOrRefuse() != 0) return -1;
    kernel.raised.emplace_back(thread, param->sched_priority);
    return 0;
}
