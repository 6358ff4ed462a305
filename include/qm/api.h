/**
 * @file
 * How the interface is declared: linkage, visibility, compiler hints.
 */
#ifndef QM_API_H
#define QM_API_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
/** Begins declarations that C and C++ share. */
#define QM_BEGIN_C extern "C" {
/** Ends them. */
#define QM_END_C }
/** Fixes an enumeration's width where the language can, so that any 32-bit value may be passed in. */
#define QM_ENUM_INT32 : int32_t
#else
#define QM_BEGIN_C
#define QM_END_C
#define QM_ENUM_INT32
#endif

#ifdef __cplusplus
/** Lays down the size in bytes of a record that is shared with generated code. */
#define QM_RECORD_SIZE(record, size) static_assert(sizeof(record) == (size), #record " has changed")
/** Lays down where a field of such a record is, in bytes from its begin. */
#define QM_FIELD_OFFSET(record, field, offset) \
    static_assert(offsetof(record, field) == (offset), #record "." #field " has moved")
#else
#define QM_RECORD_SIZE(record, size) _Static_assert(sizeof(record) == (size), #record " has changed")
#define QM_FIELD_OFFSET(record, field, offset) \
    _Static_assert(offsetof(record, field) == (offset), #record "." #field " has moved")
#endif

/** Marks what the library exports. */
#define QM_API __attribute__((visibility("default")))

/** Lets the compiler check a printf-style call; positions count from 1. */
#define QM_PRINTF(at, first) __attribute__((format(printf, at, first)))

#endif
