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
    Backend(std::vector<std::string>& lines, std::function<void()> afterEachLine)
        : lines_(lines), afterEachLine_(std::move(afterEachLine))
    {}

    void consume(const logging::record_view& view)
    {
        const auto severity = logging::extract<logging::trivial::severity_level>("Severity", view);
        const int channel = logging::extract_or_default<int>("Channel", view, -1);
        lines_.push_back((severity ? to_string(*severity) : std::string("no severity")) +
                         (channel == 0 ? " " : " [" + std::to_string(channel) + "] ") +
                         *view[logging::expressions::smessage]);
        afterEachLine_();
        errno = ELIBBAD;
    }

private:
    std::vector<std::string>& lines_;
    std::function<void()> afterEachLine_;
};

}  // namespace

LogCapture::LogCapture(std::function<void()> afterEachLine)
{
    using Sink = logging::sinks::synchronous_sink<Backend>;
    const auto sink = boost::make_shared<Sink>(boost::make_shared<Backend>(lines_, std::move(afterEachLine)));
    logging::core::get()->add_sink(sink);
    sink_ = std::shared_ptr<void>(nullptr, [sink](void*) { logging::core::get()->remove_sink(sink); });
}

std::vector<std::string> LogCapture::notes() const
{
    std::vector<std::string> notes = lines_;
    std::erase_if(notes,
                  [](const auto& line) { return line.starts_with("trace ") || line.starts_with("debug "); });
    return notes;
}

}  // namespace qm::test
