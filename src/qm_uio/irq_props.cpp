#include "qm_error.hpp"
#include "qm_uio/uio_device.hpp"
#include <qm/interrupts.h>
#include <qm/log.h>
#include <qm/threads.h>

#include <algorithm>
#include <cerrno>
#include <optional>

namespace {

constexpr int kTriggerCpu = 1;
constexpr int kTriggerPriority = 90;
constexpr int kLowestPriority = 1;
constexpr int kHighestPriority = 99;

int refuseNullContext()
{
    qm::setErrorText("%s", qm::uio::kNullContext);
    return -EINVAL;
}

pid_t findThread(int uioIndex)
{
    const pid_t thread = qm::uio::findQmUioIrqThreadPid(uioIndex);
    if (thread < 0) qm::setErrorText("Failed to find IRQ thread PID for UIO %d", uioIndex);
    return thread;
}

int setPriority(pid_t thread, int priority)
{
    if (qm_setPidPriority(thread, priority) == 0) return 0;
    qm::setErrorText("Failed to set priority of IRQ thread PID %d to %d", thread, priority);
    return -1;
}

/// What the interrupt thread is to get.
struct Properties
{
    int priority;
    int cpu;  ///< -1: as it is
};

Properties forModelTrigger(int current)
{
    return {std::clamp(current, kTriggerPriority, kHighestPriority), kTriggerCpu};
}

/// Nothing when the thread's priority is high enough already: then its CPU stays as it is, too.
std::optional<Properties> forConsumer(int priority, int current)
{
    if (current > priority) return std::nullopt;
    return Properties{std::min(priority, kHighestPriority - 1) + 1, qm_pickNextAsyncCpu()};
}

}  // namespace

int qm_uio_setIrqProps(qm_InterruptContext* context)
{
    if (context == nullptr) return refuseNullContext();
    const pid_t thread = findThread(context->uioIndex);
    if (thread < 0) return -1;
    const int irq = qm::uio::getUioIrqNumber(context->uioIndex);
    if (irq < 0) {
        qm::setErrorText("Failed to get IRQ number for UIO %d", context->uioIndex);
        return -1;
    }

    context->irq_cpu_assigned = -1;
    const int current = qm_getPidPriority(thread);
    qm_printf(qm_debug, "Current IRQ thread PID %d priority = %d\n", thread, current);
    const auto wanted =
        context->isModelTrigger ? forModelTrigger(current) : forConsumer(context->priority, current);
    if (!wanted) return 0;
    context->irq_cpu_assigned = wanted->cpu;
    if (wanted->priority < kLowestPriority) {
        qm::setErrorText("Requested invalid IRQ thread priority value %d. Priority must be between 1 and 99.",
                         wanted->priority);
        return -1;
    }
    qm_printf(qm_debug, "Setting IRQ thread PID %d to priority = %d\n", thread, wanted->priority);
    if (setPriority(thread, wanted->priority) != 0) return -1;
    return qm::uio::placeIrq(irq, context->irq_cpu_assigned);
}

int qm_uio_resetIrqProps(qm_InterruptContext* context)
{
    if (context == nullptr) return refuseNullContext();
    const int asked = context->defaultPriority == 0 ? qm::uio::kThreadPriority : context->defaultPriority;
    const int target = std::min(asked, kHighestPriority);
    if (target < kLowestPriority) {
        qm::setErrorText("Invalid IRQ thread priority value %d. Priority must be between 1 and 99.", target);
        return -1;
    }
    const pid_t thread = findThread(context->uioIndex);
    if (thread < 0) return -1;
    if (target < qm_getPidPriority(thread) && setPriority(thread, target) != 0) return -1;
    if (qm::uio::resetUioIrqAffinity(context->uioIndex) == 0) return 0;
    qm::setErrorText("Failed to reset IRQ affinity for UIO %d", context->uioIndex);
    return -1;
}
