#pragma once

#include "qm_memory_persistent/format.hpp"

#include <array>
#include <cstring>
#include <functional>
#include <string_view>

namespace qm::persistent {

/// Finds an entry by its name without walking the list: a hash table of this process over the shared entries.
class NameIndex
{
public:
    void clear() { cells_ = {}; }

    void add(const listEle* list, uint32_t entry)
    {
        const std::size_t hash = hashOf(list[entry].name);
        std::size_t at = hash;
        while (cells_[at % kCells].entryPlusOne != 0)
            ++at;
        cells_[at % kCells] = {tagOf(hash), static_cast<uint16_t>(entry + 1)};
    }

    /// The entry's number, or kMaxEntries when there is none.
    [[nodiscard]] uint32_t find(const listEle* list, const char* name) const
    {
        const std::size_t hash = hashOf(name);
        for (std::size_t at = hash; cells_[at % kCells].entryPlusOne != 0; ++at) {
            const Cell cell = cells_[at % kCells];
            const uint32_t entry = cell.entryPlusOne - 1U;
            if (cell.tag == tagOf(hash) && std::strncmp(list[entry].name, name, kNameSize) == 0) return entry;
        }
        return kMaxEntries;
    }

private:
    static constexpr std::size_t kCells = 4096;  // four times as many as entries: always a free one

    struct Cell
    {
        uint16_t tag;
        uint16_t entryPlusOne;  // 0: free
    };

    static std::size_t hashOf(const char* name) { return std::hash<std::string_view>{}(name); }
    static uint16_t tagOf(std::size_t hash) { return static_cast<uint16_t>(hash >> 48); }

    std::array<Cell, kCells> cells_{};
};

}  // namespace qm::persistent
