/* Part of the library in the coverage build: hands the way to save its counters to at_exit.c, if that is
 * there. */

extern void __gcov_dump(void);
extern void coverage_register(void (*save)(void)) __attribute__((weak));

__attribute__((constructor)) static void registerCounters(void)
{
    if (coverage_register) coverage_register(&__gcov_dump);
}
