#include "fake_kernel.hpp"

#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <optional>

namespace qm::test {

namespace {

/** Nothing for a write that goes its usual way. */
std::optional<ssize_t> answer(int descriptor, const void* bytes, size_t size, off_t offset)
{
    std::array<char, 256> target{};
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    if (readlink(link.c_str(), target.data(), target.size() - 1) < 0) return std::nullopt;
    const std::string path = target.data();
    if (!path.starts_with("/sys/") && !path.starts_with("/dev/uio") && !path.starts_with("/proc/irq/"))
        return std::nullopt;
    kernel.writes.push_back({path, offset, std::string(static_cast<const char*>(bytes), size)});
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

}  // namespace

}  // namespace qm::test

#define INTERPOSED extern "C" __attribute__((visibility("default")))

INTERPOSED ssize_t write(int descriptor, const void* bytes, size_t size)
{
    const auto answer = qm::test::answer(descriptor, bytes, size, -1);
    return answer ? *answer : syscall(SYS_write, descriptor, bytes, size);
}

INTERPOSED ssize_t pwrite(int descriptor, const void* bytes, size_t size, off_t offset)
{
    const auto answer = qm::test::answer(descriptor, bytes, size, offset);
    return answer ? *answer : syscall(SYS_pwrite64, descriptor, bytes, size, offset);
}

INTERPOSED int sched_getscheduler(pid_t thread) noexcept
{
    return qm::test::priorityOf(thread) < 0 ? -1 : SCHED_FIFO;
}

INTERPOSED int sched_getparam(pid_t thread, sched_param* param) noexcept
{
    param->sched_priority = qm::test::priorityOf(thread);
    return param->sched_priority < 0 ? -1 : 0;
}

INTERPOSED int sched_setscheduler(pid_t thread, int /*policy*/, const sched_param* param) noexcept
{
    if (qm::test::priorityOf(thread) < 0) return -1;
    errno = qm::test::kernel.refusesPriorities;
    if (errno != 0) return -1;
    qm::test::kernel.raised.emplace_back(thread, param->sched_priority);
    return 0;
}
