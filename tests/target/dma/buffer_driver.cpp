#include "buffer_driver.hpp"

#include "sandbox.hpp"

#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace qm::test {

namespace {

namespace fs = std::filesystem;

BufferDriver* driver = nullptr;

}  // namespace

BufferDriver::BufferDriver()
{
    sandbox::freshDirectory("/dev");
    sandbox::freshDirectory("/sys");
    sandbox::writeFile(kManager, "");
    driver = this;
}

BufferDriver::~BufferDriver()
{
    driver = nullptr;
}

void BufferDriver::make(const std::string& name, unsigned long size)
{
    const std::string attributes = "/sys/class/u-dma-buf/" + name;
    sandbox::sparseFile("/dev/" + name, size);
    fs::permissions("/dev/" + name, fs::perms{0600});
    sandbox::writeFile(attributes + "/sync_mode", "1\n");
    sandbox::writeFile(attributes + "/phys_addr", "0x0000000123456000\n");
    sandbox::writeFile(attributes + "/size", std::to_string(size) + "\n");
    afterMake();
}

bool BufferDriver::obey(const std::string& command)
{
    commands.push_back(command);
    char name[64]{};
    unsigned long size = 0;
    char end = 0;
    if (std::sscanf(command.c_str(), "create %63s %lu%c", name, &size, &end) == 3 && end == '\n')
        return size != 0 && (make(name, size), true);
    return std::sscanf(command.c_str(), "delete %63s%c", name, &end) == 2 && end == '\n' &&
           fs::remove(std::string("/dev/") + name);
}

}  // namespace qm::test

extern "C" __attribute__((visibility("default"))) ssize_t write(int descriptor, const void* bytes,
                                                                size_t size)
{
    using qm::test::driver;
    char path[64]{};
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    if (driver == nullptr || readlink(link.c_str(), path, sizeof path - 1) < 0 ||
        std::string(path) != qm::test::kManager)
        return syscall(SYS_write, descriptor, bytes, size);
    if (driver->obey(std::string(static_cast<const char*>(bytes), size))) return static_cast<ssize_t>(size);
    errno = EINVAL;
    return -1;
}
