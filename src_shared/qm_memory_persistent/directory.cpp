#include "qm_memory_persistent/directory.hpp"

#include "qm_memory_persistent/fragments.hpp"
#include "qm_memory_persistent/name_index.hpp"
#include "qm_memory_persistent/shared_memory.hpp"
#include <qm/log.h>

#include <sys/mman.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>

namespace qm::persistent {

namespace {

constexpr char mainFile_name[] = "/qm_persMem_main";

uint32_t* ListLength = nullptr;
listEle* descList = nullptr;  ///< null: not loaded
NameIndex names;

/// This process's descriptors of the objects (0: none); the recorded ones are another process's. An object
/// without one is opened when it grows.
std::array<int, kMaxEntries> files{};

uint32_t entriesIn(const MainObject& main)
{
    return std::min(main.ListLength, kMaxEntries);
}

/// Leaves the model half of the descriptors that it may have.
bool isSpare(int file)
{
    rlimit limit{};
    return ::getrlimit(RLIMIT_NOFILE, &limit) == 0 && static_cast<rlim_t>(file) < limit.rlim_cur / 2;
}

void keepFile(uint32_t entry, FileDescriptor file)
{
    if (isSpare(file.get())) files.at(entry) = file.release();
}

void forgetObjects()
{
    const CleanUpScope cleanUp;
    for (int& file : files)
        if (file != 0) ::close(std::exchange(file, 0));
    names.clear();
    descList = nullptr;
}

bool openEntry(const MainObject& main, uint32_t entry)
{
    const listEle& element = main.descList[entry];
    const ObjectPath path(element.name);
    qm_printf(qm_debug, "Open shMem %s\n", path.name());
    if (std::memchr(element.name, '\0', kNameSize) != nullptr) {
        FileDescriptor file = openShMem(path.c_str());
        if (file && mapFragments(file.get(), element.desc)) {
            names.add(main.descList, entry);
            keepFile(entry, std::move(file));
            return true;
        }
    }
    qm_printf(qm_info, "Open shared memory %s failed\n", path.name());
    return false;
}

/// Whether a process died when it had counted this entry and not yet made it: only the last one can be so,
/// and nothing of it has been given to anybody. Any other entry without an object is damage.
bool isUnfinished(const MainObject& main, uint32_t entry)
{
    if (entry + 1 != main.ListLength) return false;
    const listEle& element = main.descList[entry];
    if (element.name[0] == '\0') return element.desc == nullptr;
    if (std::memchr(element.name, '\0', kNameSize) == nullptr) return false;
    const FileDescriptor file =
        FileDescriptor::adopt(::shm_open(ObjectPath(element.name).c_str(), O_RDWR, 0));
    return file && isUnfinishedObject(file.get());
}

/// Takes the last entry off the list, so that the next one begins in an empty slot.
void dropLast(MainObject& main)
{
    const uint32_t entry = main.ListLength - 1;
    listEle& element = main.descList[entry];
    qm_printf(qm_debug, "Dropped unfinished shMem %s\n", ObjectPath(element.name).name());
    element.desc = nullptr;
    publish(element.name[0], '\0');
    element = {};
    publish(main.ListLength, entry);
}

/// Maps all objects of the list, or none.
bool openEntries(MainObject& main)
{
    const uint32_t count = entriesIn(main);
    for (uint32_t entry = 0; entry < count; ++entry) {
        if (isUnfinished(main, entry)) {
            dropLast(main);
            return true;
        }
        if (openEntry(main, entry)) continue;
        while (entry > 0)
            unmapFragments(main.descList[--entry].desc);
        forgetObjects();
        return false;
    }
    return true;
}

MainObject* openMain()
{
    const ShMem shMem = createMainShMem(mainFile_name);
    if (!shMem) {
        qm_printf(qm_debug, "PersMem main file creation failed\n");
        return nullptr;
    }
    auto* const main = reinterpret_cast<MainObject*>(shMem.mapping);
    qm_printf(qm_debug, "Loaded descriptor list. %d entries\n", static_cast<int>(main->ListLength));
    if (openEntries(*main)) return main;
    (void)::munmap(main, kMainSize);
    return nullptr;
}

/// Puts a new object on the list, if there is room. The count comes first: what a process leaves that dies on
/// the way is dropped when the list is loaded.
bool addToList(const char* name, const ShMem& shMem)
{
    const uint32_t entry = *ListLength;
    // What damage has left in an unused slot would lengthen the name.
    if (entry < kMaxEntries) descList[entry] = {};
    // Deliberate: each failure counts; but never so many that the list looks empty again.
    if (entry < UINT32_MAX) publish(*ListLength, entry + 1);
    if (entry >= kMaxEntries) {
        qm_printf(qm_debug, "PersMem list - running out of slots\n");
        return false;
    }
    listEle& element = descList[entry];
    std::string_view(name).substr(1).copy(element.name + 1, kNameSize - 2);
    publish(element.name[0], *name);  // last: half a name may be another object's
    publish(element.desc, reinterpret_cast<memDesc*>(shMem.mapping));
    (void)initDesc(shMem.mapping, kUnit, 0, {.fileDesc = shMem.file.get(), .totalSize = kUnit});
    names.add(descList, entry);
    return true;
}

bool unlink(const char* path, const char* name)
{
    if (::shm_unlink(path) == 0) {
        qm_printf(qm_debug, "Unlinked persistent memory: %s\n", name);
        return true;
    }
    qm_printf(qm_debug, "shm_unlink %s failed: %s\n", name, std::strerror(errno));
    return false;
}

/// Opens an object's file once more; the name may be that of another object by now.
FileDescriptor reopen(const Object& object)
{
    FileDescriptor file = openShMem(ObjectPath(descList[object.entry].name).c_str());
    if (!file || beginsWith(file.get(), *object.desc)) return file;
    qm_printf(qm_debug, "shm_open failed: %s\n", std::strerror(ESTALE));
    return FileDescriptor::adopt(-1);
}

char* enlargeObject(const Object& object, uint64_t bytes)
{
    const uint32_t size = object.desc->totalSize;
    if (files.at(object.entry) != 0) return enlargeFile(files.at(object.entry), size, bytes);
    const FileDescriptor file = reopen(object);
    return file ? enlargeFile(file.get(), size, bytes) : nullptr;
}

}  // namespace

bool loadList()
{
    if (descList != nullptr) return true;
    MainObject* const main = openMain();
    if (main == nullptr) {
        qm_printf(qm_debug, "PersMem list initialization failed\n");
        return false;
    }
    ListLength = &main->ListLength;
    descList = main->descList;
    return true;
}

Object getMemDesc(const char* name)
{
    const uint32_t entry = names.find(descList, name);
    if (entry == kMaxEntries) return {nullptr, entry};
    return {descList[entry].desc, entry};
}

Object createObject(const char* name)
{
    const ObjectPath path(name);
    (void)::shm_unlink(path.c_str());  // one that is not on the list is stale
    ShMem shMem = createShMem(path.c_str());
    if (shMem && addToList(name, shMem)) {
        const Object object = getMemDesc(name);
        keepFile(object.entry, std::move(shMem.file));
        return object;
    }
    if (shMem) {
        qm_printf(qm_debug, "Could not add PersMem to list: %s\n", name);
        (void)::munmap(shMem.mapping, kUnit);
    } else {
        qm_printf(qm_debug, "PersMem file creation failed: %s\n", std::strerror(errno));
    }
    (void)::shm_unlink(path.c_str());
    return {};
}

void* enlarge(const Object& object, memDesc& last, uint32_t size)
{
    const uint64_t bytes = ((size + sizeof(memDesc)) / kUnit + 1) * kUnit;
    char* const mapping = enlargeObject(object, bytes);
    if (mapping == nullptr) return nullptr;
    memDesc* const added = initDesc(mapping, bytes, size);
    publish(last.nextDesc, added);
    publish(object.desc->totalSize, object.desc->totalSize + static_cast<uint32_t>(bytes));
    return added->root;
}

void unlinkAll()
{
    const uint32_t count = std::min(*ListLength, kMaxEntries);
    const std::span elements(descList, count);
    for (const listEle& element : elements) {
        const ObjectPath path(element.name);
        (void)unlink(path.c_str(), path.name());
    }
    if (!unlink(mainFile_name, mainFile_name + 1)) {
        // It is found again, and must not name what is gone: no later process could open it.
        publish(*ListLength, 0U);
        std::ranges::fill(elements, listEle{});
    }
    forgetObjects();
}

}  // namespace qm::persistent
