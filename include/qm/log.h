/**
 * @file
 * Log and console output.
 *
 * Everything that the library and the driver blocks report goes through qm_printf() to the platform's logger,
 * which decides where it is shown. qm_log() is a second, independent path to the library's own log file.
 */
#ifndef QM_LOG_H
#define QM_LOG_H

#include <qm/api.h>

QM_BEGIN_C

/** Log levels, equal by number to the platform logger's severity levels. */
typedef enum Severity QM_ENUM_INT32
{
    qm_trace = 0,
    qm_debug = 1,
    qm_info = 2,
    qm_warning = 3,
    qm_error = 4
} Severity;

/**
 * Logs a printf-style message through the platform's logger: one record a line, each prefixed "QM: ".
 *
 * Only complete lines are logged: text behind the last "\n", or a text without one, is dropped. A text is cut
 * to 511 characters, the last of them a "\n". errno is the same before and after.
 *
 * @param severity Level of every line. A value above qm_error logs one error record a line that says so,
 * without the text.
 * @param format   printf-style format, ending in "\n".
 * @param ...      What the format asks for.
 * @return Nothing.
 *
 * Errors: none are reported; a format that cannot be printed logs nothing, and a line is lost when a sink
 * throws a std::exception. An exception of another type passes to the caller. Real-time safe: no (the logger
 * may allocate); cheap when logging is disabled. Thread-safe: yes.
 */
QM_API void qm_printf(Severity severity, const char* format, ...) QM_PRINTF(2, 3);

/**
 * Appends one line with the local time to the log file "/var/log/slrt/qmlog.log".
 *
 * @param severity Level; the caller passes a valid one.
 * @param message  The text as it stands, not a format; without a line break at its end.
 * @return Nothing.
 *
 * Errors: none are reported; a file that cannot be opened makes the call do nothing.
 * Real-time safe: no (opens, writes and closes a file). Thread-safe: yes.
 */
QM_API void qm_log(Severity severity, const char* message);

QM_END_C

#endif
