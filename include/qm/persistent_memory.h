/**
 * @file
 * Memory that outlives a model run: named objects in POSIX shared memory, kept until they are freed or the
 * machine restarts.
 *
 * Every process finds an object at the address that it had when it was made, so that pointers inside it stay
 * valid. The objects are meant for one process at a time. A directory that cannot be opened whole is not
 * opened at all: each call fails and changes nothing, until "/dev/shm/qm_persMem_main" is removed by hand
 * (with what is still wanted of "/dev/shm" saved before) or the machine restarts; qm_debug messages name the
 * object at fault. Objects have the mode 0777 as far as the umask allows. On a machine that removes a user's
 * shared memory when the user logs out (systemd's RemoveIPC=), the objects of ordinary users end then.
 */
#ifndef QM_PERSISTENT_MEMORY_H
#define QM_PERSISTENT_MEMORY_H

#include <qm/api.h>

QM_BEGIN_C

/**
 * Allocates a block in a named object, which is made when there is none of this name. A known name gets
 * another block, behind the earlier ones: ask qm_getPersistentMemory() first. Blocks are not aligned, not
 * freed one by one, and zero when they are new.
 *
 * @param name Name of the object, 1 to 49 characters without "/", and not "qm_persMem_main". At most 1023
 * names.
 * @param size Size in bytes; 0 gives the place of the next block.
 * @return The block; null when the object cannot be made or found. When an object cannot be enlarged, a place
 * that is not the caller's: the end of its last block.
 *
 * Errors: logged at qm_error: "Persistent memory not available: %s - creating failed\n"; at qm_debug:
 * reasons, and "Could not enlarge persistent memory\n". An object ends at 4 GiB. A block that is touched for
 * the first time when the file system of shared memory is full ends the process (SIGBUS). Real-time safe: no
 * (files and mappings). Thread-safe: no (model start-up and termination).
 */
QM_API void* qm_allocPersistentMemory(const char* name, uint32_t size);

/**
 * Finds a named object.
 *
 * @param name Name of the object, exactly.
 * @return Its first block; null when there is none, or the directory cannot be opened.
 *
 * Errors: logged at qm_debug: "Persistent memory not available %s\n", and reasons.
 * Real-time safe: for a name that exists, once a call of this file has opened the directory. Thread-safe:
 * yes, for such names, beside itself.
 */
QM_API void* qm_getPersistentMemory(const char* name);

/**
 * Unlinks all named objects and their directory: a later process starts from nothing. What this process has
 * mapped stays usable until it ends.
 *
 * @return Nothing.
 *
 * Errors: logged at qm_debug: "shm_unlink %s failed: %s\n". Does nothing when the directory cannot be opened.
 * A process that dies in this call leaves a directory that cannot be opened. Real-time safe: no (files).
 * Thread-safe: no (model start-up and termination).
 */
QM_API void qm_freePersistentMemory(void);

QM_END_C

#endif
