#pragma once

#include <cstdint>

namespace qm {

/// Two of the registers in which the processor describes itself.
struct CpuidLeaf
{
    uint32_t eax, edx;
};

/// One leaf of the description; zeros for one that the processor does not have.
CpuidLeaf cpuid(uint32_t leaf);

}  // namespace qm
