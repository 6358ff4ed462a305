/**
 * @file
 * Threads, semaphores and mutexes behind handles, real-time priorities, and which CPU a thread runs on.
 *
 * A handle belongs to the caller from its create call to its destroy call; none may be null unless stated.
 */
#ifndef QM_THREADS_H
#define QM_THREADS_H

#include <qm/api.h>

#include <sys/types.h>

QM_BEGIN_C

/**
 * Starts a real-time thread (SCHED_FIFO) at the lowest real-time priority; qm_setPidPriority() raises it.
 *
 * @param func Runs in the thread.
 * @param arg  Its argument.
 * @return The thread's handle for qm_destroyThread(), null on failure. A failure leaks the handle's storage.
 *
 * Errors: logged at qm_error: "pthread_create returns %d: %s\n" (EPERM: neither root rights nor a limit
 * RLIMIT_RTPRIO of 1 or more), "pthread_attr_init returns %d\n", "pthread_attr_setinheritsched returns %d\n",
 * "pthread_attr_setschedpolicy returns %d\n", "pthread_attr_getschedparam returns %d\n",
 * "pthread_attr_setschedparam returns %d with prio %d\n"; null without a line when out of memory.
 * Real-time safe: no (allocates, takes root rights, logs). Thread-safe: yes.
 */
QM_API void* qm_createThread(void* (*func)(void*), void* arg);

/**
 * Cancels a thread, waits for its end, and frees its handle. The thread ends at its next cancellation point:
 * qm_uio_interruptWait(), qm_waitForSemaphore(), qm_wait_s() of a millisecond or more,
 * qm_waitForBaseRateSync() until the base rate has started, and the blocking calls of the system are such
 * points. qm_lockMutex() is none, and a mutex that the thread holds stays locked.
 *
 * @param handler The handle, not used again afterwards, also on failure.
 * @return 0 when the thread has ended, also when it had ended before; else the error number of the cancel
 * request.
 *
 * Errors: by the result.
 * Real-time safe: no (waits, frees). Thread-safe: yes, for different threads.
 */
QM_API int qm_destroyThread(void* handler);

/**
 * Makes a thread or process real-time (SCHED_FIFO) with a priority.
 *
 * @param pid      Thread or process identifier; 0 is the calling thread.
 * @param priority 1 (lowest) to 99.
 * @return 0, or -1 on failure.
 *
 * Errors: errno as sched_setscheduler() left it, and logged at qm_error: "Elevating thread %d to %d,
 * sched_setscheduler returns %d: %s\n", where the text is that of error number -1 and tells nothing.
 * Real-time safe: no (takes root rights). Thread-safe: yes.
 */
QM_API int qm_setPidPriority(pid_t pid, int priority);

/**
 * Reads a thread's or process's real-time priority.
 *
 * @param pid Thread or process identifier; 0 is the calling thread.
 * @return The priority, 1 to 99; 0 without a real-time policy (SCHED_FIFO, SCHED_RR); -1 on failure.
 *
 * Errors: errno as sched_getparam() or sched_getscheduler() left it (ESRCH: there is no such thread).
 * Real-time safe: yes (two short system calls). Thread-safe: yes.
 */
QM_API int qm_getPidPriority(pid_t pid);

/**
 * Makes a semaphore for the threads of this process.
 *
 * @param initCount Its count, not negative.
 * @return The handle, null on failure.
 *
 * Errors: errno EINVAL for a negative count, ENOMEM.
 * Real-time safe: no (allocates). Thread-safe: yes.
 */
QM_API void* qm_createSemaphore(int initCount);

/**
 * Ends the use of a semaphore. Its storage stays allocated, for threads that still look at it.
 *
 * @param handler The semaphore; nobody may be waiting for it.
 * @return 0, or 1 on failure.
 *
 * Errors: errno as sem_destroy() left it.
 * Real-time safe: yes. Thread-safe: yes, for different semaphores.
 */
QM_API int qm_destroySemaphore(void* handler);

