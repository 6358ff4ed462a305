/**
 * @file
 * Using a PCI board that was found: mapping, configuration header, kernel driver.
 *
 * Everything here addresses the board as domain 0000, the record's bus and slot, function 0, and nothing uses
 * the record's dev. Root rights are taken where needed, for the span of the call.
 */
#ifndef QM_PCI_ACCESS_H
#define QM_PCI_ACCESS_H

#include <qm/api.h>
#include <qm/pci.h>

QM_BEGIN_C

/** Words of a saved configuration header. */
#define QM_PCI_CONFIG_SAVE_WORDS 8

/**
 * Enables a board and maps one of its memory BARs for reading and writing, uncached.
 *
 * @param dev The board; VirtAddress[bar] is set.
 * @param bar BAR number, 0..5.
 * @return Address of the BAR's first byte, valid until the process ends; null on failure, with
 * VirtAddress[bar] 0 when the board's resource file could be opened.
 *
 * Errors: errno, and logged at qm_error: "Failed opening PCI device: %s\n", "Failed opening %s: %s\n",
 * "Failed mapping BAR %u of %s: %s\n"; EINVAL for another BAR number. A board that cannot be enabled is a
 * warning only: "Failed to open %s: %s\n", "Failed to read %s: %s\n", "Failed to write %s: %s\n". Real-time
 * safe: no (files and mappings). Thread-safe: yes, for different boards.
 */
QM_API void* qm_mapMemory(qm_PCIDevice* dev, uint32_t bar);

/**
 * Gives the process access to the ports of an I/O BAR.
 *
 * @param device The board.
 * @param bar    BAR number, 0..5.
 * @return The BAR's first port, also when access was refused; null for another BAR number.
 *
 * Errors: logged as "ioperm returns %d: %s\n".
 * Real-time safe: no (changes the thread's port permissions). Thread-safe: yes; the access is the calling
 * thread's and that of the threads it creates later.
 */
QM_API void* qm_mapIo(qm_PCIDevice* device, uint32_t bar);

/**
 * Logs a record at qm_info.
 *
 * @param pDev The board.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: no (logs). Thread-safe: yes.
 */
QM_API void qm_showPciDevice(qm_PCIDevice* pDev);

/**
 * Saves what a reset or a change of driver destroys: BAR 0..5, the dword with the interrupt line and the
 * command register.
 *
 * @param pciinfo    The board.
 * @param configSave QM_PCI_CONFIG_SAVE_WORDS words: BARs in 0..5, configuration offset 0x3C in 6, the command
 * register in the low 16 bits of 7 (its high 16 bits are not written).
 * @return Nothing.
 *
 * Errors: logged as "PCI header backup: device not found (bus: %d / slot: %d)\n", the words untouched.
 * Real-time safe: no (scans the PCI buses). Thread-safe: yes.
 */
QM_API void qmPCI_backupPCIConfig(qm_PCIDevice* pciinfo, uint32_t* configSave);

/**
 * Writes a saved configuration header back, the command register last.
 *
 * @param pciinfo    The board.
 * @param configSave What qmPCI_backupPCIConfig() saved.
 * @return Nothing.
 *
 * Errors: logged as "PCI header restore: device not found (bus: %d / slot: %d)\n".
 * Real-time safe: no (scans the PCI buses). Thread-safe: yes.
 */
QM_API void qmPCI_restorePCIConfig(qm_PCIDevice* pciinfo, const uint32_t* configSave);

/**
 * Logs the first 64 bytes of a board's configuration at qm_info, one dword a line.
 *
 * @param pciinfo The board.
 * @return Nothing.
 *
 * Errors: logged as "PCI header print: device not found (bus: %d / slot: %d)\n".
 * Real-time safe: no (scans the PCI buses). Thread-safe: yes.
 */
QM_API void qmPCI_printPCIConfig(qm_PCIDevice* pciinfo);

/**
 * Opens a board's configuration file, close-on-exec.
 *
 * @param pciDev The board.
 * @param flags  Flags of open(), not O_CREAT.
 * @return A file descriptor, which the caller closes, or -1.
 *
 * Errors: errno as open() left it.
 * Real-time safe: no (file system). Thread-safe: yes.
 */
QM_API int qm_pci_openPciConfig(qm_PCIDevice* pciDev, int flags);

/**
 * Takes a board away from its kernel driver.
 *
 * @param device The board.
 * @return 0 when asked or when no driver was bound, -1 on failure. A refusal by the kernel is not seen.
 *
 * Errors: logged at qm_info: "qm_pci_unbindDriver: device is null.\n", "qm_pci_unbindDriver: Could not open
 * unbind file %s for writing: %s\n". Real-time safe: no (file system). Thread-safe: yes, for different
 * boards.
 */
QM_API int qm_pci_unbindDriver(qm_PCIDevice* device);

/**
 * Hands a board to a kernel driver, after taking it away from the one it has.
 *
 * @param device     The board.
 * @param driverName Name of the driver below /sys/bus/pci/drivers.
 * @return 0 when asked, -1 on failure. A refusal by the kernel is not seen.
 *
 * Errors: logged at qm_info: "qm_pci_bindDriver: device is null.\n", "Could not open bind file %s for
 * writing.\n". Real-time safe: no (file system). Thread-safe: yes, for different boards.
 */
QM_API int qm_pci_bindDriver(qm_PCIDevice* device, const char* driverName);

/**
 * Lets the kernel find a driver for a board.
 *
 * @param device The board.
 * @return 0 when asked, -1 on failure. A refusal by the kernel is not seen.
 *
 * Errors: logged at qm_info: "qm_pci_probeDriver: device is null.\n", "Could not open probe file %s for
 * writing.\n". Real-time safe: no (file system). Thread-safe: yes, for different boards.
 */
QM_API int qm_pci_probeDriver(qm_PCIDevice* device);

QM_END_C

#endif
