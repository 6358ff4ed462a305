#pragma once

#include <qm/pci.h>

#include <array>

/// Where the kernel shows a board. Every path is for domain 0000 and function 0.
namespace qm::pci {

using AddressBuffer = std::array<char, 32>;
using PathBuffer = std::array<char, 128>;

/// "0000:bb:ss.0"
AddressBuffer boardAddress(const qm_PCIDevice& board);
/// A file of the board's sysfs directory.
PathBuffer boardFile(const qm_PCIDevice& board, const char* name);
/// The file through which the kernel maps one of the board's BARs.
PathBuffer boardResource(const qm_PCIDevice& board, uint32_t bar);

}  // namespace qm::pci
