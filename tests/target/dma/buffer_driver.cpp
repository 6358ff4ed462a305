#include "buffer_driver.hpp"

#include "sandbox.hpp"

#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>

namespace qm::test {

namespace {

namespace fs = std::filesystem;

constexpr const char* kManager = "/dev/u-dma-buf-mgr";
BufferDriver* driver = nullptr;

bool isManager(int descriptor)
{
    std::array<char, 64> target{};
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    return readlink(link.c_str(), target.data(), target.size() - 1) > 0 &&
           std::string(target.data()) == kManager;
}

}  // namespace

BufferDriver::BufferDriver()
{
    sandbox::freshDirectory("/dev");
    sandbox::freshDirectory("/sys");
    restoreManager();
    driver = this;
}

BufferDriver::~BufferDriver()
{
    driver = nullptr;
}

std::string BufferDriver::attribute(const std::string& name, const std::string& file)
{
    return "/sys/class/u-dma-buf/" + name + "/" + file;
}

void BufferDriver::removeManager()
{
    fs::remove(kManager);
}

void BufferDriver::restoreManager()
{
    sandbox::writeFile(kManager, "");
}

void BufferDriver::make(const std::string& name, unsigned long size)
{
    sandbox::sparseFile(node(name), size);
    fs::permissions(node(name), fs::perms::owner_read | fs::perms::owner_write);
    sandbox::writeFile(attribute(name, "sync_mode"), "1\n");
    sandbox::writeFile(attribute(name, "phys_addr"), "0x0000000123456000\n");
    sandbox::writeFile(attribute(name, "size"), std::to_string(size) + "\n");
    if (afterMake) afterMake(name);
}

int BufferDriver::obey(const std::string& command)
{
    commands.push_back(command);
    if (refuses) return EINVAL;
    std::array<char, 64> name{};
    unsigned long size = 0;
    char end = 0;
    if (std::sscanf(command.c_str(), "create %63s %lu%c", name.data(), &size, &end) == 3 && end == '\n') {
        if (size == 0 || fs::exists(node(name.data()))) return EINVAL;
        make(name.data(), size);
        return 0;
    }
    if (std::sscanf(command.c_str(), "delete %63s%c", name.data(), &end) == 2 && end == '\n') {
        if (!fs::remove(node(name.data()))) return EINVAL;
        fs::remove_all(fs::path(attribute(name.data(), "size")).parent_path());
        return 0;
    }
    return EINVAL;
}

}  // namespace qm::test

extern "C" __attribute__((visibility("default"))) ssize_t write(int descriptor, const void* bytes,
                                                                size_t size)
{
    using qm::test::driver;
    if (driver == nullptr || !qm::test::isManager(descriptor))
        return syscall(SYS_write, descriptor, bytes, size);
    errno = driver->obey(std::string(static_cast<const char*>(bytes), size));
    return errno == 0 ? static_cast<ssize_t>(size) : -1;
}
