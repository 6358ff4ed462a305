#include "qm_module_registry/registry_level.hpp"

#include <span>

namespace {

struct ModuleLevel
{
    using Base = qm_module_type_list;
    using List = qm_module_list;
    using Entry = qm_mod_info;

    static constexpr auto typeCount = &Base::nTypes;
    static constexpr auto total = &Base::nModules;
    static constexpr auto entries = &List::modules;
    static constexpr auto entryCount = &List::nModules;

    static constexpr char kCreatingBase[] = "Creating module registry\n";
    static constexpr char kNoBase[] = "Failed to allocate memory for module registry\n";
    static constexpr char kBase[] = "Module registry: 0x%p\n";
    static constexpr char kEnlargeTypes[] = "Enlarge registry from %d to %d module types\n";
    static constexpr char kNoTypes[] = "Failed to allocate memory for new module type list\n";
    static constexpr char kTypes[] = "New module type list: 0x%p\n";
    static constexpr char kCreatingList[] = "Creating new module list struct for type %d\n";
    static constexpr char kNoList[] = "Failed to allocate memory for module list\n";
    static constexpr char kList[] = "New module list struct : 0x%p\n";
    static constexpr char kEnlargeEntries[] = "Enlarge module list from %d to %d modules\n";
    static constexpr char kNoEntries[] = "Failed to allocate memory for new module list\n";
    static constexpr char kEntries[] = "New module list: 0x%p\n";
    static constexpr char kOccupied[] = "Module already registered\n";
    static constexpr char kNoEntry[] = "Failed to allocate memory for new module registry entry\n";
    static constexpr char kCleaningList[] = "Cleaning up module list for type %d\n";
};

qm_module_type_list* module_registry = nullptr;

void cleanUpBlockList(qm_block_list* list, uint32_t type)
{
    qm_printf(qm_trace, "Cleaning up %d blocks for type %d\n", static_cast<int>(list->Length),
              static_cast<int>(type));
    for (uint32_t id = 0; id < list->Length; ++id) {
        if (list->blocks[id] == nullptr) continue;
        qm_printf(qm_trace, "Cleaning up block [type %d, id %d]\n", static_cast<int>(type),
                  static_cast<int>(id));
        std::free(list->blocks[id]);
    }
    qm_printf(qm_trace, "Cleaning up block list for type %d\n", static_cast<int>(type));
    std::free(list);
}

/// Deliberate: frees the records but not the tables that they hold, unlike qm_block_unregister().
void cleanUpBlockRegistry(qm_mod_info* module)
{
    qm_block_type_list* const registry = module->block_registry;
    if (registry == nullptr) return;
    qm_printf(qm_debug, "Cleaning up block registry for module [type %d, id %d]\n",
              static_cast<int>(module->type), static_cast<int>(module->id));
    qm_printf(qm_trace, "Cleaning up %d block types\n", static_cast<int>(registry->Length));
    for (uint32_t type = 0; type < registry->Length; ++type)
        if (registry->types[type] != nullptr) cleanUpBlockList(registry->types[type], type);
    qm_printf(qm_trace, "Cleaning up block type list\n");
    std::free(registry);
}

int32_t collectSingle(qm_mod_list* modules, uint32_t mod_type, uint32_t mod_id)
{
    // Allocated before the look-up: the caller frees the array whatever the result.
    *modules = static_cast<qm_mod_list>(std::malloc(sizeof(qm_mod_info*)));
    qm_mod_info* const module = qm_module_get_single(mod_type, mod_id);
    if (module == nullptr || *modules == nullptr) return 0;
    (*modules)[0] = module;
    return 1;
}

int32_t collectAll(qm_mod_list* modules, uint32_t mod_type)
{
    const auto* const list = qm::registry::findList<ModuleLevel>(module_registry, mod_type);
    if (list == nullptr) return 0;
    *modules = static_cast<qm_mod_list>(std::malloc(list->nModules * sizeof(qm_mod_info*)));
    if (*modules == nullptr) return 0;
    uint32_t collected = 0;
    for (qm_mod_info* const module : std::span(list->modules, list->Length)) {
        if (collected == list->nModules) break;
        if (module != nullptr) (*modules)[collected++] = module;
    }
    return static_cast<int32_t>(collected);
}

}  // namespace

qm_mod_info* qm_module_register(uint32_t mod_type, uint32_t mod_id)
{
    qm_printf(qm_debug, "Register module [type %d, id %d]\n", static_cast<int>(mod_type),
              static_cast<int>(mod_id));
    return qm::registry::addEntry<ModuleLevel>(module_registry, mod_type, mod_id);
}

void qm_module_unregister(uint32_t mod_type, uint32_t mod_id)
{
    qm_printf(qm_debug, "Unregister module [type %d, id %d]\n", static_cast<int>(mod_type),
              static_cast<int>(mod_id));
    qm_mod_info* const module = qm_module_get_single(mod_type, mod_id);
    if (module == nullptr) {
        qm_printf(qm_debug, "No module registered for: [type %d, id %d]\n", static_cast<int>(mod_type),
                  static_cast<int>(mod_id));
        return;
    }
    cleanUpBlockRegistry(module);
    if (!qm::registry::removeEntry<ModuleLevel>(*module_registry, mod_type, mod_id)) return;
    qm_printf(qm_debug, "Cleaning up module registry base\n");
    qm::registry::removeBase<ModuleLevel>(module_registry);
}

qm_mod_info* qm_module_get_single(uint32_t mod_type, uint32_t mod_id)
{
    return qm::registry::findEntry<ModuleLevel>(module_registry, mod_type, mod_id);
}

int32_t qm_module_get(qm_mod_list* modules, uint32_t mod_type, int32_t mod_id)
{
    return mod_id >= 0 ? collectSingle(modules, mod_type, static_cast<uint32_t>(mod_id))
                       : collectAll(modules, mod_type);
}

void* qm_module_get_custom_data(uint32_t mod_type, uint32_t mod_id)
{
    const qm_mod_info* const module = qm_module_get_single(mod_type, mod_id);
    return module != nullptr ? module->custom_data : nullptr;
}

void* qm_module_alloc_custom_data(qm_mod_info* module, uint32_t nBytes)
{
    // Deliberate: an earlier block is not freed; it is the caller's.
    module->custom_data = std::malloc(nBytes);
    return module->custom_data;
}
