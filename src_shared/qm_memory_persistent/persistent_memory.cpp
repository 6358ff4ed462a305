#include "qm_memory_persistent/directory.hpp"
#include <qm/log.h>
#include <qm/persistent_memory.h>

#include <cerrno>
#include <cstring>
#include <string_view>

namespace {

using namespace qm::persistent;

constexpr std::string_view kMainName = "qm_persMem_main";

/// 0, or why a name cannot be that of an object (an error number).
int faultOf(const char* name)
{
    if (name == nullptr || *name == '\0' || name == kMainName || std::strchr(name, '/') != nullptr)
        return EINVAL;
    return std::strlen(name) < kNameSize ? 0 : ENAMETOOLONG;
}

void* refuse(const char* name)
{
    qm_printf(qm_error, "Persistent memory not available: %s - creating failed\n", name);
    return nullptr;
}

/// Bytes left in a fragment.
int32_t bytesLeft(const memDesc& desc)
{
    return static_cast<int32_t>(static_cast<int64_t>(desc.size) + (desc.address - desc.firstFree));
}

void* allocate(const Object& object, uint32_t size)
{
    memDesc* desc = object.desc;
    while (bytesLeft(*desc) < int64_t{size}) {
        if (desc->nextDesc != nullptr) {
            desc = desc->nextDesc;
            continue;
        }
        void* const block = enlarge(object, *desc, size);
        if (block != nullptr) return block;
        qm_printf(qm_debug, "Could not enlarge persistent memory\n");
        // Deliberate: not null, although nothing of it is the caller's.
        return desc->firstFree;
    }
    char* const block = desc->firstFree;
    desc->firstFree += size;
    return block;
}

}  // namespace

void* qm_allocPersistentMemory(const char* name, uint32_t size)
{
    if (const int fault = faultOf(name); fault != 0) {
        qm_printf(qm_debug, "PersMem file creation failed: %s\n", std::strerror(fault));
        return refuse(name == nullptr ? "(null)" : name);
    }
    if (!loadList()) {
        // What is on the list cannot be seen: the name may have an object, which must not be lost.
        qm_printf(qm_debug, "Could not add PersMem to list: %s\n", name);
        return refuse(name);
    }
    Object object = getMemDesc(name);
    if (!object) object = createObject(name);
    return object ? allocate(object, size) : refuse(name);
}

void* qm_getPersistentMemory(const char* name)
{
    if (name != nullptr && loadList())
        if (const Object object = getMemDesc(name)) return object.desc + 1;  // its root, without touching it
    qm_printf(qm_debug, "Persistent memory not available %s\n", name == nullptr ? "(null)" : name);
    return nullptr;
}

void qm_freePersistentMemory(void)
{
    if (loadList()) unlinkAll();
}
