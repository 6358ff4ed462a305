#include "run_control.hpp"

#include "log_line.hpp"

#include <array>
#include <cerrno>
#include <csignal>

namespace slrealtime {

namespace {

constexpr std::array kStopSignals = {SIGINT, SIGTERM};

std::atomic<RunControl*> current{nullptr};
std::array<struct sigaction, kStopSignals.size()> before;

void onStopSignal(int /*signal*/)
{
    const int cargo = errno;
    if (auto* control = current.load()) control->end();
    errno = cargo;
}

}  // namespace

RunControl::RunControl()
{
    ::sem_init(&ended_, 0, 0);
    current = this;
    struct sigaction action = {};
    action.sa_handler = onStopSignal;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < kStopSignals.size(); ++i)
        ::sigaction(kStopSignals[i], &action, &before[i]);
}

RunControl::~RunControl()
{
    for (std::size_t i = 0; i < kStopSignals.size(); ++i)
        ::sigaction(kStopSignals[i], &before[i], nullptr);
    current = nullptr;
    ::sem_destroy(&ended_);
}

void RunControl::end() noexcept
{
    ending_ = true;
    ::sem_post(&ended_);
}

void RunControl::fail(const std::string& reason)
{
    {
        const std::lock_guard lock(mutex_);
        if (failure_.empty()) failure_ = reason;
    }
    end();
    logLine(standalone::LogLevel::error, reason);
}

void RunControl::waitForEnd()
{
    while (!ending())
        ::sem_wait(&ended_);
}

std::string RunControl::failure() const
{
    const std::lock_guard lock(mutex_);
    return failure_;
}

}  // namespace slrealtime
