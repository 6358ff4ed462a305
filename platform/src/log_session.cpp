#include "log_session.hpp"

#include "log_sinks.hpp"

#include <boost/log/core/core.hpp>
#include <boost/log/sinks/async_frontend.hpp>
#include <boost/log/sinks/bounded_fifo_queue.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/utility/exception_handler.hpp>
#include <boost/make_shared.hpp>
#include <fmt/format.h>
#include <system_error>

#include <cstdlib>
#include <mutex>
#include <utility>

namespace slrealtime {

namespace {

namespace sinks = boost::log::sinks;

constexpr std::size_t kQueueLength = 8192;

enum class Place
{
    console,
    file
};

// The queue calls its overflow strategy without a this pointer, so each place has one static counter to add
// to.
template <Place place>
struct CountedDrop
{
    static std::atomic<std::atomic<std::uint64_t>*>& counter()
    {
        static std::atomic<std::atomic<std::uint64_t>*> current{nullptr};
        return current;
    }

    template <typename Lock>
    static bool on_overflow(const boost::log::record_view& /*record*/, Lock& /*lock*/)
    {
        counter().load()->fetch_add(1, std::memory_order_relaxed);
        return false;
    }
    static void on_queue_space_available() {}
    static void interrupt() {}
};

/** One target in its two forms: written by whoever logs, or behind a queue with a writer thread. */
template <Place place>
class Outlet
{
    using Direct = sinks::synchronous_sink<LogBackend>;
    using Queued =
        sinks::asynchronous_sink<LogBackend, sinks::bounded_fifo_queue<kQueueLength, CountedDrop<place>>>;

public:
    /** Puts another target in place; null: none. Not while queued. */
    void replace(std::unique_ptr<LogTarget> target, Level least)
    {
        detachDirect();
        backend_ = target ? boost::make_shared<LogBackend>(std::move(target)) : nullptr;
        least_ = least;
        attachDirect();
    }

    void enterQueue()
    {
        if (!backend_) return;
        CountedDrop<place>::counter() = &backend_->dropped();
        queued_ = boost::make_shared<Queued>(backend_);
        dress(*queued_, least_);
        queued_->set_exception_handler(boost::log::make_exception_suppressor());
        detachDirect();
        boost::log::core::get()->add_sink(queued_);
    }

    /** Writes the rest out and gives the ended queue back. */
    boost::shared_ptr<void> leaveQueue()
    {
        if (!queued_) return nullptr;
        boost::log::core::get()->remove_sink(queued_);
        queued_->stop();
        queued_->flush();
        attachDirect();
        return std::exchange(queued_, nullptr);
    }

    void flush()
    {
        if (queued_) queued_->flush();
    }

private:
    void attachDirect()
    {
        if (!backend_) return;
        direct_ = boost::make_shared<Direct>(backend_);
        dress(*direct_, least_);
        boost::log::core::get()->add_sink(direct_);
    }

    void detachDirect()
    {
        if (direct_) boost::log::core::get()->remove_sink(direct_);
        direct_.reset();
    }

    boost::shared_ptr<LogBackend> backend_;
    boost::shared_ptr<Direct> direct_;
    boost::shared_ptr<Queued> queued_;
    Level least_ = Level::info;
};

struct Outlets
{
    std::mutex mutex;  // a session's end and exit() in a task may meet
    Outlet<Place::console> console;
    Outlet<Place::file> file;
};

Outlets& outlets()
{
    static auto& instance = *new Outlets;  // exit handlers log
    return instance;
}

void leaveQueues()
{
    auto& all = outlets();
    const std::lock_guard lock(all.mutex);
    // A record refers to both queues while either writer holds it: neither goes before both writers have
    // ended.
    const auto console = all.console.leaveQueue();
    const auto file = all.file.leaveQueue();
}

std::unique_ptr<LogTarget> openFile(const std::filesystem::path& file)
{
    try {
        return file.empty() ? nullptr : std::make_unique<FileTarget>(file);
    } catch (const std::exception& error) {
        ConsoleTarget().write(
            fmt::format("cannot write the log file {}; the log goes to standard error only (--log-file FILE "
                        "names another)\n",
                        error.what()));
        return nullptr;
    }
}

}  // namespace

void attachConsole()
{
    outlets().console.replace(std::make_unique<ConsoleTarget>(), Level::info);
}

LogSession::LogSession(standalone::LogLevel least, const std::filesystem::path& file)
{
    // exit() inside a run unwinds no stack; the handler goes first of all that are registered before the run.
    static const int registered = std::atexit(leaveQueues);
    static_cast<void>(registered);
    auto& all = outlets();
    const std::lock_guard lock(all.mutex);
    all.console.replace(std::make_unique<ConsoleTarget>(), severityOf(least));
    all.file.replace(openFile(file), severityOf(least));
    all.console.enterQueue();
    all.file.enterQueue();
}

LogSession::~LogSession()
{
    try {
        leaveQueues();
    } catch (...) {  // Boost's interruptions are no std::exception
        ConsoleTarget().write("the end of the log is lost: its queues could not be written out\n");
    }
}

void flushLog()
{
    auto& all = outlets();
    all.console.flush();
    all.file.flush();
}

}  // namespace slrealtime
