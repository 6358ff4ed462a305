#pragma once

#include <qm/api.h>

#include <cstddef>

/// The format of persistent memory, shared by all processes since boot: native byte order, addresses
/// absolute.
namespace qm::persistent {

/// Objects and fragments are multiples of this.
constexpr uint32_t kUnit = 65536;
constexpr uint32_t kMaxEntries = 1023;
constexpr std::size_t kNameSize = 50;

/// At the start of every fragment. Fragments of one object lie back to back in its file.
struct memDesc
{
    int32_t fileDesc;    ///< first fragment: descriptor in the process that created the object
    uint32_t totalSize;  ///< first fragment: size of the whole object in bytes
    memDesc* nextDesc;   ///< null for the last fragment
    uint64_t size;       ///< of this fragment in bytes
    char* address;       ///< where the fragment is mapped, in every process
    char* root;          ///< first byte for users
    char* firstFree;     ///< next byte that is not allocated
};

QM_RECORD_SIZE(memDesc, 48);
QM_FIELD_OFFSET(memDesc, fileDesc, 0);
QM_FIELD_OFFSET(memDesc, totalSize, 4);
QM_FIELD_OFFSET(memDesc, nextDesc, 8);
QM_FIELD_OFFSET(memDesc, size, 16);
QM_FIELD_OFFSET(memDesc, address, 24);
QM_FIELD_OFFSET(memDesc, root, 32);
QM_FIELD_OFFSET(memDesc, firstFree, 40);

/// One named object.
struct listEle
{
    char name[kNameSize];  ///< without the leading "/", terminated
    char padding[6];
    memDesc* desc;  ///< of the object's first fragment
};

QM_RECORD_SIZE(listEle, 64);
QM_FIELD_OFFSET(listEle, name, 0);
QM_FIELD_OFFSET(listEle, padding, 50);
QM_FIELD_OFFSET(listEle, desc, 56);

/// The directory of named objects.
struct MainObject
{
    uint32_t ListLength;  ///< entries in use; above kMaxEntries when more were asked for
    char unused[508];
    listEle descList[kMaxEntries];  ///< in the order of creation
};

/// In whole pages. Earlier objects of 65536 bytes end within the list and are enlarged when they are opened.
constexpr std::size_t kMainSize = 69632;

static_assert(sizeof(MainObject) <= kMainSize);
QM_FIELD_OFFSET(MainObject, ListLength, 0);
QM_FIELD_OFFSET(MainObject, unused, 4);
QM_FIELD_OFFSET(MainObject, descList, 512);

}  // namespace qm::persistent
