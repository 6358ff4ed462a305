#pragma once

#include <slrealtime/Standalone.hpp>

#include <string>

namespace slrealtime {

/** Logs one line of the platform's own. */
void logLine(standalone::LogLevel level, const std::string& text);

}  // namespace slrealtime
