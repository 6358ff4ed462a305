/**
 * @file
 * First load or re-run: whether this start of the model follows a fresh download or the same model's last
 * run.
 *
 * A model's identity is the first line (up to 199 characters) of its UUID file, "misc/UUID" beside the
 * first directory "bin" in its executable's path. The identity of the model that ran last is kept in
 * "/tmp/quillmark/model_uuid", which is written when the process exits.
 */
#ifndef QM_MODEL_INIT_H
#define QM_MODEL_INIT_H

#include <qm/api.h>

QM_BEGIN_C

/**
 * Tells whether the model is freshly loaded, so that everything is to be initialised from scratch.
 *
 * @return true when so; false for a re-run, and while nothing is decided yet.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes, once model initialisation is over.
 */
QM_API bool qm_isModelInit(void);

/**
 * A second name for qm_isModelInit().
 *
 * @return As there.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes, once model initialisation is over.
 */
QM_API bool qm_isFirstModelLoad(void);

/**
 * Declares the model freshly loaded. Persistent memory stays, also when this comes before
 * qm_checkModelInit().
 *
 * @return Nothing.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: no (model start-up only).
 */
QM_API void qm_setModelInit(void);

/**
 * Turns a fresh load into a re-run; changes nothing while nothing is decided yet.
 *
 * @return Nothing.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: no (model start-up only).
 */
QM_API void qm_clearModelInit(void);

/**
 * Decides once, unless qm_setModelInit() came first, whether this is a fresh load or a re-run, and frees all
 * persistent memory on a fresh load. Every doubt counts as a fresh load. Each call arranges
 * qm_tagModelAtExit() for the process's exit.
 *
 * @return Nothing.
 *
 * Errors: none are reported but in the log; the reason why the executable's path is of no use is in
 * pQmErrorStr too ("Could not find executable path: REASON", "Could not find /bin/ folder in model path").
 * Real-time safe: no (file system). Thread-safe: no (model start-up only).
 */
QM_API void qm_checkModelInit(void);

/**
 * Calls qm_checkModelInit().
 *
 * @return Nothing.
 *
 * Errors: as there. Real-time safe: no (file system). Thread-safe: no (model start-up only).
 */
QM_API void qm_initModelRun(void);

/**
 * Records this model as the one that ran last. A process does so at most once: later calls do nothing, also
 * after a failure, unless the tag file could not be opened or the executable's path was of no use.
 *
 * @return true on failure; false when the tag is written, was right already, or nothing was to be done, and
 * when the UUID file has no first line: the tag is empty then.
 *
 * Errors: a log line at info level, with errno's text or pQmErrorStr (see qm_checkModelInit()).
 * Real-time safe: no (file system). Thread-safe: no (model termination only).
 */
QM_API bool qm_tagModelRun(void);

/**
 * The exit handler that calls qm_tagModelRun().
 *
 * @return Nothing.
 *
 * Errors: as there. Real-time safe: no (file system). Thread-safe: no (model termination only).
 */
QM_API void qm_tagModelAtExit(void);

QM_END_C

#endif
