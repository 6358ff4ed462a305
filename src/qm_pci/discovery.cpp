#include "qm_error.hpp"
#include "qm_pci/pci_scan.hpp"
#include <qm/log.h>
#include <qm/pci.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <new>
#include <tuple>
#include <vector>

namespace {

constexpr int kFound = 0;
constexpr int kNotFound = 1;
constexpr uintptr_t kBarFlags = 0xF;
constexpr int kMaxAutosearchPosition = 255;

/// The identifiers that a board must have.
struct Identifiers
{
    uint16_t vendor, device, subVendor, subDevice;

    [[nodiscard]] bool matchBoard(const pci_dev& candidate) const
    {
        return candidate.vendor_id == vendor && candidate.device_id == device;
    }

    [[nodiscard]] bool matchSubsystem(const pci_dev& candidate) const
    {
        if (subVendor == QM_PCI_ANY_ID && subDevice == QM_PCI_ANY_ID) return true;
        const qm::pci::ConfigReader config(candidate.access, candidate.domain, candidate.bus, candidate.dev,
                                           candidate.func);
        return (subVendor == QM_PCI_ANY_ID || config.word(PCI_SUBSYSTEM_VENDOR_ID) == subVendor) &&
               (subDevice == QM_PCI_ANY_ID || config.word(PCI_SUBSYSTEM_ID) == subDevice);
    }
};

/// The caller's name for the board, cut to what messages take.
class BoardName
{
public:
    explicit BoardName(const char* name) { std::snprintf(text_.data(), text_.size(), "%s", name); }
    [[nodiscard]] const char* c_str() const { return text_.data(); }

private:
    std::array<char, 128> text_{};
};

void fillRecord(qm_PCIDevice& record, pci_dev& device, uint32_t position)
{
    record.dev = &device;
    record.VendorId = device.vendor_id;
    record.DeviceId = device.device_id;
    record.bus = device.bus;
    record.slot = device.dev;
    for (std::size_t bar = 0; bar < QM_PCI_BARS; ++bar) {
        record.BaseAddress_raw[bar] = device.base_addr[bar];
        record.BaseAddress[bar] = static_cast<uint32_t>(device.base_addr[bar] & ~kBarFlags);
        record.Length[bar] = static_cast<uint32_t>(device.size[bar]);
    }
    record.pciIdx = position;
}

bool isBefore(const qm_PCIDevice& left, const qm_PCIDevice& right)
{
    return std::tie(left.bus, left.slot) < std::tie(right.bus, right.slot);
}

/// All boards of one identifier set, each with its position within the set.
void collectBoards(const Identifiers& set, std::vector<qm_PCIDevice>& boards)
{
    qm_PCIDevice board{};
    for (int position = 1; position <= kMaxAutosearchPosition; ++position) {
        if (qmPCI_getDeviceByIdx(set.vendor, set.device, set.subVendor, set.subDevice, position, &board) !=
            kFound)
            return;
        boards.push_back(board);
    }
}

/// The identifier sets of a search for any of several revisions of a board.
struct IdentifierSets
{
    std::size_t count;
    const uint16_t *vendors, *devices, *subVendors, *subDevices;

