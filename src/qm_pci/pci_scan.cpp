#include "qm_pci/pci_scan.hpp"

#include "qm_common/clean_up_scope.hpp"

#include <tuple>

namespace {

/// The domain is ignored.
std::tuple<uint8_t, uint8_t, uint8_t> position(const pci_dev& device)
{
    return {device.bus, device.dev, device.func};
}

/// Re-links a list by insertion: each device goes before the first whose position is not smaller, so equal
/// positions (of different domains) change their order.
pci_dev* sorted(pci_dev* devices)
{
    pci_dev* head = nullptr;
    while (devices != nullptr) {
        pci_dev* const device = devices;
        devices = devices->next;
        pci_dev** place = &head;
        while (*place != nullptr && position(**place) < position(*device))
            place = &(*place)->next;
        device->next = *place;
        *place = device;
    }
    return head;
}

}  // namespace

namespace qm::pci {

pci_access* newScan()
{
    pci_access* const access = pci_alloc();
    pci_init(access);
    pci_scan_bus(access);
    return access;
}

PrivateScan::~PrivateScan()
{
    const CleanUpScope cleanUp;
    pci_cleanup(access_);
}

pci_dev* PrivateScan::find(uint32_t bus, uint32_t slot) const
{
    pci_dev* device = devices();
    while (device != nullptr &&
           (device->domain != 0 || device->bus != bus || device->dev != slot || device->func != 0))
        device = device->next;
    return device;
}

ConfigReader::~ConfigReader()
{
    const CleanUpScope cleanUp;
    pci_free_dev(device_);
}

int ConfigReader::capability(unsigned int id) const
{
    const pci_cap* const found = pci_find_cap(device_, id, PCI_CAP_NORMAL);
    return found != nullptr ? static_cast<int>(found->addr) : 0;
}

}  // namespace qm::pci

pci_access* qm_pci_access()
{
    static pci_access* persistentPciAccess = nullptr;
    if (persistentPciAccess == nullptr) {
        persistentPciAccess = qm::pci::newScan();
        persistentPciAccess->devices = sorted(persistentPciAccess->devices);
        // Asked now: libpci ends the process when it is first asked about a device that has gone since.
        for (pci_dev* device = persistentPciAccess->devices; device != nullptr; device = device->next)
            pci_fill_info(device, qm::pci::kIdentity);
    }
    return persistentPciAccess;
}
