#include "machine.hpp"

#include <fmt/core.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>

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

std::string address(uint32_t bus, uint32_t slot, uint32_t function)
{
    return fmt::format("{:02x}:{:02x}.{:x}", bus, slot, function);
}

std::string driverOf(const std::string& address)
{
    std::error_code none;
    return std::filesystem::read_symlink("/sys/bus/pci/devices/0000:" + address + "/driver", none).filename();
}

qm_PCIDevice findBoard(uint16_t vendor, uint16_t device)
{
    qm_PCIDevice board{};
    EXPECT_EQ(0, qm_findPciDevice(&board, "board", vendor, device, QM_PCI_ANY_ID, QM_PCI_ANY_ID, 1, 0, -1))
        << pQmErrorStr;
    return board;
}

}  // namespace qm::test
