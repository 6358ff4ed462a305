#ifndef QM_TEST_BUFFER_DRIVER_HPP
#define QM_TEST_BUFFER_DRIVER_HPP

#include <functional>
#include <string>
#include <vector>

namespace qm::test {

/**
 * The kernel's u-dma-buf driver and its manager, in an empty /dev and an empty /sys: one command a write,
 * buffers as files. This program's own write comes before the C library's for all that it loads.
 */
class BufferDriver
{
public:
    BufferDriver();
    ~BufferDriver();
    BufferDriver(const BufferDriver&) = delete;
    BufferDriver& operator=(const BufferDriver&) = delete;

    void make(const std::string& name, unsigned long size);
    /** What a write to the manager does; the errno of a refusal, or 0. */
    int obey(const std::string& command);

    static std::string node(const std::string& name) { return "/dev/" + name; }
    static std::string attribute(const std::string& name, const std::string& file);
    static void removeManager();
    static void restoreManager();

    std::vector<std::string> commands;                       // as they were written, one a write
    std::function<void(const std::string& name)> afterMake;  // spoils a buffer
    bool refuses = false;                                    // every command
};

}  // namespace qm::test

#endif
