#ifndef QM_TEST_KERNEL_CALLS_HPP
#define QM_TEST_KERNEL_CALLS_HPP

#include <sys/types.h>

#include <string>
#include <vector>

namespace qm::test {

struct FileWrite
{
    std::string file;  // without its directory
    off_t offset;      // -1: at the file's position
    std::string bytes;

    bool operator==(const FileWrite&) const = default;
};

struct PortRequest
{
    unsigned long from;
    unsigned long count;
    int on;

    bool operator==(const PortRequest&) const = default;
};

/**
 * What the process asks of the kernel during this object's life: this program's own write, pwrite and ioperm
 * come before the C library's for all that it loads. Only writes below /sys are kept; ports are never really
 * requested.
 */
class KernelCalls
{
public:
    KernelCalls();
    ~KernelCalls();
    KernelCalls(const KernelCalls&) = delete;
    KernelCalls& operator=(const KernelCalls&) = delete;

    std::vector<FileWrite> writes;
    std::vector<PortRequest> ports;
    int refuseWith = 0;  // errno of every call to come
};

}  // namespace qm::test

#endif
