#pragma once

#include "log_sinks.hpp"
#include <slrealtime/Logger.hpp>

#include <string>

namespace slrealtime {

/** Logs one line of the platform's own. */
inline void logLine(Level level, const std::string& text)
{
    BOOST_LOG_CHANNEL_SEV(Logger::getLogger(), 0, level) << text;
}

}  // namespace slrealtime
