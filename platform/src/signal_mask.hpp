#pragma once

#include <csignal>

namespace slrealtime {

/** Breaks a wait off when the run ends. Ignored wherever it has no handler. */
constexpr int kWakeSignal = SIGURG;

/**
 * Threads created while one of these lives handle no signal but kWakeSignal and the ones they cause
 * themselves, so that a signal never interrupts a step. The creating thread's own mask comes back at the end.
 */
class SignalsBlocked
{
public:
    SignalsBlocked()
    {
        sigset_t most;
        sigfillset(&most);
        for (const int caused : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS, kWakeSignal})
            sigdelset(&most, caused);
        ::pthread_sigmask(SIG_BLOCK, &most, &before_);
    }
    ~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t before_ = {};
};

}  // namespace slrealtime
