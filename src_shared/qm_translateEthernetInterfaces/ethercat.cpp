#include "qm_translateEthernetInterfaces/ethernet_devices.hpp"
#include <qm/ethernet.h>
#include <qm/log.h>
#include <qm/pci_access.h>

#include <exception>
#include <optional>

namespace {

constexpr char kEthercatDriver[] = "atemsys_pci";

/// The board that has a port, known by bus and slot only; nothing, and a log line, when there is none.
std::optional<qm_PCIDevice> boardOfPort(uint32_t index, const char* caller)
try {
    const qm::ethernet::PciTree tree;
    qm::ethernet::EthernetDevices devices;
    if (qm::ethernet::getEthernetDevices(tree, devices) != 0) return std::nullopt;
    if (index >= devices.size()) {
        qm_printf(qm_error, "%s: Requested network device index is out of range\n", caller);
        return std::nullopt;
    }
    qm_PCIDevice board{};
    board.bus = devices[index].bus;
    board.slot = devices[index].slot;
    return board;
} catch (const std::exception&) {
    return std::nullopt;  // no memory
}

}  // namespace

int qm_configureEthercat(uint32_t portIndex)
{
    auto board = boardOfPort(portIndex, "qm_configureEthercat");
    return board ? qm_pci_bindDriver(&*board, kEthercatDriver) : -1;
}

int qm_teardownEthercat(uint32_t portIndex)
{
    auto board = boardOfPort(portIndex, "qm_teardownEthercat");
    if (!board) return -1;
    if (qm_pci_unbindDriver(&*board) != 0) {
        qm_printf(qm_error, "qm_teardownEthercat: Failed to unbind network device driver\n");
        return -1;
    }
    return qm_pci_probeDriver(&*board);
}
