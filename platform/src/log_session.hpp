#pragma once

#include <slrealtime/Standalone.hpp>

#include <filesystem>

namespace slrealtime {

/** Attaches the console to the logging core, written by whoever logs. Called once, at load. */
void attachConsole();

/**
 * The span of a run in which records go through bounded queues, and a crash of the process flushes them.
 *
 * At the end, or at exit() inside a run, the queues are written out and the same console and file stay
 * attached without a queue. Forked children have no writer threads: a child that does not exec logs only to
 * its own sinks.
 */
class LogSession
{
public:
    /** @param file empty: no log file. One that cannot be written is said once, and the run goes on without.
     */
    LogSession(standalone::LogLevel least, const std::filesystem::path& file);
    ~LogSession();
    LogSession(const LogSession&) = delete;
    LogSession& operator=(const LogSession&) = delete;
};

/** Waits until everything logged so far is written. Nothing outside a session. */
void flushLog();

}  // namespace slrealtime
