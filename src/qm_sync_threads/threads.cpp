#include "qm_root.hpp"
#include <qm/log.h>
#include <qm/threads.h>

#include <pthread.h>
#include <sched.h>

#include <cstring>
#include <new>

namespace {

bool succeeded(const char* step, int result)
{
    if (result != 0) qm_printf(qm_error, "%s returns %d\n", step, result);
    return result == 0;
}

bool setPriority(pthread_attr_t& attributes, int priority)
{
    sched_param parameters{};
    if (!succeeded("pthread_attr_getschedparam", ::pthread_attr_getschedparam(&attributes, &parameters)))
        return false;
    parameters.sched_priority = priority;
    const int result = ::pthread_attr_setschedparam(&attributes, &parameters);
    if (result != 0)
        qm_printf(qm_error, "pthread_attr_setschedparam returns %d with prio %d\n", result, priority);
    return result == 0;
}

bool setRealTime(pthread_attr_t& attributes, int priority)
{
    return succeeded("pthread_attr_init", ::pthread_attr_init(&attributes)) &&
           succeeded("pthread_attr_setinheritsched",
                     ::pthread_attr_setinheritsched(&attributes, PTHREAD_EXPLICIT_SCHED)) &&
           succeeded("pthread_attr_setschedpolicy", ::pthread_attr_setschedpolicy(&attributes, SCHED_FIFO)) &&
           setPriority(attributes, priority);
}

int createAsRoot(pthread_t* thread, const pthread_attr_t& attributes, void* (*func)(void*), void* arg)
{
    const qm::RootScope root;
    return ::pthread_create(thread, &attributes, func, arg);
}

int setSchedulerAsRoot(pid_t pid, int priority)
{
    const qm::RootScope root;
    sched_param parameters{};
    parameters.sched_priority = priority;
    return ::sched_setscheduler(pid, SCHED_FIFO, &parameters);
}

}  // namespace

void* qm_createThread(void* (*func)(void*), void* arg)
{
    auto* const thread = new (std::nothrow) pthread_t{};
    if (thread == nullptr) return nullptr;
    // Deliberate: neither the attributes nor, after a failure, the handle are released.
    pthread_attr_t attributes;
    const int priority = ::sched_get_priority_min(SCHED_FIFO);
    if (!setRealTime(attributes, priority))
        return nullptr;  // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks)
    const int result = createAsRoot(thread, attributes, func, arg);
    if (result != 0) {
        qm_printf(qm_error, "pthread_create returns %d: %s\n", result, std::strerror(result));
        return nullptr;
    }
    qm_printf(qm_debug, "created thread with prio %d\n", priority);
    return thread;
}

int qm_destroyThread(void* handler)
{
    auto* const thread = static_cast<pthread_t*>(handler);
    const int result = ::pthread_cancel(*thread);
    if (result == 0) ::pthread_join(*thread, nullptr);
    delete thread;
    return result;
}

int qm_setPidPriority(pid_t pid, int priority)
{
    const int result = setSchedulerAsRoot(pid, priority);
    if (result == 0) return 0;
    // Deliberate: the text is that of the result, which is -1, and not of errno.
    qm_printf(qm_error, "Elevating thread %d to %d, sched_setscheduler returns %d: %s\n", pid, priority,
              result, std::strerror(result));
    return -1;
}

int qm_getPidPriority(pid_t pid)
{
    sched_param parameters{};
    if (::sched_getparam(pid, &parameters) != 0) return -1;
    const int policy = ::sched_getscheduler(pid);
    if (policy < 0) return -1;
    const int plainPolicy = policy & ~SCHED_RESET_ON_FORK;
    return plainPolicy == SCHED_FIFO || plainPolicy == SCHED_RR ? parameters.sched_priority : 0;
}
