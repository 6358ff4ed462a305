#include "qm_memory_persistent/shared_memory.hpp"

#include "qm_memory_persistent/placement.hpp"
#include <qm/log.h>

#include <sys/mman.h>

#include <cstring>
#include <utility>

namespace qm::persistent {

namespace {

constexpr mode_t kMode = 0777;

void report(const char* what)
{
    qm_printf(qm_debug, "%s failed: %s\n", what, std::strerror(errno));
}

FileDescriptor openOrCreate(const char* path, int exclusive)
{
    FileDescriptor file = FileDescriptor::adopt(::shm_open(path, O_RDWR | O_CREAT | exclusive, kMode));
    // The kernel does not "create" another user's object that exists, not even for root.
    if (!file && errno == EACCES && exclusive == 0) {
        file = FileDescriptor::adopt(::shm_open(path, O_RDWR, 0));
        if (!file) errno = EACCES;  // none is there: what counts is why it cannot be made
    }
    if (!file) report("shm_open");
    return file;
}

/// Takes the memory for bytes that this library writes itself: when it is short, touching them would end the
/// process.
bool reserve(int object, uint64_t offset, std::size_t bytes)
{
    int result = 0;
    do
        result = ::fallocate(object, 0, static_cast<off_t>(offset), static_cast<off_t>(bytes));
    while (result != 0 && errno == EINTR);
    return result == 0 || errno == EOPNOTSUPP;
}

/// Sets an object's size, and reserves `bytes` at `offset`.
bool setSize(int object, uint64_t size, uint64_t offset, std::size_t bytes)
{
    if (::ftruncate(object, static_cast<off_t>(size)) == 0 && reserve(object, offset, bytes)) return true;
    report("ftruncate");
    return false;
}

using Map = void* (*)(int object);

ShMem create(const char* path, int exclusive, std::size_t size, std::size_t reserved, Map map)
{
    constexpr char* kNone = nullptr;
    FileDescriptor file = openOrCreate(path, exclusive);
    if (!file || !setSize(file.get(), size, 0, reserved)) return {std::move(file), kNone};
    void* const mapping = map(file.get());
    if (mapping == MAP_FAILED) {
        report("mmap");
        return {std::move(file), kNone};
    }
    // Deliberate: descriptor 0 is a failure.
    if (file.get() == 0) {
        (void)::munmap(mapping, size);
        errno = EBADF;
        return {std::move(file), kNone};
    }
    return {std::move(file), static_cast<char*>(mapping)};
}

}  // namespace

ShMem createMainShMem(const char* path)
{
    return create(path, 0, kMainSize, kMainSize, [](int object) { return mapDirectory(object, kMainSize); });
}

ShMem createShMem(const char* path)
{
    // Exclusive: what could not be discarded is another's, and not empty.
    return create(path, O_EXCL, kUnit, sizeof(memDesc), [](int object) { return mapNew(object, 0, kUnit); });
}

FileDescriptor openShMem(const char* path)
{
    FileDescriptor object = FileDescriptor::adopt(::shm_open(path, O_RDWR, 0));
    if (!object) report("shm_open");
    return object;
}

char* enlargeFile(int object, uint32_t size, uint64_t bytes)
{
    if (size + bytes > UINT32_MAX) {  // the object's size is kept in 32 bits
        errno = EFBIG;
        report("ftruncate");
        return nullptr;
    }
    if (!setSize(object, size + bytes, size, sizeof(memDesc))) return nullptr;
    void* const mapping = mapNew(object, size, bytes);
    if (mapping != MAP_FAILED) return static_cast<char*>(mapping);
    report("mmaping additional memory");
    return nullptr;
}

}  // namespace qm::persistent
