#include "log_capture.hpp"

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions/message.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/trivial.hpp>
#include <boost/make_shared.hpp>

#include <algorithm>
#include <cerrno>
#include <mutex>

namespace qm::test {

namespace {

const std::vector<std::string> kWords{"trace", "debug", "info", "warning", "error", "fatal"};

class Backend : public boost::log::sinks::basic_sink_backend<boost::log::sinks::synchronized_feeding>
{
public:
    void consume(const boost::log::record_view& view)
    {
        const auto severity = boost::log::extract<boost::log::trivial::severity_level>("Severity", view);
        const auto channel = boost::log::extract<int>("Channel", view);
        const auto text = view[boost::log::expressions::smessage];
        const std::lock_guard guard(mutex);
        records.push_back(
            {severity ? static_cast<int>(*severity) : -1, channel ? *channel : -1, text ? *text : ""});
        errno = ELIBBAD;
    }

    std::mutex mutex;
    std::vector<LogCapture::Record> records;
};

}  // namespace

class LogCapture::Sink
{
public:
    boost::shared_ptr<Backend> backend = boost::make_shared<Backend>();
    boost::shared_ptr<boost::log::sinks::sink> frontend =
        boost::make_shared<boost::log::sinks::synchronous_sink<Backend>>(backend);
};

LogCapture::LogCapture() : sink_(std::make_unique<Sink>())
{
    boost::log::core::get()->add_sink(sink_->frontend);
}

LogCapture::~LogCapture()
{
    boost::log::core::get()->remove_sink(sink_->frontend);
}

std::vector<LogCapture::Record> LogCapture::records() const
{
    const std::lock_guard guard(sink_->backend->mutex);
    return sink_->backend->records;
}

std::vector<std::string> LogCapture::lines() const
{
    return linesFrom(kWords.front());
}

std::vector<std::string> LogCapture::linesFrom(const std::string& lowestSeverity) const
{
    const auto lowest = std::find(kWords.begin(), kWords.end(), lowestSeverity) - kWords.begin();
    std::vector<std::string> lines;
    for (const Record& record : records())
        if (record.severity >= lowest)
            lines.push_back(kWords.at(static_cast<size_t>(record.severity)) + " " + record.text);
    return lines;
}

void LogCapture::clear()
{
    const std::lock_guard guard(sink_->backend->mutex);
    sink_->backend->records.clear();
}

}  // namespace qm::test
