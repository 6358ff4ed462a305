#pragma once

extern "C" void registerCB_C(void (*callback)(void*), void* argument, int priority);
