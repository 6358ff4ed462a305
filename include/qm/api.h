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
#define QM_BEGIN_C extern "C" {
#define QM_END_C }
/** Fixes an enumeration's width where the language can, so that any 32-bit value may be passed in. */
#define QM_ENUM_INT32 : int32_t
#else
#define QM_BEGIN_C
#define QM_END_C
#define QM_ENUM_INT32
#endif

/** Marks what the library exports. */
#define QM_API __attribute__((visibility("default")))

/** Lets the compiler check a printf-style call; positions count from 1. */
#define QM_PRINTF(at, first) __attribute__((format(printf, at, first)))

#endif
