#include "crash_flush.hpp"

#include "log_session.hpp"
#include "signal_mask.hpp"

#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <poll.h>

namespace slrealtime {

namespace {

constexpr std::array kCrashes = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
constexpr int kPatienceMs = 2000;  // a crash inside malloc or the log may block the writers for good
constexpr std::size_t kStackBytes = 64UL * 1024;

struct State
{
    int wake = -1;
    int flushed = -1;
    pid_t process = 0;
    std::atomic<bool> crashing{false};
    std::atomic<bool> leave{false};
    std::array<struct sigaction, kCrashes.size()> before{};
};

State state;

void signalEvent(int event)
{
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(event, &one, sizeof one);
}

void restore(int signal)
{
    for (std::size_t i = 0; i < kCrashes.size(); ++i)
        if (kCrashes[i] == signal) ::sigaction(signal, &state.before[i], nullptr);
}

// Only async-signal-safe calls. The crashing thread waits, so that its faulting instruction is still the one
// that the core dump shows.
void onCrash(int signal, siginfo_t* info, void* /*context*/)
{
    if (::getpid() == state.process) {  // a forked child has no helper
        if (!state.crashing.exchange(true)) signalEvent(state.wake);
        pollfd done = {state.flushed, POLLIN, 0};
        ::poll(&done, 1, kPatienceMs);
    }
    restore(signal);
    if (info->si_code <= 0) ::raise(signal);  // sent, not caused: returning would not bring it back
}

void flushOnDemand()
{
    std::uint64_t count = 0;
    while (::read(state.wake, &count, sizeof count) >= 0 || errno == EINTR) {
        if (state.leave) return;
        flushLog();
        signalEvent(state.flushed);
    }
}

int newEvent()
{
    const int event = ::eventfd(0, EFD_CLOEXEC);
    if (event < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
    return event;
}

}  // namespace

CrashFlush::CrashFlush()
{
    state.wake = newEvent();
    state.flushed = newEvent();
    state.process = ::getpid();
    state.crashing = false;
    state.leave = false;
    {
        const SignalsBlocked blocked;
        helper_ = std::thread(flushOnDemand);
    }
    struct sigaction action = {};
    action.sa_sigaction = onCrash;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < kCrashes.size(); ++i)
        ::sigaction(kCrashes[i], &action, &state.before[i]);
}

CrashFlush::~CrashFlush()
{
    for (const int signal : kCrashes)
        restore(signal);
    state.leave = true;
    signalEvent(state.wake);
    helper_.join();
    ::close(state.wake);
    ::close(state.flushed);
}

SignalStack::SignalStack()
{
    stack_t current = {};
    if (::sigaltstack(nullptr, &current) == 0 && (current.ss_flags & SS_DISABLE) == 0)
        return;  // someone's already
    memory_ = std::make_unique<std::byte[]>(kStackBytes);
    stack_t stack = {};
    stack.ss_sp = memory_.get();
    stack.ss_size = kStackBytes;
    ::sigaltstack(&stack, nullptr);
}

SignalStack::~SignalStack()
{
    if (!memory_) return;
    stack_t none = {};
    none.ss_flags = SS_DISABLE;
    ::sigaltstack(&none, nullptr);
}

}  // namespace slrealtime
