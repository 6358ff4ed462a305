#pragma once

#include <cstddef>

/// Where persistent memory is mapped. It must get the same addresses in every later process, so new pieces go
/// to a region that programs, libraries, heap and stack keep away from.
namespace qm::persistent {

/// Maps the directory, whose address may differ between processes; MAP_FAILED and errno on failure.
void* mapDirectory(int file, std::size_t size);

/// Maps a new piece of an object at an address that later processes are likely to have free; MAP_FAILED and
/// errno on failure.
void* mapNew(int file, std::size_t offset, std::size_t size);

/// Maps a piece of an object at this address and nowhere else, and never over what is there already;
/// MAP_FAILED and errno on failure. An old kernel may give another address.
void* mapAt(void* address, int file, std::size_t offset, std::size_t size);

}  // namespace qm::persistent
