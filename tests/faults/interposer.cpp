// This program's own versions of what libqm and the libraries below it call; they come first for all of them.
// While armed they also play the parts of the kernel that files cannot.

#include "faults.hpp"
#include "sandbox.hpp"
#include <slrealtime/Logger.hpp>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <spawn.h>
#include <sys/io.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <glob.h>
#include <ifaddrs.h>
#include <initializer_list>
#include <new>
#include <semaphore.h>
#include <termios.h>

// Where a sanitizer has its own versions, these stay next in line.
extern "C" {
void* sanitizersMalloc(std::size_t) __asm__("__interceptor_malloc") __attribute__((weak));
void* sanitizersCalloc(std::size_t, std::size_t) __asm__("__interceptor_calloc") __attribute__((weak));
void* sanitizersRealloc(void*, std::size_t) __asm__("__interceptor_realloc") __attribute__((weak));
extern const char __executable_start, etext;
}

using qm::test::interposer;
using qm::test::kShort;

namespace {

template <typename Function>
Function* next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/// 0 for a call that takes its usual way, else the errno (or kShort) with which it fails.
int failure(const char* function, const void* caller, std::initializer_list<int> errors)
{
    auto& state = interposer;
    if (!state.armed || state.paused || (caller >= &__executable_start && caller < &etext)) return 0;
    const long first = state.count;
    state.count += static_cast<long>(errors.size());
    const bool fails = state.failAt >= first && state.failAt < state.count;
    if (!fails && state.direct == nullptr) return 0;

    const qm::test::Interposer kept = state;
    state.armed = false;  // what follows is not the library's
    Dl_info info{};
    (void)dladdr(caller, &info);
    const char* const module = info.dli_fname == nullptr ? "?" : basename(info.dli_fname);
    if (kept.direct != nullptr)
        std::fill(kept.direct + first, kept.direct + kept.count, std::strncmp(module, "libqm", 5) == 0);
    state.armed = true;
    if (!fails) return 0;
    const int error = errors.begin()[kept.failAt - first];
    (void)std::snprintf(kept.hit->name, sizeof kept.hit->name, "%s:%s", module, function);
    kept.hit->error = error;
    kept.hit->step = kept.step;
    return error;
}

bool plays(const void* caller)
{
    return interposer.armed && (caller < &__executable_start || caller >= &etext);
}

/// What the kernel does when these words are written.
void obey(int descriptor, const void* bytes, size_t size)
{
    const auto kept = interposer;
    interposer.armed = false;
    std::error_code none;
    const auto path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), none);
    const std::string text(static_cast<const char*>(bytes), size);
    char name[64]{};
    unsigned long length = 0;
    if (path.filename() == "new_id")
        std::filesystem::create_directories("/sys/bus/pci/devices/0000:1a:1f.0/uio/uio7");
    if (path.filename() == "u-dma-buf-mgr" && std::sscanf(text.c_str(), "delete %63s", name) == 1)
        std::filesystem::remove("/dev/" + std::string(name));
    if (path.filename() == "u-dma-buf-mgr" &&
        std::sscanf(text.c_str(), "create %63s %lu\n", name, &length) == 2 && text.back() == '\n') {
        const std::string attributes = "/sys/class/u-dma-buf/" + std::string(name);
        qm::test::sandbox::sparseFile("/dev/" + std::string(name), length);
        qm::test::sandbox::writeFile(attributes + "/sync_mode", "1\n");
        qm::test::sandbox::writeFile(attributes + "/phys_addr", "0x0000000123456000\n");
        qm::test::sandbox::writeFile(attributes + "/size", std::to_string(length) + "\n");
    }
    interposer.armed = kept.armed;
}

}  // namespace

#define EXPORTED extern "C" __attribute__((visibility("default")))
#define ERRORS(...) \
    {               \
        __VA_ARGS__ \
    }
#define FAILED(name, ...) const int error = failure(#name, __builtin_return_address(0), __VA_ARGS__); error != 0

