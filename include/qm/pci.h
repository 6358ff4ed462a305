/**
 * @file
 * Finding PCI boards.
 *
 * A board is found by its vendor, device and (optionally) subsystem identifiers, either as the n-th such
 * board in ascending order of bus, slot and function ("autosearch"), or at a given bus and slot ("explicit").
 * All searches ignore the PCI domain: on a machine with several domains an equal bus and slot cannot be told
 * apart, and every function that takes the record addresses domain 0000.
 */
#ifndef QM_PCI_H
#define QM_PCI_H

#include <qm/api.h>

QM_BEGIN_C

struct pci_dev;

/** Base address registers of a board. */
#define QM_PCI_BARS 6

/** Subsystem identifier that matches every board. */
#define QM_PCI_ANY_ID 0xFFFFU

/** A PCI board that was found. The caller owns the record. */
typedef struct _qm_PCIDevice
{
    struct pci_dev* dev; /**< libpci's device; dangling after an explicit search: never pass it to libpci */
    void* hdl;           /**< spare, never written */
    uint32_t bus;        /**< bus number */
    uint32_t slot;       /**< device number on the bus; the function number is not kept */
    uintptr_t BaseAddress_raw[QM_PCI_BARS]; /**< BAR 0..5 as read, flag bits included */
    uint32_t BaseAddress[QM_PCI_BARS];      /**< the same without its low 4 bits, low 32 bits */
    uint32_t Length[QM_PCI_BARS];           /**< size of BAR 0..5 in bytes, low 32 bits */
    uintptr_t VirtAddress[QM_PCI_BARS];     /**< address of a mapped BAR, set by qm_mapMemory() */
    uint16_t VendorId;                      /**< vendor identifier */
    uint16_t DeviceId;                      /**< device identifier */
    uint16_t SubDeviceId;                   /**< never written by a search */
    uint16_t SubVendorId;                   /**< never written by a search */
    uint32_t pciIdx; /**< autosearch: position among matching boards, from 1; explicit: number of boards
                          with the same vendor and device identifier passed before, from 0 */
} qm_PCIDevice;

QM_RECORD_SIZE(qm_PCIDevice, 184);
QM_FIELD_OFFSET(qm_PCIDevice, hdl, 8);
QM_FIELD_OFFSET(qm_PCIDevice, bus, 16);
QM_FIELD_OFFSET(qm_PCIDevice, slot, 20);
QM_FIELD_OFFSET(qm_PCIDevice, BaseAddress_raw, 24);
QM_FIELD_OFFSET(qm_PCIDevice, BaseAddress, 72);
QM_FIELD_OFFSET(qm_PCIDevice, Length, 96);
QM_FIELD_OFFSET(qm_PCIDevice, VirtAddress, 120);
QM_FIELD_OFFSET(qm_PCIDevice, VendorId, 168);
QM_FIELD_OFFSET(qm_PCIDevice, DeviceId, 170);
QM_FIELD_OFFSET(qm_PCIDevice, SubDeviceId, 172);
QM_FIELD_OFFSET(qm_PCIDevice, SubVendorId, 174);
QM_FIELD_OFFSET(qm_PCIDevice, pciIdx, 176);

/**
 * Finds a board: by position when Slot is negative, else at Bus and Slot.
 *
 * @param pPciInfo    The record to fill, untouched on failure.
 * @param pDevNameStr The board's name for messages; 127 characters are used.
 * @param vendorId    Vendor identifier.
 * @param deviceId    Device identifier.
 * @param subVendorId Subsystem vendor identifier or QM_PCI_ANY_ID.
 * @param subDeviceId Subsystem identifier or QM_PCI_ANY_ID.
 * @param ModuleId    Position from 1 (0 and less as 1); quoted in messages in both modes.
 * @param Bus         Bus, 0 or more (cut to 16 bits); ignored when Slot is negative.
 * @param Slot        Slot (cut to 16 bits), or negative for autosearch.
 * @return 0 found, 1 not found or a negative bus.
 *
 * Errors: "%s ID%i: Module not found", "%s ID%i: Invalid PCI bus argument: %i" or "%s ID%i: Not found at bus
 * %i, slot %i (rc:%i)" in pQmErrorStr. Real-time safe: no (scans the PCI buses). Thread-safe: no (model
 * start-up only).
 */
QM_API int qm_findPciDevice(qm_PCIDevice* pPciInfo, const char* pDevNameStr, uint16_t vendorId,
                            uint16_t deviceId, uint16_t subVendorId, uint16_t subDeviceId, int ModuleId,
                            int Bus, int Slot);

/**
 * Finds a board by position.
 *
 * @param pPciInfo    The record to fill, untouched on failure.
 * @param pDevNameStr The board's name for messages; 127 characters are used.
 * @param vendorId    Vendor identifier.
 * @param deviceId    Device identifier.
 * @param subVendorId Subsystem vendor identifier or QM_PCI_ANY_ID.
 * @param subDeviceId Subsystem identifier or QM_PCI_ANY_ID.
 * @param ModuleId    Position from 1 (0 and less as 1).
 * @return 0 found, 1 not found.
 *
 * Errors: "%s pciIDxPlusOne%i: Module not found" in pQmErrorStr.
 * Real-time safe: no (scans the PCI buses). Thread-safe: no (model start-up only).
 */
