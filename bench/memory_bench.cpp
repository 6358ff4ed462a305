// Persistent memory beside named objects of Boost.Interprocess, with 1000 names, in a /dev/shm of its own.

#include "table.hpp"
#include <qm.h>

#include <boost/interprocess/managed_shared_memory.hpp>
#include <boost/log/core.hpp>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <list>
#include <random>
#include <string>

namespace {

namespace ipc = boost::interprocess;

constexpr std::size_t kNames = 1000;
constexpr int kLookUps = 100'000;
constexpr int kBlocks = 1000;  // of one name: as many as fit into the memory that it begins with
constexpr int kRuns = 15;
constexpr std::size_t kBlock = 48;
constexpr std::size_t kObjectSize = 65536;

using Bytes = std::array<char, kBlock>;

/// Names in an order that no branch predictor knows; the last one is the last in every way.
const std::vector<std::string>& names()
{
    static const auto all = [] {
        std::vector<std::string> made;
        for (std::size_t i = 1; i <= kNames; ++i)
            made.push_back("calibration" + std::to_string(i));
        std::shuffle(made.begin(), made.end() - 1,
                     std::minstd_rand{});  // NOLINT(cert-msc51-cpp): always the same
        return made;
    }();
    return all;
}

void require(const void* result)
{
    if (result != nullptr) return;
    (void)std::fputs("qm_memory_bench: persistent memory or its baseline failed\n", stderr);
    ::_exit(1);
}

template <typename Act>
double nsPer(int times, Act act)
{
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < times; ++i)
        act(i);
    const std::chrono::duration<double, std::nano> took = std::chrono::steady_clock::now() - begin;
    return took.count() / times;
}

struct Times
{
    double newName, block, lastName, anyName, reopening;
};

/// Times what `create`, `addBlock` and `find` do with the 1000th name, when the others are there.
template <typename Create, typename AddBlock, typename Find>
Times timesOf(Create create, AddBlock addBlock, Find find)
{
    for (std::size_t i = 0; i + 1 < kNames; ++i)
        require(create(names()[i].c_str()));
    const char* const last = names().back().c_str();
    Times times{};
    times.newName = nsPer(1, [&](int) { require(create(last)); });
    times.block = nsPer(kBlocks, [&](int) { require(addBlock(last)); });
    times.lastName = nsPer(kLookUps, [&](int) { require(find(last)); });
    times.anyName =
        nsPer(kLookUps, [&](int i) { require(find(names()[static_cast<std::size_t>(i) % kNames].c_str())); });
    return times;
}

Times libraryMakes()
{
    const auto alloc = [](const char* name) { return qm_allocPersistentMemory(name, kBlock); };
    return timesOf(alloc, alloc, qm_getPersistentMemory);
}

/// All names in one segment.
Times boostMakes()
{
    ipc::shared_memory_object::remove("segment");
    ipc::managed_shared_memory segment(ipc::create_only, "segment", kNames * kObjectSize);
    const auto find = [&](const char* name) { return segment.find<Bytes>(name).first; };
    return timesOf(
        [&](const char* name) { return segment.construct<Bytes>(name)(); },
        [&](const char* name) { return find(name) != nullptr ? segment.allocate(kBlock) : nullptr; }, find);
}

/// A segment for each name, as the library has a file for each: one can grow or go without the others.
Times boostMakesEach()
{
    std::list<ipc::managed_shared_memory> segments;
    const auto create = [&](const char* name) {
        const std::string file = std::string("boost.") + name;
        ipc::shared_memory_object::remove(file.c_str());
        segments.emplace_back(ipc::create_only, file.c_str(), kObjectSize);
        return segments.back().construct<Bytes>(name)();
    };
    return timesOf(
        create, [](const char* name) { return name; }, [](const char* name) { return name; });
}

Times libraryOpens()
{
    Times times{};
    times.reopening = nsPer(1, [](int) { require(qm_getPersistentMemory(names().back().c_str())); });
    qm_freePersistentMemory();
    return times;
}

Times boostOpensEach()
{
    std::list<ipc::managed_shared_memory> segments;
    Times times{};
    times.reopening = nsPer(1, [&](int) {
        for (const std::string& name : names()) {
            segments.emplace_back(ipc::open_only, ("boost." + name).c_str());
            require(segments.back().find<Bytes>(name.c_str()).first);
        }
    });
    return times;
}

Times inNewProcess(Times (*side)())
{
    void* const shared =
        ::mmap(nullptr, sizeof(Times), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) std::exit(1);
    auto* const times = static_cast<Times*>(shared);
    const pid_t child = ::fork();
    if (child == 0) {
        *times = side();
        ::_exit(0);
    }
    int status = 1;
    if (::waitpid(child, &status, 0) != child || status != 0) std::exit(1);
    return *times;
}

/// Medians of one side's runs.
class Runs
{
public:
    void add(const Times& times) { all_.push_back(times); }
    [[nodiscard]] double median(double Times::*which) const
    {
        std::vector<double> values;
        for (const Times& times : all_)
            values.push_back(times.*which);
        return percentile(values, 0.5);
    }

private:
    std::vector<Times> all_;
};

/// Nobody's persistent memory is touched.
void enterOwnSharedMemory()
{
    const int user = ::geteuid() == 0 ? 0 : CLONE_NEWUSER;
    if (::unshare(CLONE_NEWNS | user) == 0 &&
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
        ::mount("tmpfs", "/dev/shm", "tmpfs", 0, nullptr) == 0)
        return;
    std::perror("qm_memory_bench: cannot mount a /dev/shm of its own");
    std::exit(1);
}

}  // namespace

int main()
{
    enterOwnSharedMemory();
    boost::log::core::get()->set_logging_enabled(false);
    Runs made, opened, boost, boostEach, boostOpened;
    for (int run = 0; run < kRuns; ++run) {
        made.add(inNewProcess(libraryMakes));
        boost.add(inNewProcess(boostMakes));
        boostEach.add(inNewProcess(boostMakesEach));
        opened.add(inNewProcess(libraryOpens));
        boostOpened.add(inNewProcess(boostOpensEach));
    }
    const auto row = [&](const char* name, const char* baseline, const Runs& theirs, double Times::*which) {
        return ratioRow(name, baseline, made.median(which), theirs.median(which), "ns", 1.0);
    };
    constexpr double kMs = 1e6;
    // A name of its own file and its own growth costs system calls; a name within one segment of fixed size
    // does not. Shown, not limited.
    const double within = boost.median(&Times::newName);
    const double created = made.median(&Times::newName);
    return printRows({
        row("`qm_getPersistentMemory`, the 1000th name", "`managed_shared_memory::find`", boost,
            &Times::lastName),
        row("`qm_getPersistentMemory`, any of 1000 names", "`managed_shared_memory::find`", boost,
            &Times::anyName),
        row("`qm_allocPersistentMemory`, a block of the 1000th name",
            "`managed_shared_memory::find`, `allocate`", boost, &Times::block),
        row("`qm_allocPersistentMemory`, a new 1000th name",
            "`managed_shared_memory` of its own for the name", boostEach, &Times::newName),
        {"`qm_allocPersistentMemory`, a new 1000th name", "`managed_shared_memory::construct` in one segment",
         created, within, "ns", "", true},
        {"1000 objects mapped by a new process", "1000 `managed_shared_memory` opened",
         opened.median(&Times::reopening) / kMs, boostOpened.median(&Times::reopening) / kMs, "ms", "", true},
    });
}
