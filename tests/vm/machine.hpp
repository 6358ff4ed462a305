#pragma once

#include <qm.h>

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// The virtual target as other people's programs and the kernel see it, and what goes wrong there.
namespace qm::test {

/// Standard output of a shell command, by lines; the test fails when the command does.
std::vector<std::string> linesOf(const std::string& command);

std::string contentOf(const std::filesystem::path& path);

/// 0, or the errno of one write to a file of the kernel's.
int writeOnce(const std::filesystem::path& path, std::string_view text);

/// "bb:ss.f" in hexadecimal, as lspci names a function.
std::string address(uint32_t bus, uint32_t slot, uint32_t function = 0);

/// The kernel's folder of a function.
std::filesystem::path folderOf(const std::string& address);

/// Name of the driver that has a function, empty without one.
std::string driverOf(const std::string& address);

/// Gives a function other identifiers, for programs that read its configuration. They stay.
void disguise(const std::string& address, uint16_t vendor, uint16_t device);

/// A kernel module of ours is not loaded in this object's life.
class WithoutModule
{
public:
    explicit WithoutModule(std::string name);
    WithoutModule(const WithoutModule&) = delete;
    WithoutModule& operator=(const WithoutModule&) = delete;
    ~WithoutModule();

private:
    std::string name_;
};

/// Runs a part of a test in a process of its own, which SIGKILL ends as soon as it is done; the test fails
/// when the part returns false.
void runAndKill(const std::function<bool()>& part);

}  // namespace qm::test
