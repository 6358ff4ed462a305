/**
 * @file
 * Waiting until the model's base rate has started.
 */
#ifndef QM_BASE_RATE_H
#define QM_BASE_RATE_H

#include <qm/api.h>

QM_BEGIN_C

/**
 * Waits up to 100 microseconds for the model's base rate to start. Meant for the loop of a thread that must
 * not work before the first step; the caller decides whether to call again. A cancellation point until the
 * base rate has started. The time-out is taken from the wall clock: when that is set back, one wait lasts
 * longer by as much.
 *
 * @return 0 when the base rate has started (from then on at once, for the life of the process), -1 on
 * time-out.
 *
 * Errors: none. Real-time safe: yes; without lock or system call once the base rate has started. Thread-safe:
 * yes.
 */
QM_API int qm_waitForBaseRateSync(void);

/**
 * Marks the base rate as started and wakes all waiting threads. Nothing clears the mark again.
 *
 * @return Nothing.
 *
 * Errors: none. Real-time safe: yes; after the first call it only reads a flag. Thread-safe: yes.
 */
QM_API void qm_signalBaseRateSync(void);

QM_END_C

#endif