    [[nodiscard]] Identifiers operator[](std::size_t i) const
    {
        return {vendors[i], devices[i], subVendors[i], subDevices[i]};
    }
};

int findAnyAtSlot(qm_PCIDevice* pPciInfo, const char* name, const IdentifierSets& sets, int PciAutosearchPos,
                  int Bus, int Slot)
{
    qm_printf(qm_debug, "Explicit mode\n");
    if (Bus < 0) {
        qm::setErrorText("%s PciAutosearchPos%i: Invalid PCI bus argument: %i", name, PciAutosearchPos, Bus);
        qm_printf(qm_debug, "%s\n", pQmErrorStr);
        return kNotFound;
    }
    int rc = -1;
    for (std::size_t i = 0; i < sets.count; ++i) {
        const Identifiers set = sets[i];
        rc = qmPCI_getDeviceAtSlot(set.vendor, set.device, set.subVendor, set.subDevice,
                                   static_cast<uint16_t>(Bus), static_cast<uint16_t>(Slot), pPciInfo);
        if (rc != kFound) continue;
        qm_printf(qm_debug, "%s PciAutosearchPos%i: Found at bus %i, slot %i\n", name, PciAutosearchPos,
                  static_cast<int>(pPciInfo->bus), static_cast<int>(pPciInfo->slot));
        return kFound;
    }
    qm::setErrorText("%s PciAutosearchPos%i: Not found at bus %i, slot %i (rc:%i)", name, PciAutosearchPos,
                     Bus, Slot, rc);
    return kNotFound;
}

int findAnyByPosition(qm_PCIDevice* pPciInfo, const char* name, const IdentifierSets& sets,
                      int PciAutosearchPos)
{
    qm_printf(qm_debug, "Autosearch mode\n");
    std::vector<qm_PCIDevice> boards;
    for (std::size_t i = 0; i < sets.count; ++i)
        collectBoards(sets[i], boards);

    if (PciAutosearchPos < 1 || static_cast<std::size_t>(PciAutosearchPos) > boards.size()) {
        qm_printf(qm_debug, "%s PciAutosearchPos%i: Module not found\n", name, PciAutosearchPos);
        qm::setErrorText("%s PciAutosearchPos%i: Module not found", name, PciAutosearchPos);
        return kNotFound;
    }
    std::sort(boards.begin(), boards.end(), isBefore);
    const qm_PCIDevice& board = boards[static_cast<std::size_t>(PciAutosearchPos) - 1];
    fillRecord(*pPciInfo, *board.dev, board.pciIdx);
    qm_printf(qm_debug, "%s PciAutosearchPos%i: Found at bus %i, slot %i\n", name, PciAutosearchPos,
              static_cast<int>(board.bus), static_cast<int>(board.slot));
    return kFound;
}

}  // namespace

int qmPCI_getDeviceByIdx(uint16_t vendorId, uint16_t deviceId, uint16_t subVendorId, uint16_t subDeviceId,
                         int moduleId, qm_PCIDevice* pPciInfo)
{
    qm_printf(qm_debug, "Looking for VID 0x%04x DID 0x%04x at index %d\n", vendorId, deviceId, moduleId);
    const Identifiers wanted{vendorId, deviceId, subVendorId, subDeviceId};
    int count = 0;
    for (pci_dev* device = qm_pci_access()->devices; device != nullptr; device = device->next) {
        if (!wanted.matchBoard(*device) || !wanted.matchSubsystem(*device)) continue;
        if (++count < moduleId) continue;  // Deliberate: 0 and negative positions are the first board.
        fillRecord(*pPciInfo, *device, static_cast<uint32_t>(count));
        return kFound;
    }
    return kNotFound;
}

int qmPCI_getDeviceAtSlot(uint16_t vendorId, uint16_t deviceId, uint16_t subVendorId, uint16_t subDeviceId,
                          uint16_t Bus, uint16_t Slot, qm_PCIDevice* pPciInfo)
{
    const qm::pci::PrivateScan scan;
    const Identifiers wanted{vendorId, deviceId, subVendorId, subDeviceId};
    uint32_t passed = 0;
    for (pci_dev* device = scan.devices(); device != nullptr; device = device->next) {
        pci_fill_info(device, qm::pci::kIdentity);
        if (!wanted.matchBoard(*device)) continue;
        if (device->bus == Bus && device->dev == Slot && wanted.matchSubsystem(*device)) {
            // Deliberate: dev dangles once the scan is released; callers know that they must not use it.
            fillRecord(*pPciInfo, *device, passed);
            return kFound;
        }
        ++passed;
    }
    return kNotFound;
}

