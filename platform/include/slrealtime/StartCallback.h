/**
 * @file
 * Functions that run when the model starts. Valid C11 and C++.
 */
#ifndef SLREALTIME_STARTCALLBACK_H
#define SLREALTIME_STARTCALLBACK_H

#include <slrealtime/Export.hpp>

#ifdef __cplusplus
extern "C" {
#endif

/** A start callback; receives the argument it was registered with. */
typedef void (*startFun_t)(void*); /* NOLINT(modernize-use-using): also C */

/**
 * Registers a function for the next model start: after the model's and its tasks' initialisation, before the
 * workers' start(). It runs once, on the thread that runs the model.
 *
 * @param callback the function; null is ignored
 * @param argument handed to it; must stay valid until then
 * @param order    lowest first; equal ones in order of registration
 *
 * Thread-safe. Not for the real-time path. std::bad_alloc leaves it when memory runs out.
 */
SLREALTIME_API void registerCB_C(startFun_t callback, void* argument, int order);

#ifdef __cplusplus
}
#endif

#endif
