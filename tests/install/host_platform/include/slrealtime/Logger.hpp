#pragma once

#include <boost/log/sources/severity_channel_logger.hpp>
#include <boost/log/trivial.hpp>

namespace slrealtime {

struct Logger
{
    using Type = boost::log::sources::severity_channel_logger_mt<boost::log::trivial::severity_level, int>;
    static Type& getLogger();
};

}  // namespace slrealtime
