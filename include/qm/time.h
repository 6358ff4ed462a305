/**
 * @file
 * Busy waits, sleeps, elapsed seconds, and the target's wall-clock time.
 *
 * Ticks of the processor's time-stamp counter are taken as 3.3 GHz, whatever the processor's own rate is.
 */
#ifndef QM_TIME_H
#define QM_TIME_H

#include <qm/api.h>

QM_BEGIN_C

/** Bytes that qm_getTargetTime() writes. */
#define QM_TARGET_TIME_SIZE 26

/**
 * Multiplies by five.
 *
 * @param in A number.
 * @return Five times the number.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes.
 */
QM_API double qm_times_five(double in);

/**
 * Tells the rate at which the time-stamp counter is taken to count.
 *
 * @return 3300000000 Hz; a constant, never measured.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes.
 */
QM_API uint64_t qm_getTSCFrequency(void);

/**
 * Waits by reading the time-stamp counter. It does not give the processor away.
 *
 * @param delay_ns Nanoseconds at 3.3 GHz, up to 4294967295 (4.3 s).
 * @return Nothing.
 *
 * Errors: none. Real-time safe: yes, no system call. Thread-safe: yes.
 */
QM_API void qm_wait_ns(uint32_t delay_ns);

/**
 * Waits. Less than a millisecond is waited as qm_wait_ns() does; a longer delay is slept, cut to whole
 * milliseconds, also when signals come in between.
 *
 * @param delay_s Seconds; zero, less, or not a number: the call returns at once. Any
 * length; infinity sleeps until the thread is destroyed.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: yes below a millisecond; a longer delay sleeps, which is a system call and a
 * cancellation point. Thread-safe: yes.
 */
QM_API void qm_wait_s(double delay_s);

/**
 * Reads the time-stamp counter.
 *
 * @return Seconds at 3.3 GHz since the counter was reset, usually at power-on.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes.
 */
QM_API double qm_getElapsedTime(void);

/**
 * Tells the time since the first call of this function in the process.
 *
 * @return Seconds at 3.3 GHz; almost 0 on the first call.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes, once the first call has returned.
 */
QM_API double qm_getSecondsSinceStart(void);

/**
 * Writes the local time as text, in the form "Sat Jan  1 12:00:00 2000\n".
 *
 * @param targetTime Takes QM_TARGET_TIME_SIZE characters, the last of them the terminator.
 * @return 0.
 *
 * Errors: none. Real-time safe: no (may read the time zone's file). Thread-safe: no.
 */
QM_API int qm_getTargetTime(char* targetTime);

/**
 * Tells the local time as a serial day number.
 *
 * @return Days and fractions of them; 1 January of year 0 at midnight is 1.0, 1 January 2000 at noon
 * 730486.5.
 *
 * Errors: none are reported; years above 3000 count as 3000, with "Maximum value for year is 3000.\n" on
 * standard output. Real-time safe: no (may read the time zone's file). Thread-safe: no.
 */
QM_API double qm_getTargetTimeNum(void);

QM_END_C

#endif