QM_API int qm_detectPciDevice(qm_PCIDevice* pPciInfo, const char* pDevNameStr, uint16_t vendorId,
                              uint16_t deviceId, uint16_t subVendorId, uint16_t subDeviceId, int ModuleId);

/**
 * Finds a board at a bus and slot.
 *
 * @param pPciInfo    The record to fill, untouched on failure.
 * @param pDevNameStr The board's name for messages; 127 characters are used.
 * @param vendorId    Vendor identifier.
 * @param deviceId    Device identifier.
 * @param subVendorId Subsystem vendor identifier or QM_PCI_ANY_ID.
 * @param subDeviceId Subsystem identifier or QM_PCI_ANY_ID.
 * @param Bus         Bus, cut to 16 bits.
 * @param Slot        Slot, cut to 16 bits.
 * @return 0 found, 1 not found.
 *
 * Errors: "%s not found at bus %i, slot %i (rc:%i)" in pQmErrorStr.
 * Real-time safe: no (scans the PCI buses). Thread-safe: no (model start-up only).
 */
QM_API int qm_detectPciDeviceAtSlot(qm_PCIDevice* pPciInfo, const char* pDevNameStr, uint16_t vendorId,
                                    uint16_t deviceId, uint16_t subVendorId, uint16_t subDeviceId, int Bus,
                                    int Slot);

/**
 * Finds a board that may carry any of several identifier sets, for instance those of its revisions.
 *
 * By position (Slot negative) the boards of all sets together are counted in ascending order of bus and slot;
 * a board that matches two sets counts twice. At a bus and slot the first set that matches wins.
 *
 * @param pPciInfo         The record to fill; pciIdx is the position within the board's own set. Untouched on
 * failure.
 * @param pDevNameStr      The board's name for messages; 127 characters are used.
 * @param nDevs            Number of identifier sets.
 * @param pVendorId        Vendor identifiers.
 * @param pDeviceId        Device identifiers.
 * @param pSubVendorId     Subsystem vendor identifiers or QM_PCI_ANY_ID.
 * @param pSubDeviceId     Subsystem identifiers or QM_PCI_ANY_ID.
 * @param PciAutosearchPos Position from 1; 0 and less are not found. At most 255 boards of a set are counted.
 * @param Bus              Bus, 0 or more (cut to 16 bits); ignored when Slot is negative.
 * @param Slot             Slot (cut to 16 bits), or negative for autosearch.
 * @return 0 found, 1 not found or a negative bus.
 *
 * Errors: "%s PciAutosearchPos%i: Module not found", "%s PciAutosearchPos%i: Invalid PCI bus argument: %i" or
 * "%s PciAutosearchPos%i: Not found at bus %i, slot %i (rc:%i)" in pQmErrorStr.
 * Real-time safe: no (scans the PCI buses). Thread-safe: no (model start-up only).
 */
QM_API int qm_findPciDeviceMultiIDs(qm_PCIDevice* pPciInfo, const char* pDevNameStr, size_t nDevs,
                                    uint16_t* pVendorId, uint16_t* pDeviceId, uint16_t* pSubVendorId,
                                    uint16_t* pSubDeviceId, int PciAutosearchPos, int Bus, int Slot);

/**
 * Finds a board by position, without an error text. Walks the list of the process's first scan: boards
 * plugged in later are not seen.
 *
 * @param vendorId    Vendor identifier.
 * @param deviceId    Device identifier.
 * @param subVendorId Subsystem vendor identifier or QM_PCI_ANY_ID.
 * @param subDeviceId Subsystem identifier or QM_PCI_ANY_ID.
 * @param moduleId    Position from 1 (0 and less as 1).
 * @param pPciInfo    The record to fill, untouched on failure.
 * @return 0 found, 1 not found.
 *
 * Errors: none are reported otherwise.
 * Real-time safe: no (scans the PCI buses). Thread-safe: no (model start-up only).
 */
QM_API int qmPCI_getDeviceByIdx(uint16_t vendorId, uint16_t deviceId, uint16_t subVendorId,
                                uint16_t subDeviceId, int moduleId, qm_PCIDevice* pPciInfo);

/**
 * Finds a board at a bus and slot, without an error text. Makes a scan of its own; the first matching
 * function of the slot wins.
 *
 * @param vendorId    Vendor identifier.
 * @param deviceId    Device identifier.
 * @param subVendorId Subsystem vendor identifier or QM_PCI_ANY_ID.
 * @param subDeviceId Subsystem identifier or QM_PCI_ANY_ID.
 * @param Bus         Bus.
 * @param Slot        Slot.
 * @param pPciInfo    The record to fill, untouched on failure. Its dev is dangling.
 * @return 0 found, 1 not found.
 *
 * Errors: none are reported otherwise.
 * Real-time safe: no (scans the PCI buses). Thread-safe: yes.
 */
QM_API int qmPCI_getDeviceAtSlot(uint16_t vendorId, uint16_t deviceId, uint16_t subVendorId,
                                 uint16_t subDeviceId, uint16_t Bus, uint16_t Slot, qm_PCIDevice* pPciInfo);

QM_END_C

#endif
