#include "allocations.hpp"

#include <dlfcn.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

// Where a sanitizer has its own version, this stays next in line.
extern "C" void* sanitizersMalloc(std::size_t) __asm__("__interceptor_malloc") __attribute__((weak));

thread_local long allocations = 0;
int allocationsUntilFailure = 0;

namespace {

bool mustFail(const void* caller)
{
    Dl_info info{};
    return allocationsUntilFailure > 0 && dladdr(caller, &info) != 0 &&
           std::strstr(info.dli_fname, "libqm.so") != nullptr && --allocationsUntilFailure == 0;
}

}  // namespace

extern "C" void* malloc(std::size_t size) noexcept
{
    static decltype(&sanitizersMalloc) original = nullptr;  // too early for guarded initialisation
    if (original == nullptr) original = sanitizersMalloc;
    if (original == nullptr) original = reinterpret_cast<decltype(original)>(dlsym(RTLD_NEXT, "malloc"));
    ++allocations;
    if (!mustFail(__builtin_return_address(0))) return original(size);
    errno = ENOMEM;
    return nullptr;
}

// A sanitizer's own new does not come by malloc.
void* operator new(std::size_t size)
{
    return std::malloc(size);
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
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
