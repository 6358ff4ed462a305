#ifndef QM_TEST_BUFFER_DRIVER_HPP
#define QM_TEST_BUFFER_DRIVER_HPP

#include <functional>
#include <string>
#include <vector>

namespace qm::test {

constexpr const char* kManager = "/dev/u-dma-buf-mgr";

/**
 * The kernel's u-dma-buf driver and its manager in an empty /dev and /sys: one command a write, buffers as
 * files. This program's own write comes before the C library's for all that it loads.
 */
class BufferDriver
{
public:
    BufferDriver();
    ~BufferDriver();
    BufferDriver(const BufferDriver&) = delete;
    BufferDriver& operator=(const BufferDriver&) = delete;

    void make(const std::string& name, unsigned long size);
    /** False: the driver refuses. */
    bool obey(const std::string& command);

    std::vector<std::string> commands;        // as they were written, one a write
    std::function<void()> afterMake = [] {};  // may spoil the buffer
};

}  // namespace qm::test

#endif
