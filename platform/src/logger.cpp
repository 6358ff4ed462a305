#include "log_line.hpp"
#include "log_session.hpp"
#include "log_sinks.hpp"
#include <slrealtime/Logger.hpp>

#include <boost/log/attributes/clock.hpp>
#include <boost/log/core/core.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/unlocked_frontend.hpp>
#include <boost/make_shared.hpp>

namespace slrealtime {

using boost::log::sources::severity_channel_logger_mt;

void logLine(standalone::LogLevel level, const std::string& text)
{
    BOOST_LOG_CHANNEL_SEV(Logger::getLogger(), 0, severityOf(level)) << text;
}

severity_channel_logger_mt<Level, int>& Logger::getLogger()
{
    // Never destroyed: exit handlers log.
    static auto& logger = *new severity_channel_logger_mt<Level, int>(
        boost::log::keywords::severity = Level::info, boost::log::keywords::channel = 0);
    return logger;
}

namespace {

namespace sinks = boost::log::sinks;

struct Nowhere : sinks::basic_sink_backend<sinks::concurrent_feeding>
{
    static void consume(const boost::log::record_view& /*record*/) {}
};

// The core and its streams build parts of themselves with the first record. Built later, these would be gone
// before exit handlers that were registered earlier.
void logOneRecordToNowhere()
{
    const auto sink = boost::make_shared<sinks::unlocked_sink<Nowhere>>();
    boost::log::core::get()->add_sink(sink);
    BOOST_LOG_CHANNEL_SEV(Logger::getLogger(), 0, Level::trace) << "loaded";
    boost::log::core::get()->remove_sink(sink);
}

// At load, because a logging core first used later would be gone before exit handlers that were registered
// earlier.
struct AtLoad
{
    boost::log::core_ptr& core = *new boost::log::core_ptr(boost::log::core::get());

    AtLoad()
    {
        logOneRecordToNowhere();
        core->add_global_attribute("TimeStamp", boost::log::attributes::local_clock());
        attachConsole();
    }
};

const AtLoad atLoad;

}  // namespace
}  // namespace slrealtime
