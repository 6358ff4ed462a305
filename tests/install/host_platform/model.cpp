#include <slrealtime/ModelInfo.hpp>
#include <slrealtime/StartCallback.h>

// The library of an image that keeps these two apart from the platform.

slrealtime::ModelInfo slrealtime::getModelInstanceModelInfo()
{
    return {{{TimingMode::PERIODIC, TriggerMode::TIMER}}};
}

void registerCB_C(void (*callback)(void*), void* argument, int /*priority*/)
{
    callback(argument);
}
