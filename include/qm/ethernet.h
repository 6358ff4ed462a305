/**
 * @file
 * Which Ethernet port is which socket of the chassis, and handing a port to an EtherCAT master.
 *
 * A port is a PCI function of class 0x020000. Its index is its position, from 0, among all of them in
 * ascending order of bus, slot and function.
 */
#ifndef QM_ETHERNET_H
#define QM_ETHERNET_H

#include <qm/api.h>

QM_BEGIN_C

/**
 * Writes the labels of all Ethernet ports to "/usr/quillmark/sysinfo/ethTranslateFile.txt".
 *
 * The file holds one entry "name:index:label;" a port and no line break. The name is the kernel's name of the
 * network interface, empty without one. The label is that of the onboard socket (Hostlink, ETH1 and so on,
 * "Onboard" for a port without one) or that of a module's port (NX90_1A, NX44_2Port3 and so on). Ports of
 * NX20 and NX22 modules have an index and no entry.
 *
 * @return 0 when the file was written, also without any port (it is empty then); -1 on failure.
 *
 * Errors: logged at qm_error: "PCI topology detection failure!\n", "Failed to create directory: %s\n",
 * "Failed to create file: %s\n"; "Failed to write file: %s\n" leaves the file empty. Real-time safe: no
 * (scans the PCI buses, writes a file). Thread-safe: no (model start-up only).
 */
QM_API int qm_translateEthernetInterfaces(void);

/**
 * Hands a port to the EtherCAT master's driver "atemsys_pci", after taking it away from the one it has. Of a
 * board with several functions, function 0 is handed over.
 *
 * @param portIndex Index of the port.
 * @return Result of qm_pci_bindDriver(); -1 for an index that no port has, or when the ports cannot be
 * listed.
 *
 * Errors: logged at qm_error: "qm_configureEthercat: Requested network device index is out of range\n", "PCI
 * topology detection failure!\n"; and those of qm_pci_bindDriver().
 * Real-time safe: no (scans the PCI buses). Thread-safe: no (model start-up only).
 */
QM_API int qm_configureEthercat(uint32_t portIndex);

/**
 * Gives a port back to its usual driver: takes it away from the one it has and lets the kernel find one. Of a
 * board with several functions, function 0 is given back.
 *
 * @param portIndex Index of the port.
 * @return Result of qm_pci_probeDriver(); -1 for an index that no port has, when the ports cannot be listed,
 * or when the driver stays.
 *
 * Errors: logged at qm_error: "qm_teardownEthercat: Requested network device index is out of range\n",
 * "qm_teardownEthercat: Failed to unbind network device driver\n", "PCI topology detection failure!\n"; and
 * those of qm_pci_unbindDriver() and qm_pci_probeDriver().
 * Real-time safe: no (scans the PCI buses). Thread-safe: no (model start-up only).
 */
QM_API int qm_teardownEthercat(uint32_t portIndex);

QM_END_C

#endif
