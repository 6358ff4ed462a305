/**
 * @file
 * Interrupts of PCI boards in user space, through the kernel's UIO framework and the driver "uio_quillmark".
 *
 * Calling order: create, attach, optionally enable the fix, set the interrupt thread's properties; for each
 * interrupt wait, handle, enable; at the end detach. One thread waits per context.
 */
#ifndef QM_INTERRUPTS_H
#define QM_INTERRUPTS_H

#include <qm/api.h>
#include <qm/pci.h>

#include <semaphore.h>

QM_BEGIN_C

/** How a board enables its interrupt again through a register of its own. */
typedef struct _qm_int_fix
{
    bool requested_by_user;             /**< qm_uio_interruptEnableFix() ran */
    volatile uint32_t* target_register; /**< register in the board's mapped BAR; null: none */
    uint32_t int_mask;                  /**< bits to set in it, and mask for the kernel driver */
    uint32_t fix_type;                  /**< variant for the kernel driver */
} _qm_int_fix;

QM_RECORD_SIZE(_qm_int_fix, 24);
QM_FIELD_OFFSET(_qm_int_fix, target_register, 8);
QM_FIELD_OFFSET(_qm_int_fix, int_mask, 16);
QM_FIELD_OFFSET(_qm_int_fix, fix_type, 20);

/** One interrupt source. Fields marked "block" belong to the driver block; the library does not use them. */
typedef struct qm_InterruptContext
{
    qm_PCIDevice pciInfo;          /**< copy of the board's record */
    bool is_polling;               /**< block: polling mode */
    void* map[QM_PCI_BARS];        /**< block: one mapping per BAR */
    int uioIndex;                  /**< N of "/dev/uioN"; -1 before attach */
    int uiofd;                     /**< descriptor of that node; -1 when closed */
    int configfd;                  /**< descriptor of the board's configuration file; -1 when closed */
    uint8_t command_high;          /**< upper byte of the command register, interrupt enabled */
    uint16_t interruptChannel;     /**< block: interrupt channel */
    int moduleId;                  /**< block: module number */
    void* customData;              /**< block: its own data */
    _qm_int_fix qm_int_fix;        /**< interrupt fix */
    sem_t start_func_finished_sem; /**< block: the start function has finished; not initialised */
    sem_t wait_func_ready_sem;     /**< block: the wait function is ready; not initialised */
    bool is_first_wait_call;       /**< block: the next wait is the first */
    bool waiting_for_start;        /**< block: waiting for the start */
    int intCount;                  /**< interrupts counted by the kernel, as of the last wait */
    int noIntCount;                /**< block: missed interrupts */
    int irq_cpu_assigned;          /**< CPU given to the interrupt thread; -1: none */
    int priority;                  /**< of the interrupt's consumer, initially 60 */
    int defaultPriority;           /**< of the interrupt thread after detach, initially 50; 0 means 50 */
    bool isModelTrigger;           /**< drives the model's base rate */
    bool overloadCheckEnabled;     /**< block: overload checking */
} qm_InterruptContext;

QM_RECORD_SIZE(qm_InterruptContext, 392);
QM_FIELD_OFFSET(qm_InterruptContext, is_polling, 184);
QM_FIELD_OFFSET(qm_InterruptContext, map, 192);
QM_FIELD_OFFSET(qm_InterruptContext, uioIndex, 240);
QM_FIELD_OFFSET(qm_InterruptContext, uiofd, 244);
QM_FIELD_OFFSET(qm_InterruptContext, configfd, 248);
QM_FIELD_OFFSET(qm_InterruptContext, command_high, 252);
QM_FIELD_OFFSET(qm_InterruptContext, interruptChannel, 254);
QM_FIELD_OFFSET(qm_InterruptContext, moduleId, 256);
QM_FIELD_OFFSET(qm_InterruptContext, customData, 264);
QM_FIELD_OFFSET(qm_InterruptContext, qm_int_fix, 272);
QM_FIELD_OFFSET(qm_InterruptContext, start_func_finished_sem, 296);
QM_FIELD_OFFSET(qm_InterruptContext, wait_func_ready_sem, 328);
QM_FIELD_OFFSET(qm_InterruptContext, is_first_wait_call, 360);
QM_FIELD_OFFSET(qm_InterruptContext, waiting_for_start, 361);
QM_FIELD_OFFSET(qm_InterruptContext, intCount, 364);
QM_FIELD_OFFSET(qm_InterruptContext, noIntCount, 368);
QM_FIELD_OFFSET(qm_InterruptContext, irq_cpu_assigned, 372);
QM_FIELD_OFFSET(qm_InterruptContext, priority, 376);
QM_FIELD_OFFSET(qm_InterruptContext, defaultPriority, 380);
QM_FIELD_OFFSET(qm_InterruptContext, isModelTrigger, 384);
QM_FIELD_OFFSET(qm_InterruptContext, overloadCheckEnabled, 385);

