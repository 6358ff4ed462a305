#pragma once

#include "qm_error.hpp"
#include <qm/log.h>
#include <qm/registry.h>

#include <algorithm>
#include <cstdlib>
#include <limits>

/// Modules by type and identifier, and blocks by type and identifier within a module, are kept by the same
/// steps; a Level names the records, their members and the texts of one of the two.
namespace qm::registry {

/// Identifiers are small integers; a table for one beyond this is refused like one that memory has no room
/// for.
constexpr uint64_t kMaxSlots = uint64_t{1} << 24;

/// Grows a table to exactly index + 1 slots; false, with the table as it was, when it cannot.
template <class Entry>
bool growTo(Entry**& slots, uint32_t& length, uint32_t index)
{
    const uint64_t grown = uint64_t{index} + 1;
    if (grown > kMaxSlots) return false;
    auto** const table = static_cast<Entry**>(std::malloc(grown * sizeof(Entry*)));
    if (table == nullptr) return false;
    std::fill(std::copy_n(slots, length, table), table + grown, nullptr);
    std::free(slots);
    slots = table;
    length = static_cast<uint32_t>(grown);
    return true;
}

/// Allocates a record with every member zero; null when out of memory.
template <class Record>
Record* newRecord()
{
    auto* const record = static_cast<Record*>(std::malloc(sizeof(Record)));
    if (record != nullptr) *record = Record{};
    return record;
}

/// The list of a type, or null.
template <class Level>
typename Level::List* findList(const typename Level::Base* base, uint32_t type)
{
    return base != nullptr && type < base->Length ? base->types[type] : nullptr;
}

/// The entry of a type and identifier, or null.
template <class Level>
typename Level::Entry* findEntry(const typename Level::Base* base, uint32_t type, uint32_t id)
{
    const auto* const list = findList<Level>(base, type);
    return list != nullptr && id < list->Length ? (list->*Level::entries)[id] : nullptr;
}

template <class Level>
bool ensureBase(typename Level::Base*& base)
{
    if (base != nullptr) return true;
    qm_printf(qm_trace, Level::kCreatingBase);
    base = newRecord<typename Level::Base>();
    if (base == nullptr) {
        setErrorText(Level::kNoBase);
        return false;
    }
    qm_printf(qm_trace, Level::kBase, static_cast<void*>(base));
    return true;
}

template <class Level>
bool ensureTypeSlot(typename Level::Base& base, uint32_t type)
{
    if (type < base.Length) return true;
    qm_printf(qm_trace, Level::kEnlargeTypes, static_cast<int>(base.Length), static_cast<int>(type + 1));
    if (!growTo(base.types, base.Length, type)) {
        setErrorText(Level::kNoTypes);
        return false;
    }
    qm_printf(qm_trace, Level::kTypes, static_cast<void*>(base.types));
    return true;
}

template <class Level>
bool ensureList(typename Level::Base& base, uint32_t type)
{
    if (base.types[type] != nullptr) return true;
    qm_printf(qm_trace, Level::kCreatingList, static_cast<int>(type));
    base.types[type] = newRecord<typename Level::List>();
    if (base.types[type] == nullptr) {
        setErrorText(Level::kNoList);
        return false;
    }
    ++(base.*Level::typeCount);
    qm_printf(qm_trace, Level::kList, static_cast<void*>(base.types[type]));
    return true;
}

template <class Level>
bool ensureEntrySlot(typename Level::List& list, uint32_t id)
{
    if (id < list.Length) return true;
    qm_printf(qm_trace, Level::kEnlargeEntries, static_cast<int>(list.Length), static_cast<int>(id + 1));
    if (!growTo(list.*Level::entries, list.Length, id)) {
        setErrorText(Level::kNoEntries);
        return false;
    }
    qm_printf(qm_trace, Level::kEntries, static_cast<void*>(list.*Level::entries));
    return true;
}

/// Registers an entry; null and the reason in pQmErrorStr when that fails. What was built before the failing
/// step stays.
template <class Level>
typename Level::Entry* addEntry(typename Level::Base*& base, uint32_t type, uint32_t id)
{
    if (!ensureBase<Level>(base) || !ensureTypeSlot<Level>(*base, type) || !ensureList<Level>(*base, type))
        return nullptr;
    auto& list = *base->types[type];
    if (!ensureEntrySlot<Level>(list, id)) return nullptr;

    auto*& slot = (list.*Level::entries)[id];
    if (slot != nullptr) {
        setErrorText(Level::kOccupied);
        return nullptr;
    }
    slot = newRecord<typename Level::Entry>();
    if (slot == nullptr) {
        setErrorText(Level::kNoEntry);
        return nullptr;
    }
    slot->type = type;
    slot->id = id;
    ++(list.*Level::entryCount);
    ++(base->*Level::total);
    return slot;
}

/// Frees an entry that exists, and its list with the last one. True when that was the base's last list: the
/// caller then says so and calls removeBase().
template <class Level>
bool removeEntry(typename Level::Base& base, uint32_t type, uint32_t id)
{
    auto*& list = base.types[type];
    auto*& slot = (list->*Level::entries)[id];
    std::free(slot);
    slot = nullptr;
    --(base.*Level::total);
    if (--(list->*Level::entryCount) > 0) return false;

    qm_printf(qm_debug, Level::kCleaningList, static_cast<int>(type));
    std::free(list->*Level::entries);
    std::free(list);
    list = nullptr;
    return --(base.*Level::typeCount) == 0;
}

template <class Level>
void removeBase(typename Level::Base*& base)
{
    std::free(base->types);
    std::free(base);
    base = nullptr;
}

}  // namespace qm::registry
