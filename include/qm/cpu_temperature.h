/**
 * @file
 * The processor's temperature.
 */
#ifndef QM_CPU_TEMPERATURE_H
#define QM_CPU_TEMPERATURE_H

#include <qm/api.h>

QM_BEGIN_C

/**
 * Reads the processor's temperature from the sensor of its package, or from that of core 0 where the package
 * has none. Needs the kernel module "msr".
 *
 * @return Temperature in degrees Celsius, or -1; a temperature of -1 degree cannot be told from a failure.
 *
 * Errors: logged at qm_error: "CPU not supported\n", "CPU temperature readout not supported\n", "%s doesn't
 * exist.\n", "No permission to open %s.\n" or "Unable to open %s : %s\n" with "/dev/cpu/0/msr", "Error: Read
 * of register 0x%x failed : %s\n". Real-time safe: no (file system). Thread-safe: yes.
 */
QM_API int qm_getCpuTemperature(void);

/**
 * Gives the temperature at which the processor begins to throttle itself.
 *
 * @return Always 100 degrees Celsius; the processor's own value is not read.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes.
 */
QM_API int qm_target_getTccActivationTemp(void);

QM_END_C

#endif
