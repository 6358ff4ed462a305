/**
 * @file
 * Reading and writing the processor's I/O ports.
 *
 * qm_mapIo() gives a thread access to a board's ports. Access to the two ports of the legacy PCI
 * configuration mechanism, 0xCF8 and 0xCFC, is asked for by these functions themselves, on every call; what
 * the two refer to is not locked between calls. They are told by the whole number, the access uses its low 16
 * bits; what is granted are 32 ports from the given one, to the calling thread, for good. Any other port is
 * accessed without a question.
 *
 * What all six have in common: `port` is the port's number, of which the low 16 bits are used.
 * Errors: a port that the calling thread has no access to ends the process (SIGSEGV). At 0xCF8 and 0xCFC a
 * refusal is logged first, at qm_error: "ioperm returns %d: %s\n".
 * Real-time safe: yes, a single instruction; no at 0xCF8 and 0xCFC (system calls, root rights).
 * Thread-safe: yes, for each single access.
 */
#ifndef QM_PORT_IO_H
#define QM_PORT_IO_H

#include <qm/api.h>

QM_BEGIN_C

/**
 * Reads 8 bits from a port.
 *
 * @param port The port.
 * @return What was read.
 *
 * Errors, real-time safety, thread-safety: see above.
 */
QM_API uint8_t qm_inpB(uintptr_t port);

/**
 * Reads 16 bits from a port.
 *
 * @param port The port.
 * @return What was read.
 *
 * Errors, real-time safety, thread-safety: see above.
 */
QM_API uint16_t qm_inpW(uintptr_t port);

/**
 * Reads 32 bits from a port.
 *
 * @param port The port.
 * @return What was read.
 *
 * Errors, real-time safety, thread-safety: see above.
 */
QM_API uint32_t qm_inpDW(uintptr_t port);

/**
 * Writes 8 bits to a port.
 *
 * @param port The port.
 * @param val  What to write.
 * @return Nothing.
 *
 * Errors, real-time safety, thread-safety: see above.
 */
QM_API void qm_outpB(uintptr_t port, uint8_t val);

/**
 * Writes 16 bits to a port.
 *
 * @param port The port.
 * @param val  What to write.
 * @return Nothing.
 *
 * Errors, real-time safety, thread-safety: see above.
 */
QM_API void qm_outpW(uintptr_t port, uint16_t val);

/**
 * Writes 32 bits to a port.
 *
 * @param port The port.
 * @param val  What to write.
 * @return Nothing.
 *
 * Errors, real-time safety, thread-safety: see above.
 */
QM_API void qm_outpDW(uintptr_t port, uint32_t val);

/**
 * Does nothing; callers of an older interface link against it.
 *
 * @return 0.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes.
 */
QM_API int qm_setAbilities(void);

QM_END_C

#endif
