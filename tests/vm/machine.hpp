#pragma once

#include "test.hpp"

/// The virtual target as other people's programs and the kernel see it, and what goes wrong there.
namespace qm::test {

using sandbox::readFile;

/// Standard output of a shell command, by lines; the test fails when the command does.
inline Lines linesOf(const std::string& command)
{
    Lines lines;
    std::istringstream output(outputOf(command));
    for (std::string line; std::getline(output, line);)
        lines.push_back(line);
    return lines;
}

/// 0, or the errno of one write to a file of the kernel's.
inline int writeOnce(const fs::path& path, std::string_view text)
{
    const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    EXPECT_NE(-1, file) << path;
    const int error = std::cmp_equal(::write(file, text.data(), text.size()), text.size()) ? 0 : errno;
    ::close(file);
    return error;
}

/// "bb:ss.f" in hexadecimal, as lspci names a function.
inline std::string address(uint32_t bus, uint32_t slot, uint32_t function = 0)
{
    return fmt::format("{:02x}:{:02x}.{:x}", bus, slot, function);
}

/// The kernel's folder of a function.
inline fs::path folderOf(const std::string& address)
{
    return "/sys/bus/pci/devices/0000:" + address;
}

/// Name of the driver that has a function, empty without one.
inline std::string driverOf(const std::string& address)
{
    std::error_code none;
    return fs::read_symlink(folderOf(address) / "driver", none).filename();
}

/// Gives a function other identifiers, for programs that read its configuration. They stay.
inline void disguise(const std::string& address, uint16_t vendor, uint16_t device)
{
    const std::string config = folderOf(address) / "config";
    const std::string copy = "/run/config-" + address;
    std::string content = readFile(config);
    const std::array<uint16_t, 2> ids{vendor, device};
    content.replace(0, sizeof ids, reinterpret_cast<const char*>(ids.data()), sizeof ids);
    std::ofstream(copy, std::ios::binary) << content;
    ASSERT_EQ(0, ::mount(copy.c_str(), config.c_str(), nullptr, MS_BIND, nullptr)) << config;
}

/// Makes the machine take itself for a RoverV3, whose socket labels and serial ports are then in force: by a
/// root port and the Ethernet card behind it, which becomes one of that target's own.
inline void becomeRover()
{
    disguise("00:1d.1", 0x8086, 0xA331);
    disguise("0a:00.0", 0x8086, 0x1533);
}

/// A kernel module of ours is not loaded in this object's life.
class WithoutModule
{
public:
    explicit WithoutModule(std::string name) : name_(std::move(name)) { outputOf("rmmod " + name_); }
    WithoutModule(const WithoutModule&) = delete;
    WithoutModule& operator=(const WithoutModule&) = delete;
    ~WithoutModule() { outputOf("insmod /run/modules/" + name_ + ".ko"); }

private:
    std::string name_;
};

/// Runs a part of a test in a process of its own, which SIGKILL ends as soon as it is done; the test fails
/// when the part returns false.
inline void runAndKill(const std::function<bool()>& part)
{
    const pid_t child = ::fork();
    ASSERT_NE(-1, child);
    if (child == 0) {
        if (part()) (void)::raise(SIGKILL);
        ::_exit(1);
    }
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "the child failed: " << pQmErrorStr;
}

}  // namespace qm::test
