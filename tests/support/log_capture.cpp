#include "log_capture.hpp"

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions/message.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/trivial.hpp>
#include <boost/make_shared.hpp>

#include <cerrno>

namespace qm::test {

namespace {

namespace logging = boost::log;

class Backend : public logging::sinks::basic_sink_backend<logging::sinks::synchronized_feeding>
{
public:
    explicit Backend(std::vector<std::string>& lines) : lines_(lines) {}

    void consume(const logging::record_view& view)
    {
        const auto severity = logging::extract<logging::trivial::severity_level>("Severity", view);
        const int channel = logging::extract_or_default<int>("Channel", view, -1);
        lines_.push_back((severity ? to_string(*severity) : std::string("no severity")) +
                         (channel == 0 ? " " : " [" + std::to_string(channel) + "] ") +
                         *view[logging::expressions::smessage]);
        errno = ELIBBAD;
    }

private:
    std::vector<std::string>& lines_;
};

}  // namespace

LogCapture::LogCapture()
    : sink_(
          boost::make_shared<logging::sinks::synchronous_sink<Backend>>(boost::make_shared<Backend>(lines_)))
{
    logging::core::get()->add_sink(sink_);
}

LogCapture::~LogCapture()
{
    logging::core::get()->remove_sink(sink_);
}

std::vector<std::string> LogCapture::notes() const
{
    std::vector<std::string> notes = lines_;
    std::erase_if(notes,
                  [](const auto& line) { return line.starts_with("trace ") || line.starts_with("debug "); });
    return notes;
}

}  // namespace qm::test
