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

uint64_t sizeOf(int object)
{
    struct stat status
    {};
    return ::fstat(object, &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

/// An object's file.
struct File
{
    int descriptor;
    uint64_t size;
};

/// The descriptor at an offset of the file; errno when there is none.
std::optional<memDesc> readDesc(const File& file, uint64_t offset)
{
    // Touching a mapping beyond the file's end would end the process.
    if (offset + sizeof(memDesc) > file.size) {
        errno = ENXIO;
        return std::nullopt;
    }
    void* const mapping =
        ::mmap(nullptr, sizeof(memDesc), PROT_READ, MAP_SHARED, file.descriptor, static_cast<off_t>(offset));
    if (mapping == MAP_FAILED) return std::nullopt;
    memDesc desc{};
    std::memcpy(&desc, mapping, sizeof desc);
    // Released at once: it could lie where a fragment has to be.
    (void)::munmap(mapping, sizeof desc);
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

void reportWrongAddress(const void* got, const void* expected)
{
    qm_printf(qm_debug, "mmap 2 failed: got 0x%16llX, expected 0x%16llX\n",
              static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(got)),
              static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(expected)));
}

/// Maps the fragment at a file offset, which must be recorded to lie at `expected`; its descriptor.
std::optional<memDesc> mapFragment(const File& file, uint64_t offset, memDesc* expected)
{
    const auto desc = readDesc(file, offset);
    if (!desc) {
        qm_printf(qm_debug, "mmap 1 failed: %s\n", std::strerror(errno));
        return std::nullopt;
    }
    if (desc->address != reinterpret_cast<char*>(expected)) {
        reportWrongAddress(desc->address, expected);
        return std::nullopt;
    }
    void* mapping = MAP_FAILED;
    if (isSound(*desc, file.size - offset))
        mapping = mapAt(expected, file.descriptor, offset, desc->size);
    else
        errno = EINVAL;
    if (mapping == expected) return desc;
    if (mapping == MAP_FAILED) {
        qm_printf(qm_debug, "mmap 2 failed: %s\n", std::strerror(errno));
    } else {
        (void)::munmap(mapping, desc->size);
        reportWrongAddress(mapping, expected);
    }
    return std::nullopt;
}

/// Maps an object that has never grown where it is recorded to be, and reads its descriptor there: its size
/// is known, which saves a mapping. None, and nothing mapped, when it is another one, or damaged.
std::optional<memDesc> mapSmallObject(const File& file, memDesc* expected)
{
    if (expected == nullptr || file.size != kUnit) return std::nullopt;
    void* const mapping = mapAt(expected, file.descriptor, 0, kUnit);
    if (mapping == MAP_FAILED) return std::nullopt;
    if (mapping == expected) {
        const memDesc desc = *expected;
        if (desc.size == kUnit && desc.address == mapping && isSound(desc, kUnit)) return desc;
    }
    (void)::munmap(mapping, kUnit);
    return std::nullopt;
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

/// What the fragments of an object have come to.
struct Chain
{
    std::size_t count = 0;
    uint64_t size = 0;
    uint64_t lastSize = 0;
};

/// Whether the object's recorded size is that of its fragments. A process that died when it had linked a new
/// fragment has not counted it; that is made good.
bool settleTotalSize(memDesc& first, uint32_t recorded, const Chain& chain)
{
    if (recorded == chain.size) return true;
    if (chain.count == 1 || recorded != chain.size - chain.lastSize || chain.size > UINT32_MAX) return false;
    first.totalSize = static_cast<uint32_t>(chain.size);
    return true;
}

void reportFragment(uint64_t offset)
{
    if (offset == 0)
        qm_printf(qm_debug, "Open main fragment failed\n");
    else
        qm_printf(qm_debug, "Open fragment at offset 0x%X failed\n", static_cast<unsigned>(offset));
}

}  // namespace

bool mapFragments(int object, memDesc* first)
{
    const File file{object, sizeOf(object)};
    Chain chain;
    uint32_t recordedSize = 0;
    memDesc* desc = first;
    // Ends with the file, whatever the fragments' links say: each one takes its share of it.
    do {
        auto found = chain.count == 0 ? mapSmallObject(file, desc) : std::nullopt;
        if (!found) found = mapFragment(file, chain.size, desc);
        if (!found) {
            reportFragment(chain.size);
            unmap(first, chain.count);
            return false;
        }
        if (chain.count == 0) recordedSize = found->totalSize;
        chain = {chain.count + 1, chain.size + found->size, found->size};
        desc = found->nextDesc;
    } while (desc != nullptr);
    if (settleTotalSize(*first, recordedSize, chain)) return true;
    reportFragment(0);
    unmap(first, chain.count);
    return false;
}

void unmapFragments(memDesc* first)
{
    unmap(first, SIZE_MAX);
}

bool beginsWith(int object, const memDesc& desc)
{
    const auto found = readDesc({object, sizeOf(object)}, 0);
    return found && std::memcmp(&*found, &desc, sizeof desc) == 0;
}

bool isUnfinishedObject(int object)
{
    const File file{object, sizeOf(object)};
    const auto desc = readDesc(file, 0);
    return desc && file.size == kUnit && desc->firstFree == nullptr;
}

memDesc* initDesc(char* mapping, uint64_t size, uint32_t used, const FirstFragment& first)
{
    char* const root = mapping + sizeof(memDesc);
    auto* const desc = reinterpret_cast<memDesc*>(mapping);
    *desc = {.fileDesc = first.fileDesc,
             .totalSize = first.totalSize,
             .nextDesc = nullptr,
             .size = size,
             .address = mapping,
             .root = root,
             .firstFree = nullptr};
    publish(desc->firstFree, root + used);
    return desc;
}

}  // namespace qm::persistent
