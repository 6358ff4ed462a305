/**
 * @file
 * The host link: the onboard Ethernet port over which the development host talks to the target.
 */
#ifndef QM_HOST_LINK_H
#define QM_HOST_LINK_H

#include <qm/api.h>

QM_BEGIN_C

/**
 * Gives the hardware (MAC) address of the host link: of the interface that the first entry with "Hostlink" in
 * "/usr/quillmark/sysinfo/ethTranslateFile.txt" names.
 *
 * @param destination Room for 8 bytes; as many are written as the address has, six for Ethernet. Untouched on
 * failure. A longer address is cut to its first 8 bytes.
 * @return 0, or -1.
 *
 * Errors: logged at qm_error: "Failed to determine default host link interface\n" (no file, no such entry, or
 * one without an interface name), "Failed to get interface addresses\n"; nothing when the interface is not
 * there or has no hardware address. Real-time safe: no (file system, allocates). Thread-safe: yes; beside
 * qm_translateEthernetInterfaces() it may find the file empty.
 */
QM_API int qm_target_getHostLinkMac(uint8_t* destination);

QM_END_C

#endif
