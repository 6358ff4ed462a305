/**
 * @file
 * Error message objects and the reason of the last failed call.
 */
#ifndef QM_ERROR_H
#define QM_ERROR_H

#include <qm/api.h>

QM_BEGIN_C

/** Size of pQmErrorStr in bytes. */
#define QM_ERROR_STR_SIZE 500

/**
 * Reason of the last failed call of this library; empty at load, at most 499 characters.
 *
 * Shared by all threads without a lock: the last writer wins.
 */
QM_API extern char pQmErrorStr[QM_ERROR_STR_SIZE];

/** A driver block's error text: a fixed preamble followed by a changing message. Owned by one block. */
typedef struct QmError
{
    char errorMsg[200];  /**< the message, terminated */
    char outputMsg[200]; /**< preamble and message, composed by qmError_getMsg() */
    int32_t writeIndex;  /**< length of the preamble in outputMsg */
} QmError;

QM_RECORD_SIZE(QmError, 404);
QM_FIELD_OFFSET(QmError, outputMsg, 200);
QM_FIELD_OFFSET(QmError, writeIndex, 400);

/**
 * Makes an empty error message object.
 *
 * @return The object, never null; the caller frees it with qmError_delete().
 *
 * Errors: throws std::bad_alloc when out of memory.
 * Real-time safe: no (allocates). Thread-safe: yes.
 */
QM_API QmError* qmError_new(void);

/**
 * Frees an error message object.
 *
 * @param error The object; null is ignored.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: no (frees). Thread-safe: yes, for objects of different blocks.
 */
QM_API void qmError_delete(QmError* error);

/**
 * Sets the preamble "In MODULE, BLOCK block, ID N: ".
 *
 * @param error      The object, not null.
 * @param moduleName Name of the I/O module.
 * @param blockName  Name of the block.
 * @param moduleId   Identifier of the module.
 * @return Nothing.
 *
 * Errors: a preamble of 200 characters or more ends the process.
 * Real-time safe: yes. Thread-safe: yes, for objects of different blocks.
 */
QM_API void qmError_setPreamble(QmError* error, const char* moduleName, const char* blockName,
                                int32_t moduleId);

/**
 * Sets the message.
 *
 * @param error  The object, not null.
 * @param format printf-style format of the message.
 * @param ...    What the format asks for.
 * @return Nothing.
 *
 * Errors: a message of 200 characters or more ends the process.
 * Real-time safe: yes. Thread-safe: yes, for objects of different blocks.
 */
QM_API void qmError_setMsg(QmError* error, const char* format, ...) QM_PRINTF(2, 3);

/**
 * Sets the message to what follows the first colon of a text and the blanks behind it; to the whole text if
 * it has no colon.
 *
 * @param error The object, not null.
 * @param msg   The text, for instance pQmErrorStr; it may be the object's own message.
 * @return Nothing.
 *
 * Errors: a message of 200 characters or more ends the process.
 * Real-time safe: yes. Thread-safe: yes, for objects of different blocks.
 */
QM_API void qmError_extractMsg(QmError* error, const char* msg);

/**
 * Composes preamble and message. A later call with another message replaces the earlier one behind the
 * preamble.
 *
 * @param error The object, not null.
 * @return The text; it belongs to the object and changes with its next call.
 *
 * Errors: a composed text of 200 characters or more ends the process.
 * Real-time safe: yes. Thread-safe: yes, for objects of different blocks.
 */
QM_API char* qmError_getMsg(QmError* error);

QM_END_C

#endif
