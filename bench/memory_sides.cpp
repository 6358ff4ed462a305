#include "memory_sides.hpp"

#include "child.hpp"
#include "table.hpp"
#include <qm.h>

#include <boost/interprocess/managed_shared_memory.hpp>
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <list>
#include <random>
#include <string>

namespace {

namespace ipc = boost::interprocess;

constexpr int kRuns = 15;
constexpr int kLookUps = 100'000;
constexpr int kBlocks = 1000;  // of one name: as many as fit into the memory that it begins with
constexpr std::size_t kBlock = 48;
constexpr std::size_t kObjectSize = 65536;

using Bytes = std::array<char, kBlock>;
using Names = std::vector<std::string>;

/// Names in an order that no branch predictor knows; the last one is the last in every way.
Names namesOf(int count)
{
    Names made;
    for (int i = 1; i <= count; ++i)
        made.push_back("calibration" + std::to_string(i));
    std::shuffle(made.begin(), made.end() - 1,
                 std::minstd_rand{});  // NOLINT(cert-msc51-cpp): always the same
    return made;
}

void requireMemory(const void* result)
{
    require(result != nullptr, "persistent memory or its baseline");
}

/// Times what `create`, `addBlock` and `find` do with the last name, when the others are there.
template <typename Create, typename AddBlock, typename Find>
MemoryTimes timesOf(const Names& names, Create create, AddBlock addBlock, Find find)
{
    for (std::size_t i = 0; i + 1 < names.size(); ++i)
        requireMemory(create(names[i].c_str()));
    const char* const last = names.back().c_str();
    MemoryTimes times{};
    times.newName = processorNsOf([&] { requireMemory(create(last)); });
    times.block = nsPer(kBlocks, [&](int) { requireMemory(addBlock(last)); });
    times.lastName = nsPer(kLookUps, [&](int) { requireMemory(find(last)); });
    times.anyName = nsPer(kLookUps, [&](int i) {
        requireMemory(find(names[static_cast<std::size_t>(i) % names.size()].c_str()));
    });
    return times;
}

}  // namespace

MemoryTimes libraryMakes(int names)
{
    const auto alloc = [](const char* name) { return qm_allocPersistentMemory(name, kBlock); };
    return timesOf(namesOf(names), alloc, alloc, qm_getPersistentMemory);
}

MemoryTimes boostMakes(int names)
{
    ipc::shared_memory_object::remove("segment");
    ipc::managed_shared_memory segment(ipc::create_only, "segment",
                                       (static_cast<std::size_t>(names) + 1) * kObjectSize);
    const auto find = [&](const char* name) { return segment.find<Bytes>(name).first; };
    return timesOf(
        namesOf(names), [&](const char* name) { return segment.construct<Bytes>(name)(); },
        [&](const char* name) { return find(name) != nullptr ? segment.allocate(kBlock) : nullptr; }, find);
}

MemoryTimes boostMakesEach(int names)
{
    std::list<ipc::managed_shared_memory> segments;
    const auto create = [&](const char* name) {
        const std::string file = std::string("boost.") + name;
        ipc::shared_memory_object::remove(file.c_str());
        segments.emplace_back(ipc::create_only, file.c_str(), kObjectSize);
        return segments.back().construct<Bytes>(name)();
    };
    return timesOf(
        namesOf(names), create, [](const char* name) { return name; }, [](const char* name) { return name; });
}

MemoryTimes libraryOpens(int names)
{
    const std::string last = namesOf(names).back();
    MemoryTimes times{};
    times.reopening = processorNsOf([&] { requireMemory(qm_getPersistentMemory(last.c_str())); });
    qm_freePersistentMemory();
    return times;
}

MemoryTimes boostOpensEach(int names)
{
    const Names all = namesOf(names);
    std::list<ipc::managed_shared_memory> segments;
    MemoryTimes times{};
    times.reopening = processorNsOf([&] {
        for (const std::string& name : all) {
            segments.emplace_back(ipc::open_only, ("boost." + name).c_str());
            requireMemory(segments.back().find<Bytes>(name.c_str()).first);
        }
    });
    return times;
}

void MemoryRuns::run(MemorySide side, int names)
{
    void* const shared =
        ::mmap(nullptr, sizeof(MemoryTimes), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    require(shared != MAP_FAILED, "mmap");
    auto* const times = static_cast<MemoryTimes*>(shared);
    (void)inNewProcess([&] {
        *times = side(names);
        return 0.0;
    });
    all_.push_back(*times);
    (void)::munmap(shared, sizeof(MemoryTimes));
}

double MemoryRuns::median(double MemoryTimes::*which) const
{
    std::vector<double> values;
    for (const MemoryTimes& times : all_)
        values.push_back(times.*which);
    return percentile(values, 0.5);
}

MemoryComparison::MemoryComparison(int names)
{
    for (int i = 0; i < kRuns; ++i) {
        made.run(libraryMakes, names);
        boost.run(boostMakes, names);
        boostEach.run(boostMakesEach, names);
        opened.run(libraryOpens, names);
        boostOpened.run(boostOpensEach, names);
    }
}
