#include "qm_common/file_descriptor.hpp"
#include "qm_pci/board_paths.hpp"
#include "qm_pci/pci_scan.hpp"
#include "qm_root.hpp"
#include <qm/log.h>
#include <qm/pci_access.h>

#include <array>

namespace {

/// Configuration offsets of the saved dwords, in the order of the save area; the command register follows
/// them.
constexpr std::array<int, 7> kSavedOffsets = {PCI_BASE_ADDRESS_0, PCI_BASE_ADDRESS_1, PCI_BASE_ADDRESS_2,
                                              PCI_BASE_ADDRESS_3, PCI_BASE_ADDRESS_4, PCI_BASE_ADDRESS_5,
                                              PCI_INTERRUPT_LINE};
constexpr std::size_t kCommandWord = kSavedOffsets.size();
constexpr int kHeaderSize = 64;

static_assert(kCommandWord + 1 == QM_PCI_CONFIG_SAVE_WORDS);

/// The board in a scan; null, and a message that names what was to be done, when it is absent.
pci_dev* findBoard(const qm::pci::PrivateScan& scan, const qm_PCIDevice& board, const char* purpose)
{
    pci_dev* const device = scan.find(board.bus, board.slot);
    if (device == nullptr)
        qm_printf(qm_error, "PCI header %s: device not found (bus: %d / slot: %d)\n", purpose,
                  static_cast<int>(board.bus), static_cast<int>(board.slot));
    return device;
}

}  // namespace

void qmPCI_backupPCIConfig(qm_PCIDevice* pciinfo, uint32_t* configSave)
{
    const qm::pci::PrivateScan scan;
    pci_dev* const device = findBoard(scan, *pciinfo, "backup");
    if (device == nullptr) return;
    for (std::size_t i = 0; i < kSavedOffsets.size(); ++i)
        configSave[i] = pci_read_long(device, kSavedOffsets[i]);
    configSave[kCommandWord] = (configSave[kCommandWord] & 0xFFFF0000U) | pci_read_word(device, PCI_COMMAND);
}

void qmPCI_restorePCIConfig(qm_PCIDevice* pciinfo, const uint32_t* configSave)
{
    const qm::RootScope root;
    const qm::pci::PrivateScan scan;
    pci_dev* const device = findBoard(scan, *pciinfo, "restore");
    if (device == nullptr) return;
    for (std::size_t i = 0; i < kSavedOffsets.size(); ++i)
        pci_write_long(device, kSavedOffsets[i], configSave[i]);
    pci_write_word(device, PCI_COMMAND, static_cast<uint16_t>(configSave[kCommandWord]));
}

void qmPCI_printPCIConfig(qm_PCIDevice* pciinfo)
{
    const qm::pci::PrivateScan scan;
    pci_dev* const device = findBoard(scan, *pciinfo, "print");
    if (device == nullptr) return;
    for (int offset = 0; offset < kHeaderSize; offset += 4)
        qm_printf(qm_info, "config[0x%x] = 0x%x\n", static_cast<unsigned int>(offset),
                  pci_read_long(device, offset));
}

int qm_pci_openPciConfig(qm_PCIDevice* pciDev, int flags)
{
    return qm_openAsRoot(qm::pci::boardFile(*pciDev, "config").data(), flags);
}

void qm_showPciDevice(qm_PCIDevice* pDev)
{
    qm_printf(qm_info, "VendorId = 0x%x, DeviceId = 0x%x\n", pDev->VendorId, pDev->DeviceId);
    qm_printf(qm_info, "Subsystem Device ID = 0x%x\nSubsystem Vendor ID = 0x%x\n", pDev->SubDeviceId,
              pDev->SubVendorId);
    qm_printf(qm_info, "bus = %d, slot = %d\n", static_cast<int>(pDev->bus), static_cast<int>(pDev->slot));
    qm_printf(qm_info, "    Phys   Virtual   Length IO/Mem\n");
    // Deliberate: four columns in the header, three in the rows.
    for (std::size_t bar = 0; bar < QM_PCI_BARS; ++bar)
        qm_printf(qm_info, "%08x %08x %08x\n", pDev->BaseAddress[bar],
                  static_cast<uint32_t>(pDev->VirtAddress[bar]), pDev->Length[bar]);
}
