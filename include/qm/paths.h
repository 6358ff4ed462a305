/**
 * @file
 * Where the running model, the target's configuration and the library's version are, and small helpers for
 * paths.
 */
#ifndef QM_PATHS_H
#define QM_PATHS_H

#include <qm/api.h>

QM_BEGIN_C

/**
 * Tells whether a path can NOT be accessed. The sense is the opposite of the name; callers rely on it.
 *
 * @param pPath The path.
 * @return true when nothing accessible is there, false when the path exists. Judged with the real user's
 * rights.
 *
 * Errors: none. Real-time safe: no (file system). Thread-safe: yes.
 */
QM_API bool qm_doesFsNodeExist(const char* pPath);

/**
 * Joins path components with "/". Separators inside the components stay as they are.
 *
 * @param nParts Number of components; 0 or less leaves the output empty.
 * @param path   Output, cleared first; large enough for the result (not checked). No component may overlap
 * it.
 * @param ...    nParts texts.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes.
 */
QM_API void qm_fullFile(int32_t nParts, char* path, ...);

/**
 * Does nothing on this operating system.
 *
 * @param driveLetter Ignored.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes.
 */
QM_API void qm_setDriveLetter(char driveLetter);

/**
 * Finds the running model's base directory: what stands before the first "/bin/" of its executable's path.
 *
 * @param outPath Output; cleared to zeros by the caller, since the text is not terminated here.
 * @param maxLen  Size of the output in bytes; a path of maxLen characters or more is cut before it is
 * searched.
 * @return 0, or -1 when the path cannot be read or has no "/bin/".
 *
 * Errors: "Could not read the process exefile" in pQmErrorStr when the path cannot be read; a path without
 * "/bin/" leaves pQmErrorStr untouched. Real-time safe: no (file system). Thread-safe: yes.
 */
QM_API int32_t qm_getModelBaseDir(char* outPath, uint32_t maxLen);

/**
 * Gives the target's configuration base directory, "/usr/quillmark".
 *
 * @param outPath Output.
 * @param maxLen  Size of the output in bytes, at least 15.
 * @return 0, or -1 when the output is too small.
 *
 * Errors: none are reported otherwise. Real-time safe: yes. Thread-safe: yes.
 */
QM_API int32_t qm_getConfigBaseDir(char* outPath, uint32_t maxLen);

/**
 * Reads the installed library's version: the first line of "/usr/quillmark/sysinfo/quillmark_version.txt",
 * with its line break when that fits.
 *
 * @param outLibVer Output of exactly 100 bytes, all of which are written on success.
 * @return 0, or -1.
 *
 * Errors: "ERROR: Could not open Quillmark library information file" or "ERROR: Empty Quillmark library
 * information file" as a line on standard output; an empty file stays open. Real-time safe: no (file system).
 * Thread-safe: yes.
 */
QM_API int32_t qm_getLibVersion(char* outLibVer);

/**
 * Tests whether a path is a directory that can be opened.
 *
 * @param path The path.
 * @return 0 if so, -1 if it does not exist, -2 for any other reason (errno tells which).
 *
 * Errors: errno. Real-time safe: no (file system). Thread-safe: yes.
 */
QM_API int32_t qm_fs_checkDir(const char* path);

/**
 * Makes a directory unless it is there already: one level, mode 0755 less the process's mask.
 *
 * @param path The path; its parent exists.
 * @return 0, or -1 when it cannot be made (errno tells why).
 *
 * Errors: errno. Real-time safe: no (file system). Thread-safe: yes.
 */
QM_API int32_t qm_fs_ensureDirExists(const char* path);

QM_END_C

#endif
