#pragma once

#include "qm_memory_persistent/format.hpp"

#include <atomic>

namespace qm::persistent {

/// Stores a value behind all stores before it: what a process finds that opens the memory after this one died
/// at any moment.
template <typename T>
void publish(T& place, T value)
{
    std::atomic_ref(place).store(value, std::memory_order_release);
}

/// Maps all fragments of an object where they are recorded to be, the first at `first`. On failure messages,
/// and none of them stays mapped.
bool mapFragments(int object, memDesc* first);

/// Unmaps what mapFragments() has mapped.
void unmapFragments(memDesc* first);

/// Whether the object begins with this very descriptor.
bool beginsWith(int object, const memDesc& desc);

/// Whether an object is as createShMem() leaves it: it ends with its only fragment, whose descriptor is not
/// complete.
bool isUnfinishedObject(int object);

/// What only the first fragment's descriptor says.
struct FirstFragment
{
    int32_t fileDesc = 0;
    uint32_t totalSize = 0;
};

/// Gives a fragment its descriptor, with `used` bytes allocated; firstFree comes last.
memDesc* initDesc(char* mapping, uint64_t size, uint32_t used, const FirstFragment& first = {});

}  // namespace qm::persistent
