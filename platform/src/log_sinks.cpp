#include "log_sinks.hpp"

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include <cerrno>

namespace slrealtime {

namespace {

constexpr std::uint64_t kLargestFile = 10ULL << 20U;
constexpr int kFilesKept = 5;  // the current one and FILE.1 to FILE.4

// What cannot be written is lost: there is nowhere left to say so.
void writeAll(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const auto done = ::write(descriptor, text.data(), text.size());
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) return;
        text.remove_prefix(static_cast<std::size_t>(done));
    }
}

std::string timeText(const boost::posix_time::ptime& time)
{
    const auto day = time.date().year_month_day();
    const auto clock = time.time_of_day();
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}.{:06}", static_cast<int>(day.year),
                       static_cast<int>(day.month), static_cast<int>(day.day), clock.hours(), clock.minutes(),
                       clock.seconds(), clock.total_microseconds() % 1'000'000);
}

}  // namespace

void ConsoleTarget::write(std::string_view line)
{
    writeAll(STDERR_FILENO, line);
}

FileTarget::FileTarget(std::filesystem::path file) : file_(std::move(file))
{
    std::error_code ignored;  // the open tells more
    if (file_.has_parent_path()) std::filesystem::create_directories(file_.parent_path(), ignored);
    if (!open()) throw std::system_error(errno, std::generic_category(), file_.string());
}

FileTarget::~FileTarget()
{
    if (descriptor_ >= 0) ::close(descriptor_);
}

bool FileTarget::open()
{
    descriptor_ = ::open(file_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    struct stat state = {};
    size_ =
        descriptor_ >= 0 && ::fstat(descriptor_, &state) == 0 ? static_cast<std::uint64_t>(state.st_size) : 0;
    return descriptor_ >= 0;
}

void FileTarget::rotate()
{
    const auto aside = [this](int number) { return fmt::format("{}.{}", file_.string(), number); };
    std::error_code ignored;  // a gap in the row is fine
    for (int number = kFilesKept - 2; number > 0; --number)
        std::filesystem::rename(aside(number), aside(number + 1), ignored);
    std::filesystem::rename(file_, aside(1), ignored);
    ::close(descriptor_);
    open();
}

void FileTarget::write(std::string_view line)
{
    if (size_ + line.size() > kLargestFile && size_ > 0) rotate();
    writeAll(descriptor_, line);
    size_ += line.size();
}

void LogBackend::consume(const boost::log::record_view& /*record*/, const std::string& line)
{
    reportDropped();
    target_->write(line + '\n');
}

void LogBackend::reportDropped()
{
    if (const auto count = dropped_.exchange(0); count > 0)
        target_->write(
            fmt::format("{} log records dropped: they came faster than they could be written\n", count));
}

void formatRecord(const boost::log::record_view& record, boost::log::formatting_ostream& line)
{
    // Held while read: the logger replaces its channel's value with every record.
    const auto& values = record.attribute_values();
    const auto time = values["TimeStamp"];
    const auto severity = values["Severity"];
    const auto channel = values["Channel"];
    const auto message = values["Message"];
    const auto when = time.extract<boost::posix_time::ptime>();
    const auto level = severity.extract<Level>();
    const auto number = channel.extract<int>();
    const auto text = message.extract<std::string>();
    line << (when ? timeText(when.get()) : std::string("-")) << " [" << (number ? number.get() : 0) << "] ["
         << boost::log::trivial::to_string(level ? level.get() : Level::info) << "] ";
    if (text) line << text.get();
}

}  // namespace slrealtime
