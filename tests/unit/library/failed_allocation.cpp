#include "failed_allocation.hpp"

#include <dlfcn.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

// Where a sanitizer has its own versions, these stay next in line.
extern "C" void* sanitizersMalloc(std::size_t) __asm__("__interceptor_malloc") __attribute__((weak));
extern "C" void* sanitizersRealloc(void*, std::size_t) __asm__("__interceptor_realloc") __attribute__((weak));

namespace {

constexpr int kOff = 0;

thread_local int untilFailure = kOff;
thread_local bool failed = false;

template <typename Function>
Function next(Function sanitizers, const char* name)
{
    return sanitizers != nullptr ? sanitizers : reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

bool mustFail(const void* caller)
{
    Dl_info info{};
    if (untilFailure == kOff || dladdr(caller, &info) == 0 ||
        std::strstr(info.dli_fname, "libqm.so") == nullptr)
        return false;
    failed = --untilFailure == 0;
    if (failed) errno = ENOMEM;
    return failed;
}

}  // namespace

FailedAllocation::FailedAllocation(int nth)
{
    failed = false;
    untilFailure = nth;
}

FailedAllocation::~FailedAllocation()
{
    untilFailure = kOff;
}

bool FailedAllocation::happened() const
{
    return failed;
}

extern "C" void* malloc(std::size_t size) noexcept
{
    static decltype(&sanitizersMalloc) original = nullptr;  // too early for guarded initialisation
    if (original == nullptr) original = next(sanitizersMalloc, "malloc");
    return mustFail(__builtin_return_address(0)) ? nullptr : original(size);
}

extern "C" void* realloc(void* old, std::size_t size) noexcept
{
    static decltype(&sanitizersRealloc) original = nullptr;
    if (original == nullptr) original = next(sanitizersRealloc, "realloc");
    return mustFail(__builtin_return_address(0)) ? nullptr : original(old, size);
}
