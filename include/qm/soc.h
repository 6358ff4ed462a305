/**
 * @file
 * Targets with a System-on-Chip: the I/O logic in its programmable fabric, behind the AXI bus, which the
 * kernel shows as UIO devices, and the bitstream that makes it.
 */
#ifndef QM_SOC_H
#define QM_SOC_H

#include <qm/api.h>

QM_BEGIN_C

/** An AXI device that was found. Owned by the caller. */
typedef struct qm_AxiDevice
{
    int uioIndex;         /**< N of the UIO device */
    char uioDevPath[256]; /**< its node, "/dev/uioN" */
} qm_AxiDevice;

QM_RECORD_SIZE(qm_AxiDevice, 260);
QM_FIELD_OFFSET(qm_AxiDevice, uioDevPath, 4);

/**
 * Finds an AXI device by the name of its UIO device. UIO devices are tried from 0 upwards, up to the first
 * number that is not in use.
 *
 * @param axiDevice  Receives the device; untouched on failure. Not null.
 * @param deviceName First word of the UIO device's name, not null.
 * @return 0, or -1.
 *
 * Errors: in pQmErrorStr: "Could not find %s" with the name, "Failed to read %s" with the path of a UIO
 * device's name. Real-time safe: no (file system). Thread-safe: yes, apart from pQmErrorStr.
 */
QM_API int qm_findAxiDevice(qm_AxiDevice* axiDevice, const char* deviceName);

/**
 * Maps a memory region of an AXI device, shared, for reading and writing.
 *
 * @param axiDevice A device that was found, not null.
 * @param bar       Number of the UIO region whose attributes "offset" and "size" are used; "addr" must be
 * there, too. The offset is handed to the kernel as it is, for which offset 0 is the device's region 0,
 * whatever the number is.
 * @return Address of the mapping, valid until the process unmaps it or ends; null on failure.
 *
 * Errors: in pQmErrorStr: "Could not find %s" or "Failed to read %s" with an attribute's path, "Failed to
 * open %s: %s" with the node's, "Failed to map memory: %s"; after this last one the node stays open.
 * Real-time safe: no (files and mappings). Thread-safe: yes, apart from pQmErrorStr.
 */
QM_API void* qm_mapAxiBar(qm_AxiDevice* axiDevice, int bar);

/**
 * Has the kernel deliver an AXI device's interrupt to a CPU. An interrupt that is on CPU 1 alone stays there,
 * whatever CPU is asked for.
 *
 * @param deviceName Name under which the interrupt's handler is registered.
 * @param cpuNumber  The CPU; a negative number changes nothing.
 * @return 0, or -1.
 *
 * Errors: errno (EINVAL without a name, ENOENT for an unknown one) and in pQmErrorStr: "Invalid AXI device
 * name", "Failed to get IRQ number for AXI device %s", "Failed to set IRQ %d affinity to CPU %d: %s".
 * Real-time safe: no (file system). Thread-safe: yes, apart from pQmErrorStr.
 */
QM_API int qm_setAxiIrqAffinity(const char* deviceName, int cpuNumber);

/**
 * Loads a bitstream into the fabric through the target's program "qm_load-bitstream", run with sudo by a
 * shell. Waits for its end.
 *
 * @param bitstreamFile Path of the bitstream. It is put between single quotes as it is: it must not contain
 * any, and come from a trusted source.
 * @return 0; -1 on a target other than Talus, where nothing is run, or when the program fails.
 *
 * Errors: logged at qm_error: "SoC: Target machine does not have a System-on-Chip!\n", "SoC: Program to load
 * bitstream failed!\n". Real-time safe: no (runs a program). Thread-safe: as qm_getTargetType().
 */
QM_API int qm_loadOnChipBitstream(const char* bitstreamFile);

QM_END_C

#endif
