#pragma once

#include "qm_common/errno_keeper.hpp"

#include <pthread.h>

namespace qm {

/// For clean-up between a failing call and its report: keeps errno, and holds off the thread's cancellation,
/// which must not begin in a destructor.
class CleanUpScope
{
public:
    CleanUpScope() { ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state_); }
    ~CleanUpScope() { ::pthread_setcancelstate(state_, nullptr); }
    CleanUpScope(const CleanUpScope&) = delete;
    CleanUpScope& operator=(const CleanUpScope&) = delete;

private:
    ErrnoKeeper kept_;
    int state_ = PTHREAD_CANCEL_ENABLE;
};

}  // namespace qm
