// Persistent memory beside named objects of Boost.Interprocess, with 1000 names.

#include "child.hpp"
#include "memory_sides.hpp"
#include "table.hpp"

#include <boost/log/core.hpp>

int main()
{
    constexpr double kUs = 1e3;
    constexpr double kMs = 1e6;
    enterOwnSharedMemory();
    boost::log::core::get()->set_logging_enabled(false);
    const MemoryComparison all(1000);
    const auto row = [&](const char* name, const char* baseline, const MemoryRuns& theirs,
                         double MemoryTimes::*which) {
        return ratioRow(name, baseline, all.made.median(which), theirs.median(which), "ns", 1.0);
    };
    const auto of = [](const MemoryRuns& runs, double MemoryTimes::*which, double unit) {
        return runs.median(which) / unit;
    };
    const double newName = of(all.made, &MemoryTimes::newName, kUs);
    return printRows({
        row("`qm_getPersistentMemory`, the 1000th name", "`managed_shared_memory::find`", all.boost,
            &MemoryTimes::lastName),
        row("`qm_getPersistentMemory`, any of 1000 names", "`managed_shared_memory::find`", all.boost,
            &MemoryTimes::anyName),
        row("`qm_allocPersistentMemory`, a block of the 1000th name",
            "`managed_shared_memory::find`, `allocate`", all.boost, &MemoryTimes::block),
        ratioRow("`qm_allocPersistentMemory`, a new 1000th name",
                 "`managed_shared_memory` of its own for the name", newName,
                 of(all.boostEach, &MemoryTimes::newName, kUs), "us", 1.0),
        // A name of its own file and its own growth costs system calls; a name within one segment of fixed
        // size does not. Shown, not limited.
        {"`qm_allocPersistentMemory`, a new 1000th name", "`managed_shared_memory::construct` in one segment",
         newName, of(all.boost, &MemoryTimes::newName, kUs), "us", "", true},
        ratioRow("1000 objects mapped by a new process", "1000 `managed_shared_memory` opened",
                 of(all.opened, &MemoryTimes::reopening, kMs),
                 of(all.boostOpened, &MemoryTimes::reopening, kMs), "ms", 1.3),
    });
}