/**
 * Makes the context of a board's interrupt.
 *
 * @param contextOut Receives the context, which qm_uio_interruptDetach() frees; untouched on failure.
 * @param pciInfo    The board; copied.
 * @return 0; -1 without contextOut, -EINVAL without pciInfo, -ENOMEM.
 *
 * Errors: in pQmErrorStr: "Invalid nullptr passed for contextOut", "Invalid nullptr passed for pciInfo",
 * "Failed to allocate the interrupt context: %s\n". Real-time safe: no (allocates). Thread-safe: yes, apart
 * from pQmErrorStr.
 */
QM_API int qm_uio_createInterruptContext(qm_InterruptContext** contextOut, qm_PCIDevice* pciInfo);

/**
 * Hands the board to the UIO driver, opens its node and disables its legacy interrupt (message-signalled
 * ones are not affected). Legacy interrupts arrive from the first qm_uio_enableInterrupt() on; with a fix
 * that is the kernel driver's matter.
 *
 * @param context A new context; after a failure, too, it is released with qm_uio_interruptDetach().
 * @return 0, -1 for null, else -errno (ENOENT: the driver did not take the board, ENODEV: its UIO directory
 * is empty, EIO: its configuration file is too short, or the kernel took its identifiers in part only).
 *
 * Errors: in pQmErrorStr: "Invalid nullptr passed for context", "INT MAP -> Failed to bind UIO device: %s\n"
 * (the reason is logged, see qm_uio_bindDeviceToUio()), "INT MAP -> Failed to open UIO device %s: %s\n",
 * "Failed to open PCI configuration file: %s\n", "Failed to read upper command byte: %s\n", "Failed to write
 * upper command byte: %s\n". Real-time safe: no (file system). Thread-safe: no (model start-up only).
 */
QM_API int qm_uio_interruptAttach(qm_InterruptContext* context);

/**
 * Waits for the next interrupt, without time-out. A cancellation point.
 *
 * @param context An attached context; intCount receives the kernel's running count.
 * @return 0 or -errno (EIO: the board was taken away, EINTR: a signal handler ran, EINVAL for null).
 *
 * Errors: in pQmErrorStr: "Invalid nullptr passed for context", "Interrupt Wait: Failed to read UIO device:
 * %s\n". Real-time safe: yes (one read). Thread-safe: one waiting thread per context.
 */
QM_API int qm_uio_interruptWait(qm_InterruptContext* context);

/**
 * Enables the interrupt again: through the command register, or, once qm_uio_interruptEnableFix() was called,
 * by setting int_mask in target_register.
 *
 * @param context An attached context.
 * @return 0 or -errno (EINVAL for null); with the fix always 0.
 *
 * Errors: in pQmErrorStr: "Invalid nullptr passed for context", "Interrupt Enable: Failed to write config
 * file: %s\n", where the text is that of the write's result (-1) and tells nothing. Real-time safe: yes (one
 * write, or one register read and write), but a failure allocates for its text. Thread-safe: the context's
 * waiting thread only.
 */
QM_API int qm_uio_enableInterrupt(qm_InterruptContext* context);

