#include "machine.hpp"

#include <fcntl.h>
#include <fmt/core.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <utility>

namespace qm::test {

std::vector<std::string> linesOf(const std::string& command)
{
    std::vector<std::string> lines;
    std::FILE* const pipe = ::popen(command.c_str(), "re");
    if (pipe == nullptr) {
        ADD_FAILURE() << "cannot start: " << command;
        return lines;
    }
    std::array<char, 1024> line{};
    while (std::fgets(line.data(), line.size(), pipe) != nullptr) {
        lines.emplace_back(line.data());
        if (lines.back().ends_with('\n')) lines.back().pop_back();
    }
    EXPECT_EQ(0, ::pclose(pipe)) << command;
    return lines;
}

std::string contentOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

int writeOnce(const std::filesystem::path& path, std::string_view text)
{
    const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    EXPECT_NE(-1, file) << path;
    const int error = std::cmp_equal(::write(file, text.data(), text.size()), text.size()) ? 0 : errno;
    ::close(file);
    return error;
}

std::string address(uint32_t bus, uint32_t slot, uint32_t function)
{
    return fmt::format("{:02x}:{:02x}.{:x}", bus, slot, function);
}

std::filesystem::path folderOf(const std::string& address)
{
    return "/sys/bus/pci/devices/0000:" + address;
}

std::string driverOf(const std::string& address)
{
    std::error_code none;
    return std::filesystem::read_symlink(folderOf(address) / "driver", none).filename();
}

void disguise(const std::string& address, uint16_t vendor, uint16_t device)
{
    const std::string config = folderOf(address) / "config";
    const std::string copy = "/run/config-" + address;
    std::string content = contentOf(config);
    const std::array<uint16_t, 2> ids{vendor, device};
    content.replace(0, sizeof ids, reinterpret_cast<const char*>(ids.data()), sizeof ids);
    std::ofstream(copy, std::ios::binary) << content;
    ASSERT_EQ(0, ::mount(copy.c_str(), config.c_str(), nullptr, MS_BIND, nullptr)) << config;
}

WithoutModule::WithoutModule(std::string name) : name_(std::move(name))
{
    linesOf("rmmod " + name_);
}

WithoutModule::~WithoutModule()
{
    linesOf("insmod /run/modules/" + name_ + ".ko");
}

void runAndKill(const std::function<bool()>& part)
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
