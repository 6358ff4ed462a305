#ifndef QM_TEST_KERNEL_CALLS_HPP
#define QM_TEST_KERNEL_CALLS_HPP

#include <sys/types.h>

#include <string>
#include <tuple>
#include <vector>

namespace qm::test {

/** File without its directory, offset (-1: at the file's position), bytes. */
using FileWrite = std::tuple<std::string, off_t, std::string>;

/** First port, number, on. */
using PortRequest = std::tuple<unsigned long, unsigned long, int>;

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

    std::vector<FileWrite> writes;
    std::vector<PortRequest> ports;
    int refuseWith = 0;  // errno of every call to come
};

}  // namespace qm::test

#endif
