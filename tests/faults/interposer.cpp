// This program's own versions of what libqm and the libraries below it call; they come first for all of them.
// While armed they also play the parts of the kernel that files cannot.

#include "faults.hpp"
#include "world.hpp"

#include <dlfcn.h>
#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <glob.h>
#include <initializer_list>
#include <new>
#include <utility>

namespace fs = std::filesystem;
using qm::test::interposer;
using qm::test::kShort;

extern "C" const char __executable_start, etext;

namespace {

/// All calls here have at most six arguments, each an integer or an address: on x86-64, six registers.
using Original = long(long, long, long, long, long, long);

bool isOwn(const void* caller)
{
    return caller >= &__executable_start && caller < &etext;
}

bool plays(const void* caller)
{
    return interposer.armed && !isOwn(caller);
}

/// 0 for a call that takes its usual way, else the errno (or kShort) with which it fails.
int failure(const char* function, const void* caller, std::initializer_list<int> errors)
{
    auto& state = interposer;
    if (!plays(caller) || state.paused) return 0;
    const long first = state.count;
    state.count += static_cast<long>(errors.size());
    const bool fails = state.failAt >= first && state.failAt < state.count;
    if (!fails && state.direct == nullptr) return 0;

    state.armed = false;  // what follows is not the library's
    Dl_info info{};
    (void)dladdr(caller, &info);
    state.armed = true;
    const char* const module = info.dli_fname == nullptr ? "?" : basename(info.dli_fname);
    if (state.direct != nullptr)
        std::fill(state.direct + first, state.direct + state.count, std::strncmp(module, "libqm", 5) == 0);
    if (!fails) return 0;
    (void)std::snprintf(state.hit->name, sizeof state.hit->name, "%s:%s", module, function);
    state.hit->error = errors.begin()[state.failAt - first];
    state.hit->step = state.step;
    return state.hit->error;
}

/// What the kernel does when these words are written.
void obey(int descriptor, const char* bytes, size_t size)
{
    interposer.armed = false;
    const std::string text(bytes, size);
    std::error_code none;
    const auto path = fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor), none);
    if (path.filename() == "new_id") fs::create_directories("/sys/bus/pci/devices/0000:1a:1f.0/uio/uio7");
    if (path.filename() == "u-dma-buf-mgr" && text.back() == '\n') (void)qm::test::obeyDmaManager(text);
    interposer.armed = true;
}

template <typename T>
T* at(long address)
{
    return reinterpret_cast<T*>(address);
}

long modelInsteadOfTest(char* to, long size)
{
    constexpr std::string_view kProgram = "/opt/models/a/bin/run";
    return static_cast<long>(kProgram.copy(to, static_cast<size_t>(size)));
}

/// The C++ library's new comes by malloc, a sanitizer's does not: either way it counts once.
long quietly(Original* original, long size, long tag)
{
    const bool kept = std::exchange(interposer.paused, true);
    const long memory = original(size, tag, 0, 0, 0, 0);
    interposer.paused = kept;
    return memory;
}

}  // namespace

