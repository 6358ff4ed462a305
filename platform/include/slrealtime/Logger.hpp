/**
 * @file
 * The process-wide logger.
 */
#ifndef SLREALTIME_LOGGER_HPP
#define SLREALTIME_LOGGER_HPP

#include <slrealtime/Export.hpp>

#include <boost/log/sources/severity_channel_logger.hpp>
#include <boost/log/trivial.hpp>

namespace slrealtime {

/**
 * The process-wide logger.
 *
 * From the moment the platform is loaded, records of at least "info" appear on standard error, written by the
 * thread that logs; nothing else is set up, so no thread exists before a model runs. While a model runs,
 * records go through bounded queues to standard error and to the log file, written by threads of their own: a
 * thread that logs never waits for a terminal or a disk. A full queue drops records, and the sink says how
 * many.
 *
 * No core-wide filter is ever set. Levels belong to the platform's own sinks; attach a sink of your own to
 * the Boost.Log core to see everything down to "trace". The attributes are "Severity"
 * (`boost::log::trivial::severity_level`), "Channel" (`int`) and "TimeStamp" (local time).
 */
class SLREALTIME_API Logger
{
public:
    /**
     * @return the logger; lives until the process ends, exit handlers included
     *
     * Thread-safe. Logging allocates memory: keep it out of the steps that must be on time.
     */
    static boost::log::sources::severity_channel_logger_mt<boost::log::trivial::severity_level, int>&
    getLogger();
};

}  // namespace slrealtime

#endif
