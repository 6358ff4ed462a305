#pragma once

#include "test.hpp"

#include <sys/types.h>

namespace qm::test {

/** File, offset (-1: at the file's position), bytes. */
using Write = std::tuple<std::string, off_t, std::string>;

/** First port, number, on. */
using PortRequest = std::tuple<unsigned long, unsigned long, int>;

/**
 * What files cannot play of a kernel: this program's own write, pwrite, ioperm and sched_ functions come
 * before the C library's for all that it loads.
 */
struct FakeKernel
{
    std::vector<Write> writes;  // below /sys and /proc/irq, to UIO devices and the DMA buffers' manager
    std::map<std::string, std::function<ssize_t()>> answers;  // to a write, by path: its size or -errno
    std::vector<PortRequest> ports;
    std::map<pid_t, int> priorities;  // of real-time threads; others do not exist
    std::vector<std::pair<pid_t, int>> raised;
    int refusal = 0;  // errno of every request for ports or a priority
};

inline FakeKernel kernel;

}  // namespace qm::test
