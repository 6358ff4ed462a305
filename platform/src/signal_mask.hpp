#pragma once

#include <csignal>

namespace slrealtime {

/**
 * Threads created while one of these lives handle no signal but the ones they cause themselves, so that a
 * signal never interrupts a step. The creating thread's own mask comes back at the end.
 */
class SignalsBlocked
{
public:
    SignalsBlocked()
    {
        sigset_t most;
        sigfillset(&most);
        for (const int caused : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS})
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
