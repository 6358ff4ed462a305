/*
 * Loaded before every program of the coverage run (LD_PRELOAD): the library's counters are saved at exit(),
 * and the tests' children leave by other ways.
 */

#define _GNU_SOURCE
#include <dlfcn.h>
#include <unistd.h>

#include <signal.h>

#define EXPORTED __attribute__((visibility("default")))

static void (*saveCounters)(void);

EXPORTED void coverage_register(void (*save)(void));
EXPORTED void coverage_register(void (*save)(void))
{
    saveCounters = save;
}

static void save(void)
{
    if (saveCounters) saveCounters();
}

EXPORTED void _exit(int status)
{
    save();
    void (*original)(int) __attribute__((noreturn));
    *(void**)&original = dlsym(RTLD_NEXT, "_exit");
    original(status);
}

EXPORTED void abort(void)
{
    save();
    void (*original)(void) __attribute__((noreturn));
    *(void**)&original = dlsym(RTLD_NEXT, "abort");
    original();
}

EXPORTED int raise(int number)
{
    if (number == SIGKILL) save();
    int (*original)(int);
    *(void**)&original = dlsym(RTLD_NEXT, "raise");
    return original(number);
}
