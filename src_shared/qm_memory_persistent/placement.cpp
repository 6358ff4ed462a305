#include "qm_memory_persistent/placement.hpp"

#include "qm_memory_persistent/format.hpp"

#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace qm::persistent {

namespace {

constexpr uintptr_t kHint = 0x7700000000;
constexpr uintptr_t kTries = 64;
/// Objects lie above what the directory may be given, so that it never takes a place recorded for one.
constexpr uintptr_t kObjects = 2 * kTries * kUnit;

struct Region
{
    uintptr_t begin;
    uintptr_t size;
    uintptr_t used;  ///< by objects: end of the highest piece, counted from begin
};

/// The second one is for programs that have something else at the first, as the address sanitizer has.
std::array<Region, 2> regions = {{{kHint, 0x900000000, kObjects}, {0x200000000000, 0x10000000000, kObjects}}};

void* map(uintptr_t address, int flags, int file, std::size_t offset, std::size_t size)
{
    return ::mmap(reinterpret_cast<void*>(address), size, PROT_READ | PROT_WRITE, MAP_SHARED | flags, file,
                  static_cast<off_t>(offset));
}

/// Tries one address after the other, because the kernel takes a hint that is in use for none at all.
void* mapFrom(uintptr_t begin, int file, std::size_t offset, std::size_t size)
{
    void* mapping = MAP_FAILED;
    for (uintptr_t address = begin; address < begin + kTries * kUnit; address += kUnit) {
        mapping = map(address, MAP_FIXED_NOREPLACE, file, offset, size);
        if (mapping != MAP_FAILED || errno != EEXIST) break;
    }
    return mapping;
}

/// Maps at a region's place for the directory, or for objects.
template <typename Place>
void* mapInRegions(Place place, int file, std::size_t offset, std::size_t size)
{
    for (const Region& region : regions) {
        void* const mapping = mapFrom(region.begin + place(region), file, offset, size);
        if (mapping != MAP_FAILED || errno != EEXIST) return mapping;
    }
    return map(kHint, 0, file, offset, size);
}

void keepTop(const void* mapping, std::size_t size)
{
    const auto begin = reinterpret_cast<uintptr_t>(mapping);
    for (Region& region : regions)
        if (begin >= region.begin && begin - region.begin < region.size)
            region.used = std::max(region.used, begin - region.begin + size);
}

}  // namespace

void* mapDirectory(int file, std::size_t size)
{
    return mapInRegions([](const Region&) { return uintptr_t{0}; }, file, 0, size);
}

void* mapNew(int file, std::size_t offset, std::size_t size)
{
    void* const mapping = mapInRegions([](const Region& region) { return region.used; }, file, offset, size);
    if (mapping != MAP_FAILED) keepTop(mapping, size);
    return mapping;
}

void* mapAt(void* address, int file, std::size_t offset, std::size_t size)
{
    void* const mapping = map(reinterpret_cast<uintptr_t>(address), MAP_FIXED_NOREPLACE, file, offset, size);
    if (mapping != MAP_FAILED) keepTop(mapping, size);
    return mapping;
}

}  // namespace qm::persistent