// What a failure returns, and in the second one what a call does in place of libc's, may use `original`.
#define INTERPOSE(result, name, parameters, arguments, errors, failed, ...) \
    EXPORTED result name parameters __VA_ARGS__                             \
    {                                                                       \
        static const auto original = next<result parameters>(#name);        \
        if (FAILED(name, ERRORS errors)) return failed;                     \
        return original arguments;                                          \
    }
#define INTERPOSE_PLAYED(result, name, parameters, arguments, errors, failed, played, ...) \
    EXPORTED result name parameters __VA_ARGS__                                            \
    {                                                                                      \
        static const auto original = next<result parameters>(#name);                       \
        if (FAILED(name, ERRORS errors)) return failed;                                    \
        if (plays(__builtin_return_address(0))) return played;                             \
        return original arguments;                                                         \
    }
#define MINUS_ONE (errno = error, -1)
#define NONE (errno = error, nullptr)

// clang-format off
// Files
INTERPOSE(FILE*, fopen, (const char* path, const char* mode), (path, mode), (EMFILE), NONE)
INTERPOSE(FILE*, freopen, (const char* path, const char* mode, FILE* file), (path, mode, file), (EACCES), (std::fclose(file), errno = error, nullptr))
INTERPOSE(char*, fgets, (char* line, int size, FILE* file), (line, size, file), (EIO), NONE)
INTERPOSE(int, fputs, (const char* text, FILE* file), (text, file), (ENOSPC), MINUS_ONE)
INTERPOSE(size_t, fwrite, (const void* bytes, size_t size, size_t count, FILE* file), (bytes, size, count, file), (ENOSPC), (errno = error, 0))
INTERPOSE(int, fflush, (FILE* file), (file), (ENOSPC), MINUS_ONE)
INTERPOSE(int, fclose, (FILE* file), (file), (EIO), (original(file), errno = error, -1))
INTERPOSE(int, ftrylockfile, (FILE* file), (file), (EBUSY), error, noexcept)
INTERPOSE(int, setvbuf, (FILE* file, char* buffer, int mode, size_t size), (file, buffer, mode, size), (ENOMEM), MINUS_ONE, noexcept)
INTERPOSE(ssize_t, read, (int file, void* bytes, size_t size), (file, bytes, size), (EIO, kShort), (error == kShort ? 0 : MINUS_ONE))
INTERPOSE(ssize_t, pread, (int file, void* bytes, size_t size, off_t at), (file, bytes, size, at), (EIO, kShort), (error == kShort ? 0 : MINUS_ONE))
INTERPOSE(ssize_t, pwrite, (int file, const void* bytes, size_t size, off_t at), (file, bytes, size, at), (ENOSPC, kShort), (error == kShort ? 0 : MINUS_ONE))
INTERPOSE(int, close, (int file), (file), (EIO), (syscall(SYS_close, file), errno = error, -1))
INTERPOSE(int, fstat, (int file, struct stat* status), (file, status), (ENOMEM), MINUS_ONE, noexcept)
INTERPOSE(int, stat, (const char* path, struct stat* status), (path, status), (EACCES), MINUS_ONE, noexcept)
INTERPOSE(int, access, (const char* path, int mode), (path, mode), (EACCES), MINUS_ONE, noexcept)
INTERPOSE(int, chmod, (const char* path, mode_t mode), (path, mode), (EPERM), MINUS_ONE, noexcept)
INTERPOSE(int, mkdir, (const char* path, mode_t mode), (path, mode), (EROFS), MINUS_ONE, noexcept)
INTERPOSE(off_t, lseek, (int file, off_t at, int from), (file, at, from), (EINVAL), MINUS_ONE, noexcept)
INTERPOSE(int, ftruncate, (int file, off_t size), (file, size), (EFBIG), MINUS_ONE, noexcept)
INTERPOSE(int, fallocate, (int file, int mode, off_t at, off_t size), (file, mode, at, size), (ENOSPC), MINUS_ONE)
INTERPOSE(int, shm_open, (const char* name, int flags, mode_t mode), (name, flags, mode), (EMFILE, EACCES), MINUS_ONE)
INTERPOSE(int, shm_unlink, (const char* name), (name), (EACCES), MINUS_ONE)
INTERPOSE(DIR*, opendir, (const char* path), (path), (EMFILE), NONE)
INTERPOSE(dirent*, readdir, (DIR* folder), (folder), (EIO), NONE)
INTERPOSE(int, closedir, (DIR* folder), (folder), (EIO), (original(folder), errno = error, -1))
INTERPOSE(int, glob, (const char* pattern, int flags, int (*report)(const char*, int), glob_t* found), (pattern, flags, report, found), (ENOMEM), (errno = error, GLOB_NOSPACE), noexcept)
INTERPOSE(int, getifaddrs, (ifaddrs** first), (first), (EMFILE), MINUS_ONE, noexcept)
INTERPOSE(int, getrlimit, (__rlimit_resource_t what, rlimit* limit), (what, limit), (EINVAL), MINUS_ONE, noexcept)
// Mappings
INTERPOSE(void*, mmap, (void* at, size_t size, int access, int flags, int file, off_t offset), (at, size, access, flags, file, offset), (ENOMEM), (errno = error, MAP_FAILED), noexcept)
INTERPOSE(int, munmap, (void* at, size_t size), (at, size), (ENOMEM), MINUS_ONE, noexcept)
// Processes, threads and CPUs
INTERPOSE(int, posix_spawn, (pid_t* child, const char* path, const posix_spawn_file_actions_t* actions, const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment), (child, path, actions, attributes, arguments, environment), (EAGAIN), error)
INTERPOSE(int, pthread_attr_init, (pthread_attr_t* attributes), (attributes), (ENOMEM), error, noexcept)
INTERPOSE(int, pthread_attr_setschedpolicy, (pthread_attr_t* attributes, int policy), (attributes, policy), (EINVAL), error, noexcept)
INTERPOSE(int, pthread_attr_setinheritsched, (pthread_attr_t* attributes, int inherit), (attributes, inherit), (EINVAL), error, noexcept)
INTERPOSE(int, pthread_attr_getschedparam, (const pthread_attr_t* attributes, sched_param* param), (attributes, param), (EINVAL), error, noexcept)
INTERPOSE(int, pthread_attr_setschedparam, (pthread_attr_t* attributes, const sched_param* param), (attributes, param), (EINVAL), error, noexcept)
INTERPOSE(int, sem_init, (sem_t* semaphore, int shared, unsigned value), (semaphore, shared, value), (ENOSPC), MINUS_ONE, noexcept)
INTERPOSE(int, sem_post, (sem_t* semaphore), (semaphore), (EOVERFLOW), MINUS_ONE, noexcept)
INTERPOSE(int, sem_wait, (sem_t* semaphore), (semaphore), (EINTR), MINUS_ONE)
INTERPOSE(int, sem_destroy, (sem_t* semaphore), (semaphore), (EINVAL), MINUS_ONE, noexcept)
INTERPOSE_PLAYED(int, pthread_create, (pthread_t* thread, const pthread_attr_t* attributes, void* (*act)(void*), void* argument), (thread, attributes, act, argument), (EAGAIN), error, (original(thread, nullptr, act, argument)), noexcept)
INTERPOSE_PLAYED(int, pthread_setaffinity_np, (pthread_t thread, size_t size, const cpu_set_t* cpus), (thread, size, cpus), (EINVAL), error, 0, noexcept)
INTERPOSE_PLAYED(int, pthread_getaffinity_np, (pthread_t thread, size_t size, cpu_set_t* cpus), (thread, size, cpus), (ESRCH), error, (std::memset(cpus, 0xFF, size), 0), noexcept)
INTERPOSE_PLAYED(int, sched_getaffinity, (pid_t thread, size_t size, cpu_set_t* cpus), (thread, size, cpus), (EPERM, ESRCH), MINUS_ONE, (std::memset(cpus, 0xFF, size), 0), noexcept)
INTERPOSE_PLAYED(int, sched_setaffinity, (pid_t thread, size_t size, const cpu_set_t* cpus), (thread, size, cpus), (EPERM), MINUS_ONE, 0, noexcept)
INTERPOSE_PLAYED(int, sched_getscheduler, (pid_t thread), (thread), (ESRCH), MINUS_ONE, SCHED_FIFO, noexcept)
INTERPOSE_PLAYED(int, sched_getparam, (pid_t thread, sched_param* param), (thread, param), (ESRCH), MINUS_ONE, (param->sched_priority = 50, 0), noexcept)
INTERPOSE_PLAYED(int, sched_setscheduler, (pid_t thread, int policy, const sched_param* param), (thread, policy, param), (EPERM), MINUS_ONE, 0, noexcept)
INTERPOSE_PLAYED(long, sysconf, (int name), (name), (EINVAL), MINUS_ONE, (name == _SC_NPROCESSORS_CONF || name == _SC_NPROCESSORS_ONLN ? 4 : original(name)), noexcept)
// Devices
INTERPOSE_PLAYED(int, ioperm, (unsigned long from, unsigned long count, int on), (from, count, on), (EPERM), MINUS_ONE, 0, noexcept)
INTERPOSE_PLAYED(int, tcsetattr, (int file, int when, const termios* line), (file, when, line), (EIO), MINUS_ONE, 0, noexcept)
INTERPOSE_PLAYED(int, tcdrain, (int file), (file), (EINTR), MINUS_ONE, 0)
INTERPOSE_PLAYED(int, tcflush, (int file, int queue), (file, queue), (EIO), MINUS_ONE, 0, noexcept)
// clang-format on

// Those with arguments or ways of their own
EXPORTED int open(const char* path, int flags, ...)
{
    static const auto original = next<int(const char*, int, ...)>("open");
    if (FAILED(open, {EMFILE, EACCES})) return MINUS_ONE;
    if (plays(__builtin_return_address(0))) flags &= ~O_TRUNC;  // a kernel's files are not cut
    va_list mode;
    va_start(mode, flags);
    const int file = original(path, flags, va_arg(mode, mode_t));
    va_end(mode);
    return file;
}

EXPORTED int openat(int folder, const char* path, int flags, ...)
{
    static const auto original = next<int(int, const char*, int, ...)>("openat");
    if (FAILED(openat, {EMFILE, EACCES})) return MINUS_ONE;
    va_list mode;
    va_start(mode, flags);
    const int file = original(folder, path, flags, va_arg(mode, mode_t));
    va_end(mode);
    return file;
}

EXPORTED int fcntl(int file, int command, ...)
{
    static const auto original = next<int(int, int, ...)>("fcntl");
    if (FAILED(fcntl, {EINVAL})) return MINUS_ONE;
    va_list argument;
    va_start(argument, command);
    const int result = original(file, command, va_arg(argument, void*));
    va_end(argument);
    return result;
}

EXPORTED ssize_t write(int file, const void* bytes, size_t size)
{
    static const auto original = next<ssize_t(int, const void*, size_t)>("write");
    if (FAILED(write, {EINVAL, kShort})) return error == kShort ? 0 : MINUS_ONE;
    const ssize_t written = original(file, bytes, size);
    if (plays(__builtin_return_address(0))) obey(file, bytes, size);
    return written;
}

EXPORTED ssize_t readlink(const char* path, char* to, size_t size) noexcept
{
    static const auto original = next<ssize_t(const char*, char*, size_t)>("readlink");
    if (FAILED(readlink, {ENAMETOOLONG})) return MINUS_ONE;
    if (!plays(__builtin_return_address(0)) || std::strcmp(path, "/proc/self/exe") != 0)
        return original(path, to, size);
    constexpr std::string_view kProgram = "/opt/models/a/bin/run";
    return static_cast<ssize_t>(kProgram.copy(to, size));
}

#define IN_TURN(name, own)                                                                    \
    static decltype(&own) original = nullptr; /* too early for guarded initialisation */      \
    if (original == nullptr) original = own;                                                  \
    if (original == nullptr) original = reinterpret_cast<decltype(original)>(dlsym(RTLD_NEXT, name))

EXPORTED void* malloc(size_t size) noexcept
{
    IN_TURN("malloc", sanitizersMalloc);
    if (FAILED(malloc, {ENOMEM})) return NONE;
    return original(size);
}

EXPORTED void* calloc(size_t count, size_t size) noexcept
{
    IN_TURN("calloc", sanitizersCalloc);
    if (FAILED(calloc, {ENOMEM})) return NONE;
    return original(count, size);
}

EXPORTED void* realloc(void* memory, size_t size) noexcept
{
    IN_TURN("realloc", sanitizersRealloc);
    if (FAILED(realloc, {ENOMEM})) return NONE;
    return original(memory, size);
}

// A sanitizer's own new does not come by malloc.
void* operator new(size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    if (FAILED(new, {ENOMEM})) return NONE;
    return std::malloc(size);
}
void* operator new(size_t size)
{
    if (FAILED(new, {ENOMEM})) {
        errno = error;
        throw std::bad_alloc();
    }
    return std::malloc(size);
}
void* operator new[](size_t size)
{
    if (FAILED(new, {ENOMEM})) {
        errno = error;
        throw std::bad_alloc();
    }
    return std::malloc(size);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t /*size*/) noexcept { std::free(memory); }
void operator delete[](void* memory, size_t /*size*/) noexcept { std::free(memory); }

// Under the names that libraries with 64-bit file offsets, or with checked calls, know them by
#define ALSO_AS(alias, name) __asm__(".globl " #alias "\n.set " #alias ", " #name);
ALSO_AS(fopen64, fopen)
ALSO_AS(mmap64, mmap)
ALSO_AS(open64, open)
ALSO_AS(__open_2, open)
ALSO_AS(__open64_2, open)
ALSO_AS(openat64, openat)
ALSO_AS(__openat64_2, openat)
ALSO_AS(pwrite64, pwrite)
ALSO_AS(readdir64, readdir)

/// The log is not what fails, unless it is asked for; a line ends in the sink.
EXPORTED decltype(slrealtime::Logger::getLogger()) getLogger() __asm__("_ZN10slrealtime6Logger9getLoggerEv");
decltype(slrealtime::Logger::getLogger()) getLogger()
{
    static const auto original = next<decltype(getLogger())()>("_ZN10slrealtime6Logger9getLoggerEv");
    interposer.paused = interposer.armed && !interposer.logsAreCounted;
    return original();
}
