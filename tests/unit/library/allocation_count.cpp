#include "allocation_count.hpp"

#include <dlfcn.h>

#include <cstdlib>

// Where a sanitizer has its own versions, these stay next in line; it has its own operator new too.
extern "C" void* sanitizersMalloc(std::size_t) __asm__("__interceptor_malloc") __attribute__((weak));
extern "C" void* sanitizersRealloc(void*, std::size_t) __asm__("__interceptor_realloc") __attribute__((weak));

namespace {

thread_local long allocations = 0;

template <typename Function>
Function next(Function sanitizers, const char* name)
{
    return sanitizers != nullptr ? sanitizers : reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

AllocationCount::AllocationCount() : before_(allocations) {}

long AllocationCount::count() const
{
    return allocations - before_;
}

extern "C" void* malloc(std::size_t size) noexcept
{
    static decltype(&sanitizersMalloc) original = nullptr;  // too early for guarded initialisation
    if (original == nullptr) original = next(sanitizersMalloc, "malloc");
    ++allocations;
    return original(size);
}

extern "C" void* realloc(void* old, std::size_t size) noexcept
{
    static decltype(&sanitizersRealloc) original = nullptr;
    if (original == nullptr) original = next(sanitizersRealloc, "realloc");
    ++allocations;
    return original(old, size);
}

void* operator new(std::size_t size)
{
    return std::malloc(size);
}
void operator delete(void* memory) noexcept
{
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}
