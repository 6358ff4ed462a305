// Persistent memory beside named objects of Boost.Interprocess, with 1000 names.

#include "child.hpp"
#include "memory_sides.hpp"
#include "table.hpp"

#include <boost/log/core.hpp>

int main()
{
    constexpr double kMs = 1e6;
    enterOwnSharedMemory();
    boost::log::core::get()->set_logging_enabled(false);
    const MemoryComparison all(1000);
    const auto row = [&](const char* name, const char* baseline, const MemoryRuns& theirs,
                         double MemoryTimes::*which) {
        return ratioRow(name, baseline, all.made.median(which), theirs.median(which), "ns", 1.0);
    };
    // A name of its own file and its own growth costs system calls; a name within one segment of fixed size
    // does not. Shown, not limited.
    const double within = all.boost.median(&MemoryTimes::newName);
    const double created = all.made.median(&MemoryTimes::newName);
    return printRows({
        row("`qm_getPersistentMemory`, the 1000th name", "`managed_shared_memory::find`", all.boost,
            &MemoryTimes::lastName),
        row("`qm_getPersistentMemory`, any of 1000 names", "`managed_shared_memory::find`", all.boost,
            &MemoryTimes::anyName),
        row("`qm_allocPersistentMemory`, a block of the 1000th name",
            "`managed_shared_memory::find`, `allocate`", all.boost, &MemoryTimes::block),
        row("`qm_allocPersistentMemory`, a new 1000th name",
            "`managed_shared_memory` of its own for the name", all.boostEach, &MemoryTimes::newName),
        {"`qm_allocPersistentMemory`, a new 1000th name", "`managed_shared_memory::construct` in one segment",
         created, within, "ns", "", true},
        {"1000 objects mapped by a new process", "1000 `managed_shared_memory` opened",
         all.opened.median(&MemoryTimes::reopening) / kMs,
         all.boostOpened.median(&MemoryTimes::reopening) / kMs, "ms", "", true},
    });
}
