#include "qm_target/cpuid.hpp"

#include <cpuid.h>

qm::CpuidLeaf qm::cpuid(uint32_t leaf)
{
    uint32_t eax = 0;
    uint32_t ebx = 0;
    uint32_t ecx = 0;
    uint32_t edx = 0;
    (void)__get_cpuid(leaf, &eax, &ebx, &ecx, &edx);  // leaves the zeros for a leaf that is not there
    return {eax, edx};
}
