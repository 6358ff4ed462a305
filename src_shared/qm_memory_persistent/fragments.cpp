#include "qm_memory_persistent/fragments.hpp"

#include "qm_common/errno_keeper.hpp"
#include "qm_memory_persistent/placement.hpp"
#include <qm/log.h>

#include <sys/mman.h>
#include <sys/stat.h>

#include <cstring>
#include <optional>

namespace qm::persistent {

namespace {

uint64_t fileSize(int object)
{
    struct stat status
    {};
    return ::fstat(object, &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

/// The descriptor at an offset of the file; errno when there is none.
std::optional<memDesc> readDesc(int object, uint64_t offset)
{
    // Touching a mapping beyond the file's end would end the process.
    if (offset + sizeof(memDesc) > fileSize(object)) {
        errno = ENXIO;
        return std::nullopt;
    }
    const void* const mapping =
        ::mmap(nullptr, sizeof(memDesc), PROT_READ, MAP_SHARED, object, static_cast<off_t>(offset));
    if (mapping == MAP_FAILED) return std::nullopt;
    memDesc desc{};
    std::memcpy(&desc, mapping, sizeof desc);
    // Released at once: it could lie where a fragment has to be.
    (void)::munmap(const_cast<void*>(mapping), sizeof desc);
    return desc;
}

/// Whether a descriptor speaks of a fragment that lies in its file and has its blocks in itself.
bool isSound(const memDesc& desc, uint64_t bytesOfFile)
{
    const auto address = reinterpret_cast<uintptr_t>(desc.address);
    const uint64_t used = reinterpret_cast<uintptr_t>(desc.firstFree) - address;
    return address != 0 && desc.size != 0 && desc.size % kUnit == 0 && desc.size <= bytesOfFile &&
           reinterpret_cast<uintptr_t>(desc.root) == address + sizeof(memDesc) && used >= sizeof(memDesc) &&
           used <= desc.size;
}

bool reportWrongAddress(const void* got, const void* expected)
{
    qm_printf(qm_debug, "mmap 2 failed: got 0x%16llX, expected 0x%16llX\n",
              static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(got)),
              static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(expected)));
    return false;
}

/// Maps the fragment at a file offset, which must be recorded to lie at `expected`.
bool mapFragment(int object, uint64_t offset, memDesc* expected)
{
    const auto desc = readDesc(object, offset);
    if (!desc) {
        qm_printf(qm_debug, "mmap 1 failed: %s\n", std::strerror(errno));
        return false;
    }
    if (desc->address != reinterpret_cast<char*>(expected))
        return reportWrongAddress(desc->address, expected);
    void* mapping = MAP_FAILED;
    if (isSound(*desc, fileSize(object) - offset))
        mapping = mapAt(expected, object, offset, desc->size);
    else
        errno = EINVAL;
    if (mapping == MAP_FAILED) {
        qm_printf(qm_debug, "mmap 2 failed: %s\n", std::strerror(errno));
        return false;
    }
    if (mapping == expected) return true;
    (void)::munmap(mapping, desc->size);
    return reportWrongAddress(mapping, expected);
}

void unmap(memDesc* first, std::size_t count)
{
    const ErrnoKeeper kept;
    for (memDesc* desc = first; count > 0 && desc != nullptr; --count) {
        memDesc* const next = desc->nextDesc;
        (void)::munmap(desc, desc->size);
        desc = next;
    }
}

/// Whether the object's recorded size is that of its fragments. A process that died when it had linked a new
/// fragment has not counted it; that is made good.
bool settleTotalSize(memDesc& first, uint64_t size, uint64_t lastSize)
{
    if (first.totalSize == size) return true;
    if (size == lastSize || first.totalSize != size - lastSize || size > UINT32_MAX) return false;
    first.totalSize = static_cast<uint32_t>(size);
    return true;
}

}  // namespace

bool mapFragments(int object, memDesc* first)
{
    uint64_t offset = 0;
    uint64_t lastSize = 0;
    std::size_t count = 0;
    memDesc* desc = first;
    // Ends with the file, whatever the fragments' links say: each one takes its share of it.
    do {
        if (!mapFragment(object, offset, desc)) {
            if (count == 0)
                qm_printf(qm_debug, "Open main fragment failed\n");
            else
                qm_printf(qm_debug, "Open fragment at offset 0x%X failed\n", static_cast<unsigned>(offset));
            unmap(first, count);
            return false;
        }
        ++count;
        lastSize = desc->size;
        offset += lastSize;
        desc = desc->nextDesc;
    } while (desc != nullptr);
    if (settleTotalSize(*first, offset, lastSize)) return true;
    qm_printf(qm_debug, "Open main fragment failed\n");
    unmap(first, count);
    return false;
}

void unmapFragments(memDesc* first)
{
    unmap(first, SIZE_MAX);
}

bool beginsWith(int object, const memDesc& desc)
{
    const auto found = readDesc(object, 0);
    return found && std::memcmp(&*found, &desc, sizeof desc) == 0;
}

memDesc* initDesc(char* mapping, uint64_t size, uint32_t used)
{
    char* const root = mapping + sizeof(memDesc);
    auto* const desc = reinterpret_cast<memDesc*>(mapping);
    *desc = {.fileDesc = 0,
             .totalSize = 0,
             .nextDesc = nullptr,
             .size = size,
             .address = mapping,
             .root = root,
             .firstFree = root + used};
    return desc;
}

}  // namespace qm::persistent
