#include "qm_module_registry/registry_level.hpp"

#include <span>

namespace {

struct BlockLevel
{
    using Base = qm_block_type_list;
    using List = qm_block_list;
    using Entry = qm_block_info;

    static constexpr auto typeCount = &Base::nBlockTypes;
    static constexpr auto total = &Base::nBlocks;
    static constexpr auto entries = &List::blocks;
    static constexpr auto entryCount = &List::nBlocks;

    static constexpr char kCreatingBase[] = "Creating block registry\n";
    static constexpr char kNoBase[] = "Failed to allocate memory for block registry\n";
    static constexpr char kBase[] = "Block registry: 0x%p\n";
    static constexpr char kEnlargeTypes[] = "Enlarge registry from %d to %d block types\n";
    static constexpr char kNoTypes[] = "Failed to allocate memory for new block type list\n";
    static constexpr char kTypes[] = "New block type list: 0x%p\n";
    static constexpr char kCreatingList[] = "Creating new block list struct for type %d\n";
    static constexpr char kNoList[] = "Failed to allocate memory for block list\n";
    static constexpr char kList[] = "New block list struct: 0x%p\n";
    static constexpr char kEnlargeEntries[] = "Enlarge block list from %d to %d blocks\n";
    static constexpr char kNoEntries[] = "Failed to allocate memory for new block list\n";
    static constexpr char kEntries[] = "New block list: 0x%p\n";
    static constexpr char kOccupied[] = "Block already registered\n";
    static constexpr char kNoEntry[] = "Failed to allocate memory for new block entry\n";
    static constexpr char kCleaningList[] = "Cleaning up block list for type %d\n";
};

uint32_t lowestFreeId(qm_mod_info* module, uint32_t block_type)
{
    uint32_t id = 0;
    while (qm_block_get(module, block_type, id) != nullptr)
        ++id;
    return id;
}

}  // namespace

qm_block_info* qm_block_register(qm_mod_info* module, uint32_t block_type, uint32_t block_id)
{
    qm_printf(qm_debug, "Register block [type %d, id %d] for module [type %d, id %d]\n",
              static_cast<int>(block_type), static_cast<int>(block_id), static_cast<int>(module->type),
              static_cast<int>(module->id));
    return qm::registry::addEntry<BlockLevel>(module->block_registry, block_type, block_id);
}

qm_block_info* qm_block_register_with_uid(qm_mod_info* module, uint32_t block_type, uint64_t uid)
{
    qm_printf(qm_debug, "Register block by UID [type %d, uid %ld] for module [type %d, id %d]\n",
              static_cast<int>(block_type), static_cast<long>(uid), static_cast<int>(module->type),
              static_cast<int>(module->id));
    const uint32_t id = lowestFreeId(module, block_type);
    qm_printf(qm_trace, "Found free block ID slot %d\n", static_cast<int>(id));
    qm_block_info* const block = qm_block_register(module, block_type, id);
    if (block != nullptr) block->uid = uid;
    return block;
}

qm_block_info* qm_block_get(qm_mod_info* module, uint32_t block_type, uint32_t block_id)
{
    return qm::registry::findEntry<BlockLevel>(module->block_registry, block_type, block_id);
}

qm_block_info* qm_block_get_by_uid(qm_mod_info* module, uint32_t block_type, uint64_t uid)
{
    const auto* const list = qm::registry::findList<BlockLevel>(module->block_registry, block_type);
    if (list == nullptr) return nullptr;
    for (qm_block_info* const block : std::span(list->blocks, list->Length))
        if (block != nullptr && block->uid == uid) return block;
    return nullptr;
}

void qm_block_unregister(qm_mod_info* module, uint32_t block_type, uint32_t block_id)
{
    qm_printf(qm_debug, "Unregistering block [type %d, id %d] for module [type %d, id %d]\n",
              static_cast<int>(block_type), static_cast<int>(block_id), static_cast<int>(module->type),
              static_cast<int>(module->id));
    if (qm_block_get(module, block_type, block_id) == nullptr) {
        qm_printf(qm_debug, "No block registered for: [type %d, id %d]\n", static_cast<int>(block_type),
                  static_cast<int>(block_id));
        return;
    }
    if (!qm::registry::removeEntry<BlockLevel>(*module->block_registry, block_type, block_id)) return;
    qm_printf(qm_debug, "Cleaning up block registry for module [type %d, id %d]\n",
              static_cast<int>(module->type), static_cast<int>(module->id));
    qm::registry::removeBase<BlockLevel>(module->block_registry);
}
