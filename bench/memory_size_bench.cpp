// Persistent memory over the number of names, beside Boost.Interprocess.

#include "child.hpp"
#include "memory_sides.hpp"
#include "size_table.hpp"
#include <qm.h>

#include <boost/log/core.hpp>

namespace {

using Figure = double MemoryTimes::*;

struct SystemCalls
{
    double ofNewName, ofOpening;
};

void alloc(int name)
{
    const std::string text = "calibration" + std::to_string(name);
    require(qm_allocPersistentMemory(text.c_str(), 1) != nullptr, "qm_allocPersistentMemory");
}

double inFreshMemory(const std::function<void()>& act)
{
    const double calls = systemCallsOf(act);
    (void)inNewProcess([] { return qm_freePersistentMemory(), 0.0; });
    return calls;
}

SystemCalls systemCallsWith(int names)
{
    const auto make = [](int count) {
        for (int name = 0; name < count; ++name)
            alloc(name);
    };
    const double before = inFreshMemory([&] { make(names - 1); });
    const double with = systemCallsOf([&] { make(names); });
    return {with - before, inFreshMemory([] { (void)qm_getPersistentMemory("none"); })};
}

}  // namespace

int main()
{
    enterOwnSharedMemory();
    boost::log::core::get()->set_logging_enabled(false);
    SizeTable lookUp(
        "Looking a name up", "Names",
        {{"`qm_getPersistentMemory`, ns"}, {"`managed_shared_memory::find`, ns", 1.0, 1, false, 0}});
    SizeTable newName("One more name", "Names with it",
                      {{"`qm_allocPersistentMemory`, us", 1000.0},
                       {"system calls", 1.0, 0},
                       {"`managed_shared_memory` of its own, us", 1000.0, 1, false, 0}});
    SizeTable opening("Opening by a new process", "Names",
                      {{"its first `qm_getPersistentMemory`, us", 1000.0, 0},
                       {"us for each", 1000.0, 1, true},
                       {"system calls for each", 1.0, 1, true},
                       {"a `managed_shared_memory` for each, us", 1000.0, 0, false, 0}});
    for (const int names : {1, 10, 100, 1000}) {
        const MemoryComparison all(names);
        const SystemCalls calls = systemCallsWith(names);
        const double reopening = all.opened.median(&MemoryTimes::reopening);
        lookUp.add(names, {all.made.median(&MemoryTimes::anyName), all.boost.median(&MemoryTimes::anyName)});
        newName.add(names, {all.made.median(&MemoryTimes::newName), calls.ofNewName,
                            all.boostEach.median(&MemoryTimes::newName)});
        opening.add(names,
                    {reopening, reopening, calls.ofOpening, all.boostOpened.median(&MemoryTimes::reopening)});
    }
    for (const SizeTable* table : {&lookUp, &newName, &opening})
        table->print();
    return printLimits({
        {"a look-up among 1000 names, of one among 10", lookUp.at(0, 1000) / lookUp.at(0, 10), 10.0},
        {"a look-up among 1000 names, of Boost.Interprocess's", lookUp.ratio(0, 1, 1000), 1.0},
        {"system calls of the 1000th name, of the 10th", newName.at(1, 1000) / newName.at(1, 10), 1.0},
        {"system calls of opening 1000 names, for each", opening.at(2, 1000) / 1000, 8.0},
        {"opening 1000 names, of Boost.Interprocess's", opening.ratio(0, 3, 1000), 1.3},
        {"growth of opening from 100 to 1000 names", opening.growth(0, 100, 1000), 1.4},
    });
}
