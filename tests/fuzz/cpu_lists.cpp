// The kernel's lists of CPUs ("0-2,5").

#include "../../platform/src/cpu_list.hpp"
#include "input.hpp"

int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    const auto [text] = qm::fuzz::texts<1>(data, size);
    const auto cpus = slrealtime::parseCpuList(text);
    qm::fuzz::require(std::ranges::all_of(cpus, [](int cpu) { return cpu >= 0 && cpu < 4096; }));
    return 0;
}
