#include "qm_common/errno_keeper.hpp"
#include <qm/log.h>
#include <slrealtime/Logger.hpp>

#include <boost/log/attributes/attribute_value_impl.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions/message.hpp>
#include <boost/log/trivial.hpp>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>
#include <utility>

namespace {

namespace keywords = boost::log::keywords;
namespace trivial = boost::log::trivial;

constexpr std::size_t kBufferSize = 512;
constexpr std::string_view kPrefix = "QM: ";
constexpr std::string_view kBadSeverity = "Error occoured during logging, should never land here!";
constexpr int kChannel = 0;

static_assert(static_cast<int>(trivial::trace) == qm_trace && static_cast<int>(trivial::error) == qm_error);

void pushRecord(trivial::severity_level level, std::string_view prefix, std::string_view text)
{
    auto& logger = slrealtime::Logger::getLogger();
    // Sets both attributes and opens the record under one hold of the logger's lock; nothing at all while
    // logging is off.
    auto record = logger.open_record((keywords::severity = level, keywords::channel = kChannel));
    if (!record) return;
    // The message as a record stream would store it, without the cost of a stream.
    std::string message;
    message.reserve(prefix.size() + text.size());
    message.append(prefix).append(text);
    record.attribute_values().insert(boost::log::expressions::tag::smessage::get_name(),
                                     boost::log::attributes::make_attribute_value(std::move(message)));
    logger.push_record(boost::move(record));
}

/// Hands one line to the platform logger, without its last character, the line break.
void logMsg(Severity severity, std::string_view line)
{
    line.remove_suffix(1);
    try {
        const auto level = static_cast<uint32_t>(severity);
        if (level <= qm_error)
            pushRecord(static_cast<trivial::severity_level>(level), kPrefix, line);
        else
            pushRecord(trivial::error, {}, kBadSeverity);
    } catch (const std::exception&) {
        return;  // the line is lost; not (...), which would stop a cancelled thread's unwinding
    }
}

}  // namespace

void qm_printf(Severity severity, const char* format, ...)
{
    const qm::ErrnoKeeper kept;
    std::array<char, kBufferSize> buffer;
    va_list arguments;
    va_start(arguments, format);
    const int formatted = std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
    va_end(arguments);
    if (formatted < 0) return;

    const std::size_t length = std::strlen(buffer.data());
    if (length == buffer.size() - 1) buffer[length - 1] = '\n';

    // Deliberate: text behind the last line break is dropped.
    std::string_view rest(buffer.data(), length);
    for (auto end = rest.find('\n'); end != std::string_view::npos; end = rest.find('\n')) {
        logMsg(severity, rest.substr(0, end + 1));
        rest.remove_prefix(end + 1);
    }
}
