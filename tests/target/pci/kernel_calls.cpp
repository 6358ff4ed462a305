#include "kernel_calls.hpp"

#include <sys/io.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

namespace qm::test {

namespace {

KernelCalls* listener = nullptr;

/** Records a write below /sys; true when it is to be refused. */
bool refused(int descriptor, const void* bytes, size_t size, off_t offset)
{
    if (listener == nullptr) return false;
    std::error_code none;
    const auto path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), none);
    if (!path.string().starts_with("/sys/")) return false;
    listener->writes.emplace_back(path.filename(), offset,
                                  std::string(static_cast<const char*>(bytes), size));
    errno = listener->refuseWith;
    return errno != 0;
}

}  // namespace

KernelCalls::KernelCalls()
{
    listener = this;
}

KernelCalls::~KernelCalls()
{
    listener = nullptr;
}

}  // namespace qm::test

#define INTERPOSED extern "C" __attribute__((visibility("default")))

INTERPOSED ssize_t write(int descriptor, const void* bytes, size_t size)
{
    return qm::test::refused(descriptor, bytes, size, -1) ? -1 : syscall(SYS_write, descriptor, bytes, size);
}

INTERPOSED ssize_t pwrite(int descriptor, const void* bytes, size_t size, off_t offset)
{
    if (qm::test::refused(descriptor, bytes, size, offset)) return -1;
    return syscall(SYS_pwrite64, descriptor, bytes, size, offset);
}

INTERPOSED int ioperm(unsigned long from, unsigned long count, int on) noexcept
{
    if (qm::test::listener == nullptr) return 0;
    qm::test::listener->ports.emplace_back(from, count, on);
    errno = qm::test::listener->refuseWith;
    return errno == 0 ? 0 : -1;
}