/**
 * Raises a semaphore's count by one and releases a waiting thread.
 *
 * @param handler The semaphore.
 * @return 0, or 1 on failure.
 *
 * Errors: errno EOVERFLOW when the count is at its largest.
 * Real-time safe: yes; a system call only when a thread waits. Thread-safe: yes.
 */
QM_API int qm_releaseSemaphore(void* handler);

/**
 * Waits until a semaphore's count is above 0 and lowers it by one. A cancellation point.
 *
 * @param handler The semaphore.
 * @return 0, or 1 when the wait has ended without the semaphore.
 *
 * Errors: errno EINTR when a signal handler interrupted the wait; the caller decides whether to wait again.
 * Real-time safe: yes; a system call only when it has to wait. Thread-safe: yes.
 */
QM_API int qm_waitForSemaphore(void* handler);

/**
 * Makes an unlocked mutex for the threads of this process. It is not recursive.
 *
 * @param initialOwner Ignored: the mutex is unlocked even when this is true.
 * @return The handle, null when out of memory.
 *
 * Errors: none beside null. Real-time safe: no (allocates). Thread-safe: yes.
 */
QM_API void* qm_createMutex(bool initialOwner);

/**
 * Frees a mutex.
 *
 * @param handler The mutex, unlocked; null is ignored.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: no (frees). Thread-safe: yes, for different mutexes.
 */
QM_API void qm_destroyMutex(void* handler);

/**
 * Locks a mutex, waiting for it when another thread has it.
 *
 * @param handler The mutex; the calling thread must not have it already.
 * @return Nothing.
 *
 * Errors: throws std::system_error with the error number when the mutex cannot be locked.
 * Real-time safe: yes, as far as its holders are; a system call only when it has to wait. Thread-safe: yes.
 */
QM_API void qm_lockMutex(void* handler);

/**
 * Unlocks a mutex.
 *
 * @param handler The mutex, locked by the calling thread.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: yes; a system call only when a thread waits. Thread-safe: yes.
 */
QM_API void qm_unlockMutex(void* handler);

/**
 * Locks a mutex if it is free.
 *
 * @param handler The mutex.
 * @return true if the calling thread has locked it now.
 *
 * Errors: none. Real-time safe: yes, without system call. Thread-safe: yes.
 */
QM_API bool qm_tryLockMutex(void* handler);

/**
 * Lets the calling thread run on one CPU only.
 *
 * @param cpu Number of an online CPU, from 0.
 * @return 0, or -1 on failure.
 *
 * Errors: errno EINVAL: there is no such CPU, it is offline, or the process may not use it.
 * Real-time safe: no (takes root rights, may move the thread). Thread-safe: yes.
 */
QM_API int qm_pinThisThreadToCpu(int cpu);

/**
 * Hands out CPUs for asynchronous interrupt threads in turn: 2 to one less than their configured
 * number, then 2 again. The
 * turn lasts for the life of the process, over all model runs in it.
 *
 * @return Number of the CPU; -1 with less than 3 configured CPUs.
 *
 * Errors: none beside -1. The CPU may be offline.
 * Real-time safe: no (reads a file, logs). Thread-safe: yes.
 */
QM_API int qm_pickNextAsyncCpu(void);

/**
 * Moves every other thread of the process off a CPU, then pins the calling thread to it. Threads that are
 * created later are not kept off. Before anything is changed it is checked that every thread can run
 * elsewhere.
 *
 * @param cpu Number of the CPU, from 0, less than the number of online CPUs.
 * @return 0, also when the calling thread could not be pinned in the end; else an error number.
 *
 * Errors: by the result, errno is not the report: ENOSYS with a single online CPU, EINVAL for a wrong number,
 * EBUSY when another thread may run on this CPU only, ENOMEM, or that of a system call on the way (threads
 * that were moved before then stay moved).
 * Real-time safe: no (reads directories, allocates). Thread-safe: yes.
 */
QM_API int qm_pinThreadExclusiveCpu(int cpu);

QM_END_C

#endif
