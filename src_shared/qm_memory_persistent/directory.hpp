#pragma once

#include "qm_memory_persistent/format.hpp"

/// The list of named objects, as this process has opened it.
namespace qm::persistent {

/// A named object of the list.
struct Object
{
    memDesc* desc;   ///< null: there is none
    uint32_t entry;  ///< its number in the list

    explicit operator bool() const { return desc != nullptr; }
};

/// Opens the directory and maps all objects, unless that is done already. On failure messages, and nothing is
/// mapped, so that the next call can try again.
bool loadList();

/// Looks a name up. The list is loaded.
Object getMemDesc(const char* name);

/// Makes an object of one empty fragment and puts it on the list, which is loaded. None, and messages, on
/// failure.
Object createObject(const char* name);

/// Adds a fragment with one block of `size` bytes behind `last`; the block, or null and messages.
void* enlarge(const Object& object, memDesc& last, uint32_t size);

/// Unlinks all objects of the list, which is loaded, and the directory, and forgets them. Mappings stay.
void unlinkAll();

}  // namespace qm::persistent
