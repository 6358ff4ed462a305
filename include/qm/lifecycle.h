/**
 * @file
 * Hooks into a model's life: early initialisation, start callbacks, exit handlers; and helper programs.
 */
#ifndef QM_LIFECYCLE_H
#define QM_LIFECYCLE_H

#include <qm/api.h>

QM_BEGIN_C

/**
 * Registers the function that runs before the model's own initialisation, on the platform's start-up thread.
 *
 * @param early_init_func The function, replacing an earlier one; null unregisters.
 * @return Nothing.
 *
 * Errors: none; a function registered after the platform has initialised its services is not run.
 * Real-time safe: yes. Thread-safe: no (model start-up only).
 */
QM_API void qm_register_early_init_function(void (*early_init_func)(void));

/**
 * Tells whether this is the early phase.
 *
 * @return 1 from load until a registered early-initialisation function has returned, then 0. Stays 1 when no
 * function was registered or when it threw.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: no (model start-up only).
 */
QM_API int qm_is_early_init(void);

/**
 * Parks a pointer for the early-initialisation function to pick up.
 *
 * @param blkInfo2 The pointer; it stays the caller's.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: no (model start-up only).
 */
QM_API void qm_early_init_set_blkInfo2(void* blkInfo2);

/**
 * Gives the parked pointer.
 *
 * @return The pointer stored last, null if none was.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: no (model start-up only).
 */
QM_API void* qm_early_init_get_blkInfo2(void);

/**
 * Asks the platform to run a function when it starts the model.
 *
 * @param callback The function.
 * @param argument Passed to it; it stays the caller's.
 * @param priority Passed to the platform, which gives it its meaning.
 * @return Nothing.
 *
 * Errors: the platform's; the stand-alone one throws std::bad_alloc when out of memory.
 * Real-time safe: no (the platform may allocate). Thread-safe: as the platform is.
 */
QM_API void qm_add_start_callback(void (*callback)(void*), void* argument, int priority);

/**
 * Registers a function that runs when the process exits, however many there are. They run in the order in
 * which they were registered, the reverse of atexit()'s, at the place among atexit()'s handlers that the
 * first of them has. A handler may register another one, which runs last. None runs when a signal, abort() or
 * _exit() ends the process, and only one thread may be ending it.
 *
 * @param handler  The function, not null. It must not throw, nor call exit() or qm_exit_handler().
 * @param argument Passed to it; it stays the caller's.
 * @return Nothing.
 *
 * Errors: none are reported; the process ends when out of memory.
 * Real-time safe: no (allocates). Thread-safe: no (model start-up only).
 */
QM_API void qm_add_exit_handler(void (*handler)(void*), void* argument);

/**
 * Runs and forgets the registered exit handlers. The process does so itself when it exits.
 *
 * @return Nothing.
 *
 * Errors: none. Real-time safe: no (frees). Thread-safe: no (process exit only).
 */
QM_API void qm_exit_handler(void);

/**
 * Starts a program as a child process with an empty environment. PATH is not searched.
 *
 * @param path           The program's directory.
 * @param executableName The program's file name; joined with the directory at most 99 characters.
 * @param options        Its arguments, separated by blanks, not null; words after the 18th are left out.
 * @return The child's process identifier, or -1. The child is the caller's to wait for; it inherits the
 * calling thread's priority, CPUs and signal mask.
 *
 * Errors: log lines "qm_spawnExecutable(): Executable path too long" and "posix_spawn() failed: REASON" at
 * info level; "qm_spawnExecutable(): Too many arguments specified, remaining arguments will be ignored" at
 * warning level when words are left out.
 * Real-time safe: no (starts a process). Thread-safe: yes.
 */
QM_API int qm_spawnExecutable(const char* path, const char* executableName, const char* options);

QM_END_C

#endif
