#include "qm_pci/board_paths.hpp"

#include <cstdio>

namespace qm::pci {

AddressBuffer boardAddress(const qm_PCIDevice& board)
{
    AddressBuffer address{};
    std::snprintf(address.data(), address.size(), "0000:%02x:%02x.0", board.bus, board.slot);
    return address;
}

PathBuffer boardFile(const qm_PCIDevice& board, const char* name)
{
    PathBuffer path{};
    std::snprintf(path.data(), path.size(), "/sys/bus/pci/devices/%s/%s", boardAddress(board).data(), name);
    return path;
}

PathBuffer boardResource(const qm_PCIDevice& board, uint32_t bar)
{
    std::array<char, 24> name{};
    std::snprintf(name.data(), name.size(), "resource%u", bar);
    return boardFile(board, name.data());
}

}  // namespace qm::pci