// `usual` is what a call does while the library runs, `failed` what it does when it fails. The original is
// looked up without guarded initialisation, for which some calls are too early.
#define CALL(name, usual, failed, ...)                                                                \
    extern "C" __attribute__((visibility("default"))) long own_##name(long a, long b, long c, long d, \
                                                                      long e, long f) __asm__(#name); \
    long own_##name([[maybe_unused]] long a, [[maybe_unused]] long b, long c, long d, long e, long f) \
    {                                                                                                 \
        static Original* original = nullptr;                                                          \
        if (original == nullptr) original = reinterpret_cast<Original*>(dlsym(RTLD_NEXT, #name));     \
        const void* const caller = __builtin_return_address(0);                                       \
        if (const int error = failure(#name, caller, {__VA_ARGS__}); error != 0) {                    \
            errno = error == kShort ? errno : error;                                                  \
            failed;                                                                                   \
        }                                                                                             \
        if (plays(caller)) return usual;                                                              \
        return original(a, b, c, d, e, f);                                                            \
    }
#define ORIGINAL original(a, b, c, d, e, f)
#define FAILS(name, result, ...) CALL(name, ORIGINAL, return result, __VA_ARGS__)
#define TRANSFERS(name, ...) CALL(name, ORIGINAL, return error == kShort ? 0 : -1, __VA_ARGS__, kShort)
#define GIVES_ERROR(name, ...) CALL(name, ORIGINAL, return error, __VA_ARGS__)
#define PLAYED(name, usual, ...) CALL(name, usual, return -1, __VA_ARGS__)
#define CLOSES(name, result, ...) CALL(name, ORIGINAL, ORIGINAL; errno = error; return result, __VA_ARGS__)

// Files
PLAYED(open, original(a, b & ~O_TRUNC, c, d, e, f), EMFILE, EACCES)  // a kernel's files are not cut
FAILS(open64, -1, EMFILE, EACCES)
FAILS(__open_2, -1, EMFILE, EACCES)
FAILS(__open64_2, -1, EMFILE, EACCES)
FAILS(openat64, -1, EMFILE, EACCES)
FAILS(__openat64_2, -1, EMFILE, EACCES)
FAILS(fopen, 0, EMFILE)
FAILS(fopen64, 0, EMFILE)
CALL(freopen, ORIGINAL, (void)std::fclose(at<FILE>(c)); errno = error; return 0, EACCES)
FAILS(fgets, 0, EIO)
FAILS(fputs, -1, ENOSPC)
FAILS(fwrite, 0, ENOSPC)
FAILS(fflush, -1, ENOSPC)
FAILS(ftrylockfile, -1, EBUSY)
CLOSES(fclose, -1, EIO)
TRANSFERS(read, EIO)
TRANSFERS(pread, EIO)
TRANSFERS(pwrite, ENOSPC)
CALL(write, (obey(static_cast<int>(a), at<char>(b), static_cast<size_t>(c)), ORIGINAL),
     return error == kShort ? 0 : -1, EINVAL, kShort)
PLAYED(readlink,
       std::strcmp(at<char>(a), "/proc/self/exe") == 0 ? modelInsteadOfTest(at<char>(b), c) : ORIGINAL,
       ENAMETOOLONG)
CLOSES(close, -1, EIO)
FAILS(fstat, -1, ENOMEM)
FAILS(stat, -1, EACCES)
FAILS(access, -1, EACCES)
FAILS(chmod, -1, EPERM)
FAILS(mkdir, -1, EROFS)
FAILS(fcntl, -1, EINVAL)
FAILS(lseek, -1, EINVAL)
FAILS(ftruncate, -1, EFBIG)
FAILS(fallocate, -1, ENOSPC)
FAILS(shm_open, -1, EMFILE, EACCES)
FAILS(shm_unlink, -1, EACCES)
FAILS(opendir, 0, EMFILE)
FAILS(readdir, 0, EIO)
FAILS(readdir64, 0, EIO)
CLOSES(closedir, -1, EIO)
FAILS(glob, GLOB_NOSPACE, ENOMEM)
FAILS(getifaddrs, -1, EMFILE)
FAILS(getrlimit, -1, EINVAL)
// Memory
FAILS(mmap, -1, ENOMEM)
FAILS(munmap, -1, ENOMEM)
FAILS(malloc, 0, ENOMEM)
FAILS(calloc, 0, ENOMEM)
FAILS(realloc, 0, ENOMEM)
CALL(_Znwm, quietly(original, a, b), throw std::bad_alloc(), ENOMEM)
CALL(_Znam, quietly(original, a, b), throw std::bad_alloc(), ENOMEM)
CALL(_ZnwmRKSt9nothrow_t, quietly(original, a, b), return 0, ENOMEM)
// Processes, threads and CPUs
CALL(pthread_create, original(a, 0, c, d, e, f), return error, EAGAIN)
CALL(posix_spawn, (*at<pid_t>(a) = 4711, 0), return error, EAGAIN, ENOENT)
GIVES_ERROR(clock_nanosleep, EINTR)
GIVES_ERROR(pthread_attr_init, ENOMEM)
GIVES_ERROR(pthread_attr_setschedpolicy, EINVAL)
GIVES_ERROR(pthread_attr_setinheritsched, EINVAL)
GIVES_ERROR(pthread_attr_getschedparam, EINVAL)
GIVES_ERROR(pthread_attr_setschedparam, EINVAL)
CALL(pthread_setaffinity_np, 0, return error, EINVAL)
CALL(pthread_getaffinity_np, (std::memset(at<void>(c), 0xFF, static_cast<size_t>(b)), 0), return error, ESRCH)
FAILS(sem_init, -1, ENOSPC)
FAILS(sem_post, -1, EOVERFLOW)
FAILS(sem_wait, -1, EINTR)
FAILS(sem_destroy, -1, EINVAL)
PLAYED(sched_getaffinity, (std::memset(at<void>(c), 0xFF, static_cast<size_t>(b)), 0), EPERM, ESRCH)
PLAYED(sched_setaffinity, 0, EPERM)
PLAYED(sched_getscheduler, SCHED_FIFO, ESRCH)
PLAYED(sched_getparam, (*at<int>(b) = 50, 0), ESRCH)
PLAYED(sched_setscheduler, 0, EPERM)
PLAYED(sysconf, a == _SC_NPROCESSORS_CONF || a == _SC_NPROCESSORS_ONLN ? 4 : ORIGINAL, EINVAL)
// Devices
PLAYED(ioperm, 0, EPERM)
PLAYED(tcsetattr, 0, EIO)
PLAYED(tcdrain, 0, EINTR)
PLAYED(tcflush, 0, EIO)

/// The log is not what fails; a line ends in the sink.
CALL(_ZN10slrealtime6Logger9getLoggerEv, (interposer.paused = true, ORIGINAL), return 0, )
