#pragma once

#include <qm.h>

#include <string>
#include <vector>

/// The virtual target as other people's programs and the kernel see it.
namespace qm::test {

/// Standard output of a shell command, by lines; the test fails when the command does.
std::vector<std::string> linesOf(const std::string& command);

/// "bb:ss.f" in hexadecimal, as lspci names a function.
std::string address(uint32_t bus, uint32_t slot, uint32_t function = 0);

/// Name of the driver that has a function, empty without one.
std::string driverOf(const std::string& address);

/// The only board with these identifiers; the test fails without one.
qm_PCIDevice findBoard(uint16_t vendor, uint16_t device);

}  // namespace qm::test
