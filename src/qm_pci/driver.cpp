#include "qm_common/text_file.hpp"
#include "qm_pci/board_paths.hpp"
#include "qm_root.hpp"
#include <qm/log.h>
#include <qm/pci_access.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

constexpr char kProbeFile[] = "/sys/bus/pci/drivers_probe";

int refuseNullDevice(const char* caller)
{
    qm_printf(qm_info, "%s: device is null.\n", caller);
    return -1;
}

/// Writes the board's address. What the kernel makes of it (it may refuse) is deliberately not looked at.
bool writeAddress(const char* path, const qm_PCIDevice& board)
{
    return qm::writeAttribute(path, qm::pci::boardAddress(board).data());
}

/// Needs the caller's root scope: on some platforms an inner one would end it.
int unbind(const qm_PCIDevice& board)
{
    const auto path = qm::pci::boardFile(board, "driver/unbind");
    if (writeAddress(path.data(), board)) return 0;
    if (errno == ENOENT) return 0;  // no driver has the board
    qm_printf(qm_info, "qm_pci_unbindDriver: Could not open unbind file %s for writing: %s\n", path.data(),
              std::strerror(errno));
    return -1;
}

}  // namespace

int qm_pci_unbindDriver(qm_PCIDevice* device)
{
    if (device == nullptr) return refuseNullDevice("qm_pci_unbindDriver");
    const qm::RootScope root;
    return unbind(*device);
}

int qm_pci_bindDriver(qm_PCIDevice* device, const char* driverName)
{
    if (device == nullptr) return refuseNullDevice("qm_pci_bindDriver");
    const qm::RootScope root;
    (void)unbind(*device);
    qm::pci::PathBuffer path{};
    const int length = std::snprintf(path.data(), path.size(), "/sys/bus/pci/drivers/%s/bind", driverName);
    const bool isWhole = length > 0 && static_cast<std::size_t>(length) < path.size();
    if (isWhole && writeAddress(path.data(), *device)) return 0;
    qm_printf(qm_info, "Could not open bind file %s for writing.\n", path.data());
    return -1;
}

int qm_pci_probeDriver(qm_PCIDevice* device)
{
    if (device == nullptr) return refuseNullDevice("qm_pci_probeDriver");
    const qm::RootScope root;
    if (writeAddress(kProbeFile, *device)) return 0;
    qm_printf(qm_info, "Could not open probe file %s for writing.\n", kProbeFile);
    return -1;
}
