#pragma once

#include <slrealtime/Standalone.hpp>

#include <boost/log/attributes/attribute_value_set.hpp>
#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core/record_view.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/frontend_requirements.hpp>
#include <boost/log/trivial.hpp>
#include <boost/log/utility/formatting_ostream.hpp>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace slrealtime {

using Level = boost::log::trivial::severity_level;

constexpr Level severityOf(standalone::LogLevel level)
{
    return static_cast<Level>(level);
}
static_assert(severityOf(standalone::LogLevel::trace) == Level::trace);
static_assert(severityOf(standalone::LogLevel::debug) == Level::debug);
static_assert(severityOf(standalone::LogLevel::info) == Level::info);
static_assert(severityOf(standalone::LogLevel::warning) == Level::warning);
static_assert(severityOf(standalone::LogLevel::error) == Level::error);

/** Where log lines end up. */
class LogTarget
{
public:
    LogTarget() = default;
    LogTarget(const LogTarget&) = delete;
    LogTarget& operator=(const LogTarget&) = delete;
    virtual ~LogTarget() = default;
    virtual void write(std::string_view line) = 0;
};

/** Standard error. */
class ConsoleTarget : public LogTarget
{
public:
    void write(std::string_view line) override;
};

/** A file that is set aside as FILE.1 to FILE.4 when it grows beyond 10 MiB; the oldest one goes. */
class FileTarget : public LogTarget
{
public:
    /** @throws std::system_error when the file cannot be opened for appending; missing folders are made. */
    explicit FileTarget(std::filesystem::path file);
    ~FileTarget() override;
    FileTarget(const FileTarget&) = delete;
    FileTarget& operator=(const FileTarget&) = delete;
    void write(std::string_view line) override;

private:
    bool open();
    void rotate();

    std::filesystem::path file_;
    int descriptor_ = -1;
    std::uint64_t size_ = 0;
};

/** The Boost.Log end of a target: formatted lines, and before them how many records a full queue has dropped.
 */
class LogBackend : public boost::log::sinks::basic_formatted_sink_backend<
                       char, boost::log::sinks::combine_requirements<boost::log::sinks::synchronized_feeding,
                                                                     boost::log::sinks::flushing>::type>
{
public:
    explicit LogBackend(std::unique_ptr<LogTarget> target) : target_(std::move(target)) {}

    void consume(const boost::log::record_view& record, const std::string& line);
    void flush() { reportDropped(); }

    /** The counter that the queue in front of this backend adds to. */
    std::atomic<std::uint64_t>& dropped() { return dropped_; }

private:
    void reportDropped();

    std::unique_ptr<LogTarget> target_;
    std::atomic<std::uint64_t> dropped_{0};
};

/** "2024-05-06 13:14:15.123456 [0] [warning] text"; a multi-line text is left as it is. */
void formatRecord(const boost::log::record_view& record, boost::log::formatting_ostream& line);

/** Gives a sink front end our format and its least level; a record without a severity passes. */
template <typename Sink>
void dress(Sink& sink, Level least)
{
    sink.set_formatter(&formatRecord);
    sink.set_filter([least](const boost::log::attribute_value_set& values) -> bool {
        const auto severity = values["Severity"];
        const auto level = severity.extract<Level>();
        return !level || level.get() >= least;
    });
}

}  // namespace slrealtime
