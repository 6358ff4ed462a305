#include "allocations.hpp"
#include "test.hpp"

namespace {

using namespace qm::test;

template <typename T>
using Freed = std::unique_ptr<T, decltype(&std::free)>;

/// What qm_module_get() delivers, with a mark of our own for an output that was left alone.
std::vector<qm_mod_info*> modules(uint32_t type, int32_t id, bool* allocated = nullptr)
{
    qm_mod_info* untouched = nullptr;
    qm_mod_list list = &untouched;
    const int32_t count = qm_module_get(&list, type, id);
    std::vector<qm_mod_info*> found(list, list + count);
    if (allocated != nullptr) *allocated = list != &untouched;
    if (list != &untouched) std::free(list);
    return found;
}

TEST(Module, IsNewWithNothingButTypeAndIdAndOnlyOnce)
{
    EXPECT_EQ(nullptr, qm_module_get_single(0, 0)) << "before any registration";
    qm_module_unregister(0, 0);
    qm_mod_info* const module = qm_module_register(3, 5);
    ASSERT_NE(nullptr, module);
    EXPECT_THAT((std::vector<int>{module->is_initiator, module->pci_bus, module->pci_slot}), Each(0));
    EXPECT_THAT((std::vector<void*>{module->custom_data, module->block_registry}), Each(nullptr));

    module->pci_slot = 7;
    EXPECT_EQ(nullptr, qm_module_register(3, 5));
    EXPECT_STREQ("Module already registered\n", pQmErrorStr);
    for (const auto& [type, id] : {std::pair{4U, 5U}, {2U, 5U}, {3U, 6U}, {3U, 4U}}) {
        EXPECT_EQ(nullptr, qm_module_get_single(type, id));
        EXPECT_EQ(nullptr, qm_module_get_custom_data(type, id));
        qm_module_unregister(type, id);
    }
    EXPECT_EQ(module, qm_module_get_single(3, 5));
    EXPECT_EQ(7, module->pci_slot);
    qm_module_unregister(3, 5);
    EXPECT_EQ(nullptr, qm_module_get_single(3, 5));
}

TEST(Module, IsListedInOrderWhileOthersComeAndGo)
{
    std::vector<qm_mod_info*> all;
    for (const uint32_t id : {4U, 0U, 9U, 2U})
        all.push_back(qm_module_register(1, id));
    qm_mod_info* const other = qm_module_register(6, 0);
    bool allocated = false;
    EXPECT_THAT(modules(2, 0, &allocated), ElementsAre());
    EXPECT_TRUE(allocated) << "an identifier";
    EXPECT_THAT(modules(2, -1, &allocated), ElementsAre());
    EXPECT_FALSE(allocated) << "all modules of an unknown type";
    EXPECT_THAT(modules(6, 0), ElementsAre(other));
    EXPECT_THAT(modules(1, -1), ElementsAre(all[1], all[3], all[0], all[2])) << "in order of identifier";

    qm_module_unregister(1, 9);
    qm_module_unregister(1, 0);
    EXPECT_THAT(modules(1, -7), ElementsAre(all[3], all[0]));
    for (const uint32_t id : {2U, 4U})
        qm_module_unregister(1, id);
    qm_module_unregister(6, 0);
    EXPECT_NE(nullptr, qm_module_register(0, 0)) << "the registry begins anew";
    qm_module_unregister(0, 0);
}

TEST(Block, IsNewWithNothingButTypeAndIdAndOnlyOnce)
{
    qm_mod_info* const module = qm_module_register(0, 0);
    EXPECT_EQ(nullptr, qm_block_get(module, 0, 0)) << "before any registration";
    EXPECT_EQ(nullptr, qm_block_get_by_uid(module, 0, 0));

    const qm_block_info* const block = qm_block_register(module, 2, 1);
    ASSERT_NE(nullptr, block);
    EXPECT_THAT((std::vector{block->type, block->id}), ElementsAre(2, 1));
    EXPECT_EQ(nullptr, block->custom_data);
    EXPECT_EQ(nullptr, qm_block_register(module, 2, 1));
    EXPECT_STREQ("Block already registered\n", pQmErrorStr);
    EXPECT_EQ(nullptr, qm_block_get_by_uid(module, 3, 0)) << "a type beyond the table";
    qm_block_unregister(module, 2, 2);
    EXPECT_EQ(block, qm_block_get(module, 2, 1));
    qm_block_unregister(module, 2, 1);
    EXPECT_EQ(nullptr, module->block_registry);
    qm_module_unregister(0, 0);
}

TEST(Block, WithAUidTakesTheLowestFreeId)
{
    constexpr uint64_t kLarge = 0xFEDC'BA98'7654'3210;
    qm_mod_info* const module = qm_module_register(0, 0);
    for (const uint64_t uid : {10U, 11U, 12U, 13U})
        qm_block_register_with_uid(module, 4, uid);
    qm_block_unregister(module, 4, 2);
    EXPECT_EQ(2U, qm_block_register_with_uid(module, 4, kLarge)->id) << "the hole";
    EXPECT_EQ(4U, qm_block_register_with_uid(module, 4, kLarge)->id) << "past the end";
    EXPECT_EQ(0U, qm_block_register_with_uid(module, 5, kLarge)->id) << "an empty type";

    EXPECT_EQ(kLarge, qm_block_get(module, 4, 4)->uid);
    EXPECT_EQ(2U, qm_block_get_by_uid(module, 4, kLarge)->id) << "the first of two";
    for (const uint64_t uid : {uint64_t{12}, kLarge & 0xFFFF'FFFF})  // unregistered; half of one
        EXPECT_EQ(nullptr, qm_block_get_by_uid(module, 4, uid));

    for (const uint32_t id : {0U, 1U, 2U, 3U, 4U})
        qm_block_unregister(module, 4, id);
    qm_block_unregister(module, 5, 0);
    qm_module_unregister(0, 0);
}

TEST(Registry, AModuleGoesWithItsBlocksButLeavesTheTablesAndDataOfItsCallers)
{
    qm_mod_info* const module = qm_module_register(0, 0);
    const Freed<void> replaced(qm_module_alloc_custom_data(module, 8), &std::free);
    const Freed<void> moduleData(qm_module_alloc_custom_data(module, 64), &std::free);
    std::memset(moduleData.get(), 1, 64);
    EXPECT_EQ(moduleData.get(), qm_module_get_custom_data(0, 0));
    const Freed<void> blockData(std::malloc(8), &std::free);
    qm_block_register(module, 1, 0)->custom_data = blockData.get();
    qm_block_register(module, 1, 3);
    const Freed<qm_block_list*> types(module->block_registry->types, &std::free);
    const Freed<qm_block_info*> blocks(types.get()[1]->blocks, &std::free);
    const qm::test::LogCapture log;
    qm_module_unregister(0, 0);
    EXPECT_THAT(
        log.lines(),
        ElementsAre(
            "debug QM: Unregister module [type 0, id 0]",
            "debug QM: Cleaning up block registry for module [type 0, id 0]",
            "trace QM: Cleaning up 2 block types", "trace QM: Cleaning up 4 blocks for type 1",
            "trace QM: Cleaning up block [type 1, id 0]", "trace QM: Cleaning up block [type 1, id 3]",
            "trace QM: Cleaning up block list for type 1", "trace QM: Cleaning up block type list",
            "debug QM: Cleaning up module list for type 0", "debug QM: Cleaning up module registry base"))
        << "tables as long as their largest identifier";
}  // freeing here what the library freed too would end the process

TEST(Registry, AnIndexWithoutATableForItFails)
{
    qm_mod_info* const module = qm_module_register(0, 0);
    const std::string failed = "Failed to allocate memory for new ";
    EXPECT_EQ(nullptr, qm_module_register(UINT32_MAX, 0));
    EXPECT_EQ(failed + "module type list\n", pQmErrorStr);
    EXPECT_EQ(nullptr, qm_module_register(0, UINT32_MAX));
    EXPECT_EQ(failed + "module list\n", pQmErrorStr);
    EXPECT_EQ(nullptr, qm_block_register(module, UINT32_MAX, 0));
    EXPECT_EQ(failed + "block type list\n", pQmErrorStr);
    EXPECT_EQ(nullptr, qm_block_register(module, 0, UINT32_MAX));
    EXPECT_EQ(failed + "block list\n", pQmErrorStr);
    EXPECT_EQ(module, qm_module_get_single(0, 0));
}

/// A board with one block: everything that can be allocated is.
qm_block_info* openBoard()
{
    qm_mod_info* module = qm_module_get_single(2, 1);
    if (module == nullptr) module = qm_module_register(2, 1);
    return module == nullptr ? nullptr : qm_block_register(module, 1, 2);
}

void closeBoard()
{
    qm_block_unregister(qm_module_get_single(2, 1), 1, 2);
    qm_module_unregister(2, 1);
}

TEST(Registry, SurvivesEveryAllocationThatFails)
{
    const char* const whats[] = {"module registry",
                                 "new module type list",
                                 "module list",
                                 "new module list",
                                 "new module registry entry",
                                 "block registry",
                                 "new block type list",
                                 "block list",
                                 "new block list",
                                 "new block entry"};
    int allocations = 0;
    for (const std::string what : whats) {
        allocationsUntilFailure = ++allocations;
        EXPECT_EQ(nullptr, openBoard()) << allocations;
        EXPECT_EQ("Failed to allocate memory for " + what + "\n", pQmErrorStr);
        EXPECT_NE(nullptr, openBoard()) << "tried again after: " << what;
        closeBoard();
    }
    allocationsUntilFailure = ++allocations;
    EXPECT_NE(nullptr, openBoard());
    EXPECT_EQ(1, allocationsUntilFailure) << "an allocation whose failure was not looked at";
    allocationsUntilFailure = 0;  // what else allocates at the end of the process
    closeBoard();
}

}  // namespace
