#include <qm/lifecycle.h>
#include <slrealtime/StartCallback.h>

void qm_add_start_callback(void (*callback)(void*), void* argument, int priority)
{
    registerCB_C(callback, argument, priority);
}
