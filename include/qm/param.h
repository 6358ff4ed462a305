/**
 * @file
 * A block's dialog parameters, as scalars and as vectors.
 *
 * The platform's "simstruct.h" defines the record that a block receives. None of these functions checks the
 * parameter: its index, its kind, and for the scalars that it has a value. Numbers are converted to integers
 * by dropping the fraction; one that does not fit into 32 bits, and one that is none, gives INT32_MIN.
 */
#ifndef QM_PARAM_H
#define QM_PARAM_H

#include <qm/api.h>

QM_BEGIN_C

/** A block's record, defined in the platform's "simstruct.h". */
typedef struct SimStruct SimStruct;

/** Integers, column by column. */
typedef struct QmParam_IntVec
{
    int32_t* val; /**< the values */
    int32_t len;  /**< number of values */
} QmParam_IntVec;

/** Truth values, column by column. */
typedef struct QmParam_BoolVec
{
    bool* val;   /**< the values */
    int32_t len; /**< number of values */
} QmParam_BoolVec;

/** Numbers, column by column. */
typedef struct QmParam_DoubleVec
{
    double* val; /**< the values */
    int32_t len; /**< number of values */
} QmParam_DoubleVec;

/** Characters, column by column; not terminated. */
typedef struct QmParam_CharVec
{
    char* val;   /**< the values */
    int32_t len; /**< number of values */
} QmParam_CharVec;

QM_RECORD_SIZE(QmParam_IntVec, 16);
QM_FIELD_OFFSET(QmParam_IntVec, len, 8);
QM_RECORD_SIZE(QmParam_BoolVec, 16);
QM_FIELD_OFFSET(QmParam_BoolVec, len, 8);
QM_RECORD_SIZE(QmParam_DoubleVec, 16);
QM_FIELD_OFFSET(QmParam_DoubleVec, len, 8);
QM_RECORD_SIZE(QmParam_CharVec, 16);
QM_FIELD_OFFSET(QmParam_CharVec, len, 8);

/**
 * Reads the first value as an integer.
 *
 * @param S  The block's record.
 * @param id Index of the parameter, from 0.
 * @return The integer.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes.
 */
QM_API int32_t qmParam_getInt(const SimStruct* S, int32_t id);

/**
 * Reads whether the first value, as an integer, is not 0.
 *
 * @param S  The block's record.
 * @param id Index of the parameter, from 0.
 * @return true when so; 0.7 reads as false.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes.
 */
QM_API bool qmParam_getBool(const SimStruct* S, int32_t id);

/**
 * Reads the first value.
 *
 * @param S  The block's record.
 * @param id Index of the parameter, from 0.
 * @return The value as it stands.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes.
 */
QM_API double qmParam_getDouble(const SimStruct* S, int32_t id);

/**
 * Reads the first value as a character.
 *
 * @param S  The block's record.
 * @param id Index of the parameter, from 0.
 * @return The low 8 bits of the integer.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes.
 */
QM_API char qmParam_getChar(const SimStruct* S, int32_t id);

/**
 * Copies all values as integers.
 *
 * @param S  The block's record.
 * @param id Index of the parameter, from 0.
 * @return The vector, never null; the caller frees it with qmParam_deleteIntVec(). Its length is the low 32
 * bits of rows times columns.
 *
 * Errors: throws std::bad_alloc when out of memory, std::bad_array_new_length when the length is negative.
 * Real-time safe: no (allocates). Thread-safe: yes.
 */
QM_API QmParam_IntVec* qmParam_newIntVec(const SimStruct* S, int32_t id);

/**
 * Copies all values as truth values: whether each, as an integer, is not 0.
 *
 * @param S  The block's record.
 * @param id Index of the parameter, from 0.
 * @return The vector, never null; the caller frees it with qmParam_deleteBoolVec(). Its length is the low 32
 * bits of rows times columns.
 *
 * Errors: throws std::bad_alloc when out of memory, std::bad_array_new_length when the length is negative.
 * Real-time safe: no (allocates). Thread-safe: yes.
 */
QM_API QmParam_BoolVec* qmParam_newBoolVec(const SimStruct* S, int32_t id);

/**
 * Copies all values as numbers, bit for bit.
 *
 * @param S  The block's record.
 * @param id Index of the parameter, from 0.
 * @return The vector, never null; the caller frees it with qmParam_deleteDoubleVec(). Its length is the low
 * 32 bits of rows times columns.
 *
 * Errors: throws std::bad_alloc when out of memory, std::bad_array_new_length when the length is negative.
 * Real-time safe: no (allocates). Thread-safe: yes.
 */
QM_API QmParam_DoubleVec* qmParam_newDoubleVec(const SimStruct* S, int32_t id);

/**
 * Copies all values as characters, the low 8 bits of each integer.
 *
 * @param S  The block's record.
 * @param id Index of the parameter, from 0.
 * @return The vector, never null; the caller frees it with qmParam_deleteCharVec(). Its length is the low 32
 * bits of rows times columns.
 *
 * Errors: throws std::bad_alloc when out of memory, std::bad_array_new_length when the length is negative.
 * Real-time safe: no (allocates). Thread-safe: yes.
 */
QM_API QmParam_CharVec* qmParam_newCharVec(const SimStruct* S, int32_t id);

/**
 * Frees a vector and its values.
 *
 * @param vec The vector; null is ignored.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: no (frees). Thread-safe: yes, for different vectors.
 */
QM_API void qmParam_deleteIntVec(QmParam_IntVec* vec);

/**
 * Frees a vector and its values.
 *
 * @param vec The vector; null is ignored.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: no (frees). Thread-safe: yes, for different vectors.
 */
QM_API void qmParam_deleteBoolVec(QmParam_BoolVec* vec);

/**
 * Frees a vector and its values.
 *
 * @param vec The vector; null is ignored.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: no (frees). Thread-safe: yes, for different vectors.
 */
QM_API void qmParam_deleteDoubleVec(QmParam_DoubleVec* vec);

/**
 * Frees a vector and its values.
 *
 * @param vec The vector; null is ignored.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: no (frees). Thread-safe: yes, for different vectors.
 */
QM_API void qmParam_deleteCharVec(QmParam_CharVec* vec);

QM_END_C

#endif
