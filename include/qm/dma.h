/**
 * @file
 * Physically contiguous buffers for bus-mastering boards.
 *
 * Buffers come from the u-dma-buf kernel driver through its manager device "/dev/u-dma-buf-mgr". The manager
 * and the driver's files "phys_addr" and "size" are opened with the caller's own rights: the target image
 * must grant them. At most 256 buffers exist at once.
 *
 * One process at a time: the first allocation of a process, and the first one after all its buffers were
 * freed, deletes every buffer "/dev/qm-udma-buf*" of whichever process, in use or not.
 */
#ifndef QM_DMA_H
#define QM_DMA_H

#include <qm/api.h>

QM_BEGIN_C

/** A buffer of the kernel driver. */
typedef struct qm_udmabuf_Handle
{
    char deviceName[32];    /**< "qm-udma-buf" and a number 0..255: its node's name below /dev */
    size_t length;          /**< size in bytes */
    void* userPtr;          /**< first byte of this process's mapping */
    uintptr_t physicalAddr; /**< bus address of the first byte */
} qm_udmabuf_Handle;

QM_RECORD_SIZE(qm_udmabuf_Handle, 56);
QM_FIELD_OFFSET(qm_udmabuf_Handle, length, 32);
QM_FIELD_OFFSET(qm_udmabuf_Handle, userPtr, 40);
QM_FIELD_OFFSET(qm_udmabuf_Handle, physicalAddr, 48);

/**
 * Allocates an uncached, physically contiguous buffer.
 *
 * @param size        Size in bytes; up to 4096 becomes 8192.
 * @param physicalOut Receives the bus address of the buffer's first byte, 0 on failure; not null.
 * @return The buffer, which the caller frees with qm_freePhysicalMemory(), or null. A buffer that the kernel
 * refuses to map is returned as MAP_FAILED.
 *
 * Errors: logged at qm_info: "Failed to clear old u-dma-buffers. Do you have the required kernel modules
 * inserted?\n", "Could not create buffer.\n", after a line with the reason at qm_warning or qm_error as far
 * as there is one. Real-time safe: no (files and mappings). Thread-safe: no (model start-up and termination).
 */
QM_API void* qm_allocPhysicalMemory_v2(size_t size, uintptr_t* physicalOut);

/**
 * The same as qm_allocPhysicalMemory_v2().
 *
 * @param size        Size in bytes; up to 4096 becomes 8192.
 * @param physicalOut Receives the bus address of the buffer's first byte, 0 on failure; not null.
 * @return The buffer or null, as qm_allocPhysicalMemory_v2().
 *
 * Errors, real-time safety, thread-safety: as qm_allocPhysicalMemory_v2().
 */
QM_API void* qm_allocPhysicalMemory_v2_uncached(size_t size, uintptr_t* physicalOut);

/**
 * Refuses: there are no cached buffers.
 *
 * @param size        Ignored.
 * @param physicalOut Ignored, not written.
 * @return Null.
 *
 * Errors: logged at qm_error: "%s is not defined in libqm on x86. Use qm_allocPhysicalMemory_v2()
 * instead.\n". Real-time safe: no (logs). Thread-safe: yes.
 */
QM_API void* qm_allocPhysicalMemory_v2_cached(size_t size, uintptr_t* physicalOut);

/**
 * Refuses: this function is for other operating systems.
 *
 * @param size Ignored.
 * @return Null.
 *
 * Errors: logged at qm_info: "%s is not, and will not, be defined in libqm for Linux. Use
 * qm_allocPhysicalMemory_v2() instead.\n". Real-time safe: no (logs). Thread-safe: yes.
 */
QM_API void* qm_allocPhysicalMemory_cached(size_t size);

/**
 * Refuses, as qm_allocPhysicalMemory_cached().
 *
 * @param size Ignored.
 * @return Null.
 *
 * Errors, real-time safety, thread-safety: as qm_allocPhysicalMemory_cached().
 */
QM_API void* qm_allocPhysicalMemory_uncached(size_t size);

/**
 * Frees a buffer. No board may use it any more.
 *
 * @param ptr What qm_allocPhysicalMemory_v2() returned, not an address inside the buffer; null is ignored.
 * @return Nothing.
 *
 * Errors: logged at qm_info: "No buffer matching address %p was found to free\n", "Could not free buffer
 * %p.\n"; the latter buffer stays in the kernel until qm_udmabuf_deleteAllBuffers(), and is forgotten here.
 * Real-time safe: no (files and mappings). Thread-safe: no (model start-up and termination).
 */
QM_API void qm_freePhysicalMemory(void* ptr);

/**
 * Finds the physical address of a byte of this process's memory.
 *
 * @param virtualAddress The byte; its page must have been touched before.
 * @return The physical address, 0 on failure. A page that was never touched, or whose place the kernel hides
 * from processes without root rights, gives the byte's offset in its page (0 for the first
 * one).
 *
 * Errors: none are reported otherwise. Real-time safe: no (file system). Thread-safe: yes.
 */
QM_API uintptr_t qm_getPhysicalBufferAddr(void* virtualAddress);

/**
 * Makes a buffer of the kernel driver and maps it. qm_allocPhysicalMemory_v2() adds the rules that blocks
 * need.
 *
 * @param length Size in bytes, above 0; one page or less may be refused by the kernel.
 * @return The buffer, which the caller frees with qm_udmabuf_freeBuffer(), or null. The userPtr of a buffer
 * that the kernel refuses to map is MAP_FAILED.
 *
 * Errors: logged at qm_error: "Maximum of %d buffers are supported by the u-dma-buf-mgr.\n", "Failed to open
 * u-dma-buf-mgr: %s\n", "Failed to set u-dma-buf permissions: %s\n", "Failed to open %s: %s\n", "Failed to
 * mmap %s: %s\n", "Failed to read %s: %s\n". Without a message: a buffer of another size than asked for, and
 * no memory for the handle. A buffer that was made but cannot be used stays in the kernel until
 * qm_udmabuf_deleteAllBuffers(). Real-time safe: no (files and mappings). Thread-safe: no (model start-up and
 * termination).
 */
QM_API qm_udmabuf_Handle* qm_udmabuf_allocBuffer(size_t length);

/**
 * Unmaps a buffer, deletes it in the kernel and frees its record.
 *
 * @param handle The buffer, not null.
 * @return 0; -1 when the buffer cannot be unmapped or the manager cannot be opened. The handle is then still
 * the caller's; in the second case its memory is unmapped already. A refusal by the manager is not seen.
 *
 * Errors: errno. Real-time safe: no (files and mappings). Thread-safe: no (model start-up and termination).
 */
QM_API int qm_udmabuf_freeBuffer(qm_udmabuf_Handle* handle);

/**
 * Deletes every buffer "/dev/qm-udma-buf*" in the kernel, whichever process made it and whether or not it is
 * in use. What is still mapped must not be touched any more.
 *
 * @return 0, also when there is none; -1 when the manager cannot be opened. A refusal by the manager is not
 * seen.
 *
 * Errors: logged at qm_warning: "Failed to open u-dma-buf-mgr: %s\n".
 * Real-time safe: no (file system). Thread-safe: no (model start-up and termination).
 */
QM_API int qm_udmabuf_deleteAllBuffers(void);

QM_END_C

#endif