/**
 * Hands the fix settings fix_type and int_mask to the kernel driver, in this order. From then on, also after
 * a failure, qm_uio_enableInterrupt() goes through target_register.
 *
 * @param context An attached context; the caller has set target_register, int_mask and fix_type.
 * @return 0 or -errno (ENOSYS: the driver knows no fix, EINVAL for null).
 *
 * Errors: in pQmErrorStr: "Invalid nullptr passed for context", "Failed to enable Quillmark interrupt fix:
 * %s\n", "Failed to write Quillmark interrupt fix int mask: %s\n". Real-time safe: no (model start-up only).
 * Thread-safe: no (model start-up only).
 */
QM_API int qm_uio_interruptEnableFix(qm_InterruptContext* context);

/**
 * Gives the kernel's interrupt thread its priority and its CPU. The model's trigger gets CPU 1 and priority
 * 90, or keeps a higher one; any other interrupt gets the next CPU in turn (qm_pickNextAsyncCpu()) and one
 * more than the consumer's priority, at most 99; one whose thread has that much already is left alone. The
 * placement of an interrupt that is on CPU 1 already is never changed.
 *
 * @param context An attached context. irq_cpu_assigned becomes the CPU asked for; -1 when the thread is left
 * alone, or when there are less than 3 CPUs and the placement stays as it is.
 * @return 0 or -1; -EINVAL for null.
 *
 * Errors: in pQmErrorStr: "Invalid nullptr passed for context", "Failed to find IRQ thread PID for UIO %d"
 * (errno ENOENT: the kernel handles interrupts without threads; E2BIG: several threads end in the device's
 * name; EINVAL: the device has none, or the context is not attached), "Failed to get IRQ number for UIO %d",
 * "Requested invalid IRQ thread priority value %d. Priority must be between 1 and 99.", "Failed to set
 * priority of IRQ thread PID %d to %d", "Failed to set IRQ %d affinity to CPU %d: %s". Real-time safe: no
 * (file system). Thread-safe: no (model start-up only).
 */
QM_API int qm_uio_setIrqProps(qm_InterruptContext* context);

/**
 * Lowers the interrupt thread to the context's defaultPriority (at most 99; 0 stands for 50), then moves the
 * interrupt to CPU 0. A priority that cannot be set leaves the placement alone.
 *
 * @param context An attached context.
 * @return 0 or -1; -EINVAL for null.
 *
 * Errors: in pQmErrorStr: "Invalid nullptr passed for context", "Invalid IRQ thread priority value %d.
 * Priority must be between 1 and 99.", "Failed to find IRQ thread PID for UIO %d", "Failed to set priority of
 * IRQ thread PID %d to %d", "Failed to reset IRQ affinity for UIO %d". Real-time safe: no (file system).
 * Thread-safe: no (model end only).
 */
QM_API int qm_uio_resetIrqProps(qm_InterruptContext* context);

/**
 * Closes and frees a context, after qm_uio_resetIrqProps(). The board stays with the UIO driver, and its
 * interrupt as the last enable left it. The waiting thread must have ended before.
 *
 * @param context The context; null is ignored.
 * @return Nothing.
 *
 * Errors: none, but pQmErrorStr may tell what could not be reset. Real-time safe: no (file system).
 * Thread-safe: no (model end only).
 */
QM_API void qm_uio_interruptDetach(qm_InterruptContext* context);

/**
 * Hands a board to the UIO driver, taking it away from another one, and lets everybody open its node. The
 * driver takes every other free board with the same vendor and device identifier, too.
 *
 * @param pciDev The board.
 * @return N of its node "/dev/uioN", or -1.
 *
 * Errors: errno (ENOENT: the driver did not take the board, ENODEV: its UIO directory is empty, EINVAL for
 * null), and logged at qm_info: "bindDeviceToUio: device is null.\n", "bindDeviceToUio: open(new_id) failed:
 * %s\n" (is the driver "uio_quillmark" loaded?), "bindDeviceToUio: write(new_id) failed: %s (bytes=%d)\n",
 * "bindDeviceToUio: unbind existing driver failed.\n", "bindDeviceToUio: bind to uio_quillmark failed.\n".
 * Real-time safe: no (file system). Thread-safe: no (model start-up only).
 */
QM_API int qm_uio_bindDeviceToUio(qm_PCIDevice* pciDev);

QM_END_C

#endif
