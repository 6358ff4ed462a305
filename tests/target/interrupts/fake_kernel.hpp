#ifndef QM_TEST_FAKE_KERNEL_HPP
#define QM_TEST_FAKE_KERNEL_HPP

#include <sys/types.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace qm::test {

struct Write
{
    std::string path;
    off_t offset;  // -1: at the file's position
    std::string bytes;

    bool operator==(const Write&) const = default;
};

/**
 * What files cannot play of a kernel: this program's own write, pwrite and sched_ functions come before the C
 * library's for all that it loads.
 */
struct FakeKernel
{
    std::vector<Write> writes;                                // below /sys, /dev/uio and /proc/irq
    std::map<std::string, std::function<ssize_t()>> answers;  // to a write, by path: its size or -errno
    std::map<pid_t, int> priorities;                          // of real-time threads; others do not exist
    std::vector<std::pair<pid_t, int>> raised;
    int refusesPriorities = 0;  // errno
};

inline FakeKernel kernel;

}  // namespace qm::test

#endif
