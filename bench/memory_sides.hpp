#pragma once

#include <vector>

/// Persistent memory and two ways to do the same with Boost.Interprocess, in a /dev/shm of the caller's own.

/// Nanoseconds of what is done with the last of a number of names, when the others are there.
struct MemoryTimes
{
    double newName, block, lastName, anyName, reopening;
};

using MemorySide = MemoryTimes (*)(int names);

MemoryTimes libraryMakes(int names);
/// Opens what libraryMakes() has left, and frees it.
MemoryTimes libraryOpens(int names);

/// All names in one segment.
MemoryTimes boostMakes(int names);

/// A segment for each name, as the library has a file for each: one can grow or go without the others.
MemoryTimes boostMakesEach(int names);
/// Opens what boostMakesEach() has left.
MemoryTimes boostOpensEach(int names);

/// Medians of one side's runs, each in a new process.
class MemoryRuns
{
public:
    void run(MemorySide side, int names);
    [[nodiscard]] double median(double MemoryTimes::*which) const;

private:
    std::vector<MemoryTimes> all_;
};

/// All sides with this many names, by turns.
struct MemoryComparison
{
    explicit MemoryComparison(int names);

    MemoryRuns made, opened, boost, boostEach, boostOpened;
};
