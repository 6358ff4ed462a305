#pragma once

#include "qm_common/file_descriptor.hpp"
#include "qm_memory_persistent/format.hpp"

#include <array>
#include <cstdio>

namespace qm::persistent {

/// What shm_open() takes: "/" and a name, of which no more is read than fits into a list entry.
class ObjectPath
{
public:
    explicit ObjectPath(const char* name)
    {
        (void)std::snprintf(path_.data(), path_.size(), "/%.*s", static_cast<int>(kNameSize), name);
    }
    [[nodiscard]] const char* c_str() const { return path_.data(); }
    [[nodiscard]] const char* name() const { return path_.data() + 1; }

private:
    std::array<char, kNameSize + 2> path_;
};

/// A shared-memory object and the address of its first byte; the mapping outlives this record.
struct ShMem
{
    FileDescriptor file;
    char* mapping;

    explicit operator bool() const { return mapping != nullptr; }
};

/// Opens the directory, or makes it. On failure a message, and nothing mapped.
ShMem createMainShMem(const char* path);

/// Opens a named object, or makes it, with its first fragment. On failure a message, and nothing mapped.
ShMem createShMem(const char* path);

/// Opens an object that must exist. On failure a message.
FileDescriptor openShMem(const char* path);

/// Adds `bytes` to an object of `size` and maps them. Null and a message on failure.
char* enlargeFile(int object, uint32_t size, uint64_t bytes);

}  // namespace qm::persistent
