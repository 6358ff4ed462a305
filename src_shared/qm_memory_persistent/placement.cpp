#include "qm_memory_persistent/placement.hpp"

#include "qm_memory_persistent/format.hpp"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>

namespace qm::persistent {

namespace {

constexpr uintptr_t kHint = 0x7700000000;
constexpr uintptr_t kTries = 256;
/// Objects lie above what the directory may be given, so that it never takes a place recorded for one.
constexpr uintptr_t kObjectsBegin = kHint + 2 * kTries * kUnit;
constexpr uintptr_t kObjectsEnd = 0x8000000000;

/// End of the highest piece of an object in the region.
uintptr_t objectsTop = kObjectsBegin;

void* map(uintptr_t address, int flags, int file, std::size_t offset, std::size_t size)
{
    return ::mmap(reinterpret_cast<void*>(address), size, PROT_READ | PROT_WRITE, MAP_SHARED | flags, file,
                  static_cast<off_t>(offset));
}

/// Tries one address after the other, because the kernel takes a hint that is in use for none at all.
void* mapFrom(uintptr_t address, int file, std::size_t offset, std::size_t size)
{
    for (uintptr_t tries = 0; tries < kTries; ++tries, address += kUnit) {
        void* const mapping = map(address, MAP_FIXED_NOREPLACE, file, offset, size);
        if (mapping != MAP_FAILED || errno != EEXIST) return mapping;
    }
    return map(kHint, 0, file, offset, size);
}

void keepTop(const void* mapping, std::size_t size)
{
    const auto begin = reinterpret_cast<uintptr_t>(mapping);
    if (begin < kObjectsBegin || begin >= kObjectsEnd) return;
    objectsTop = std::max(objectsTop, begin + size);
}

}  // namespace

void* mapDirectory(int file, std::size_t size)
{
    return mapFrom(kHint, file, 0, size);
}

void* mapNew(int file, std::size_t offset, std::size_t size)
{
    void* const mapping = mapFrom(objectsTop, file, offset, size);
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