int qm_findPciDevice(qm_PCIDevice* pPciInfo, const char* pDevNameStr, uint16_t vendorId, uint16_t deviceId,
                     uint16_t subVendorId, uint16_t subDeviceId, int ModuleId, int Bus, int Slot)
{
    const BoardName name(pDevNameStr);
    if (Slot < 0) {
        qm_printf(qm_debug, "Find PCI device in autosearch mode\n");
        if (qmPCI_getDeviceByIdx(vendorId, deviceId, subVendorId, subDeviceId, ModuleId, pPciInfo) !=
            kFound) {
            qm::setErrorText("%s ID%i: Module not found", name.c_str(), ModuleId);
            return kNotFound;
        }
    } else {
        qm_printf(qm_debug, "Find PCI device in explicit mode\n");
        if (Bus < 0) {
            qm::setErrorText("%s ID%i: Invalid PCI bus argument: %i", name.c_str(), ModuleId, Bus);
            return kNotFound;
        }
        const int rc =
            qmPCI_getDeviceAtSlot(vendorId, deviceId, subVendorId, subDeviceId, static_cast<uint16_t>(Bus),
                                  static_cast<uint16_t>(Slot), pPciInfo);
        if (rc != kFound) {
            qm::setErrorText("%s ID%i: Not found at bus %i, slot %i (rc:%i)", name.c_str(), ModuleId, Bus,
                             Slot, rc);
            return kNotFound;
        }
    }
    qm_printf(qm_debug, "%s ID%i: Found at bus %i, slot %i\n", name.c_str(), ModuleId,
              static_cast<int>(pPciInfo->bus), static_cast<int>(pPciInfo->slot));
    return kFound;
}

int qm_detectPciDevice(qm_PCIDevice* pPciInfo, const char* pDevNameStr, uint16_t vendorId, uint16_t deviceId,
                       uint16_t subVendorId, uint16_t subDeviceId, int ModuleId)
{
    if (qmPCI_getDeviceByIdx(vendorId, deviceId, subVendorId, subDeviceId, ModuleId, pPciInfo) == kFound)
        return kFound;
    qm::setErrorText("%s pciIDxPlusOne%i: Module not found", BoardName(pDevNameStr).c_str(), ModuleId);
    return kNotFound;
}

int qm_detectPciDeviceAtSlot(qm_PCIDevice* pPciInfo, const char* pDevNameStr, uint16_t vendorId,
                             uint16_t deviceId, uint16_t subVendorId, uint16_t subDeviceId, int Bus, int Slot)
{
    const int rc = qmPCI_getDeviceAtSlot(vendorId, deviceId, subVendorId, subDeviceId,
                                         static_cast<uint16_t>(Bus), static_cast<uint16_t>(Slot), pPciInfo);
    if (rc == kFound) return kFound;
    qm::setErrorText("%s not found at bus %i, slot %i (rc:%i)", BoardName(pDevNameStr).c_str(), Bus, Slot,
                     rc);
    return kNotFound;
}

int qm_findPciDeviceMultiIDs(qm_PCIDevice* pPciInfo, const char* pDevNameStr, size_t nDevs,
                             uint16_t* pVendorId, uint16_t* pDeviceId, uint16_t* pSubVendorId,
                             uint16_t* pSubDeviceId, int PciAutosearchPos, int Bus, int Slot)
{
    const BoardName name(pDevNameStr);
    const IdentifierSets sets{nDevs, pVendorId, pDeviceId, pSubVendorId, pSubDeviceId};
    qm_printf(qm_debug, "Bus: %i, Slot: %i\n", Bus, Slot);
    if (Slot >= 0) return findAnyAtSlot(pPciInfo, name.c_str(), sets, PciAutosearchPos, Bus, Slot);
    try {
        return findAnyByPosition(pPciInfo, name.c_str(), sets, PciAutosearchPos);
    } catch (const std::bad_alloc&) {
        qm::setErrorText("%s PciAutosearchPos%i: out of memory", name.c_str(), PciAutosearchPos);
        return kNotFound;
    }
}
