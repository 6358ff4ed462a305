#include "allocations.hpp"
#include "log_capture.hpp"
#include <qm.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <regex>
#include <string>
#include <utility>
#include <vector>

namespace {

using testing::Each;
using testing::ElementsAre;

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
    EXPECT_THAT((std::vector<uint32_t>{module->type, module->id}), ElementsAre(3, 5));
    EXPECT_THAT((std::vector<int>{module->is_initiator, module->pci_bus, module->pci_slot}), Each(0));
    EXPECT_THAT((std::vector<void*>{module->custom_data, module->block_registry}), Each(nullptr));

    module->pci_slot = 7;
    EXPECT_EQ(nullptr, qm_module_register(3, 5));
    EXPECT_STREQ("Module already registered\n", pQmErrorStr);
    for (const auto& [type, id] :
         {std::pair{4U, 5U}, {2U, 5U}, {3U, 6U}, {3U, 4U}, {UINT32_MAX, UINT32_MAX}}) {
        EXPECT_EQ(nullptr, qm_module_get_single(type, id));
        EXPECT_EQ(nullptr, qm_module_get_custom_data(type, id));
        qm_module_unregister(type, id);
    }
    EXPECT_EQ(module, qm_module_get_single(3, 5));
    EXPECT_EQ(7, module->pci_slot);
    qm_module_unregister(3, 5);
    EXPECT_EQ(nullptr, qm_module_get_single(3, 5));
}

TEST(Module, KeepsItsPlaceWhileOthersComeAndGo)
{
    std::vector<qm_mod_info*> all;
    for (const uint32_t id : {4U, 0U, 9U, 2U})
        all.push_back(qm_module_register(1, id));
    qm_mod_info* const other = qm_module_register(6, 0);
    EXPECT_THAT(modules(1, -1), ElementsAre(all[1], all[3], all[0], all[2])) << "in order of identifier";

    qm_module_unregister(1, 9);
    qm_module_unregister(1, 0);
    EXPECT_THAT(modules(1, -7), ElementsAre(all[3], all[0]));
    EXPECT_THAT(modules(6, -1), ElementsAre(other));
    qm_module_unregister(1, 2);
    qm_module_unregister(1, 4);
    EXPECT_THAT(modules(1, -1), ElementsAre());
    qm_module_unregister(6, 0);
    EXPECT_NE(nullptr, qm_module_register(0, 0)) << "the registry begins anew";
    qm_module_unregister(0, 0);
}

TEST(Module, ListIsAllocatedForAnIdAndForAKnownType)
{
    bool allocated = false;
    EXPECT_THAT(modules(1, 0, &allocated), ElementsAre());
    EXPECT_TRUE(allocated) << "an identifier, though nothing is registered";

    qm_mod_info* const module = qm_module_register(2, 0);
    EXPECT_THAT(modules(2, 0, &allocated), ElementsAre(module));
    EXPECT_TRUE(allocated);
    for (const uint32_t unknown : {1U, 3U, UINT32_MAX}) {
        EXPECT_THAT(modules(unknown, -1, &allocated), ElementsAre());
        EXPECT_FALSE(allocated) << "all modules of unknown type " << unknown;
    }
    qm_module_unregister(2, 0);
}

TEST(Module, CarriesCustomDataThatTheCallerFrees)
{
    qm_mod_info* const module = qm_module_register(0, 1);
    EXPECT_EQ(nullptr, qm_module_get_custom_data(0, 1));
    const Freed<void> first(qm_module_alloc_custom_data(module, 16), &std::free);
    const Freed<void> second(qm_module_alloc_custom_data(module, 64), &std::free);
    std::memset(first.get(), 1, 16);
    std::memset(second.get(), 2, 64);
    EXPECT_EQ(second.get(), qm_module_get_custom_data(0, 1));
    qm_module_unregister(0, 1);
}

TEST(Block, IsNewWithNothingButTypeAndIdAndOnlyOnce)
{
    qm_mod_info* const module = qm_module_register(0, 0);
    EXPECT_EQ(nullptr, qm_block_get(module, 0, 0)) << "before any registration";
    EXPECT_EQ(nullptr, qm_block_get_by_uid(module, 0, 0));

    qm_block_info* const block = qm_block_register(module, 2, 1);
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
    EXPECT_EQ(3U, qm_block_get_by_uid(module, 4, 13)->id);
    qm_block_unregister(module, 4, 2);
    EXPECT_EQ(2U, qm_block_register_with_uid(module, 4, kLarge)->id) << "the hole";
    EXPECT_EQ(4U, qm_block_register_with_uid(module, 4, kLarge)->id) << "past the end";
    EXPECT_EQ(0U, qm_block_register_with_uid(module, 5, kLarge)->id) << "an empty type";

    EXPECT_EQ(kLarge, qm_block_get(module, 4, 4)->uid);
    EXPECT_EQ(2U, qm_block_get_by_uid(module, 4, kLarge)->id) << "the first of two";
    EXPECT_EQ(nullptr, qm_block_get_by_uid(module, 4, kLarge & UINT32_MAX));
    EXPECT_EQ(nullptr, qm_block_get_by_uid(module, 4, 12)) << "unregistered";

    for (const uint32_t id : {0U, 1U, 2U, 3U, 4U})
        qm_block_unregister(module, 4, id);
    EXPECT_NE(nullptr, module->block_registry);
    qm_block_unregister(module, 5, 0);
    EXPECT_EQ(nullptr, module->block_registry);
    qm_module_unregister(0, 0);
}

TEST(Registry, TablesGrowToTheLargestIdOnly)
{
    qm_mod_info* const module = qm_module_register(0, 0);
    qm_block_register(module, 2, 7);
    qm_block_register(module, 2, 1);
    qm_block_register(module, 0, 0);
    const qm_block_type_list& base = *module->block_registry;
    EXPECT_THAT((std::vector{base.Length, base.nBlockTypes, base.nBlocks}), ElementsAre(3, 2, 3));
    EXPECT_EQ(nullptr, base.types[1]);
    const qm_block_list& list = *base.types[2];
    EXPECT_THAT((std::vector{list.Length, list.nBlocks}), ElementsAre(8, 2));
    EXPECT_EQ(nullptr, list.blocks[6]);
    qm_block_unregister(module, 2, 7);
    EXPECT_EQ(8U, list.Length) << "tables do not shrink";
    EXPECT_EQ(2U, base.nBlocks);
    qm_block_unregister(module, 2, 1);
    qm_block_unregister(module, 0, 0);
    qm_module_unregister(0, 0);
}

TEST(Registry, AModuleGoesWithItsBlocksButLeavesTheTablesAndDataOfItsCallers)
{
    qm_mod_info* const module = qm_module_register(0, 0);
    const Freed<void> moduleData(qm_module_alloc_custom_data(module, 8), &std::free);
    const Freed<void> blockData(std::malloc(8), &std::free);
    qm_block_register(module, 1, 0)->custom_data = blockData.get();
    qm_block_register(module, 1, 3);
    const Freed<qm_block_list*> types(module->block_registry->types, &std::free);
    const Freed<qm_block_info*> blocks(types.get()[1]->blocks, &std::free);
    qm_module_unregister(0, 0);
    EXPECT_EQ(nullptr, qm_module_get_single(0, 0));
}  // freeing here what the library freed too would end the process

TEST(Registry, AnIndexWithoutATableForItFails)
{
    qm_mod_info* const module = qm_module_register(0, 0);
    EXPECT_EQ(nullptr, qm_module_register(UINT32_MAX, 0));
    EXPECT_STREQ("Failed to allocate memory for new module type list\n", pQmErrorStr);
    EXPECT_EQ(nullptr, qm_module_register(0, UINT32_MAX));
    EXPECT_STREQ("Failed to allocate memory for new module list\n", pQmErrorStr);
    EXPECT_EQ(nullptr, qm_block_register(module, UINT32_MAX, 0));
    EXPECT_STREQ("Failed to allocate memory for new block type list\n", pQmErrorStr);
    EXPECT_EQ(nullptr, qm_block_register(module, 0, UINT32_MAX));
    EXPECT_STREQ("Failed to allocate memory for new block list\n", pQmErrorStr);

    EXPECT_EQ(module, qm_module_get_single(0, 0));
    EXPECT_NE(nullptr, qm_block_register(module, 0, 0));
    qm_block_unregister(module, 0, 0);
    qm_module_unregister(0, 0);
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
    const char* const reasons[] = {"Failed to allocate memory for module registry\n",
                                   "Failed to allocate memory for new module type list\n",
                                   "Failed to allocate memory for module list\n",
                                   "Failed to allocate memory for new module list\n",
                                   "Failed to allocate memory for new module registry entry\n",
                                   "Failed to allocate memory for block registry\n",
                                   "Failed to allocate memory for new block type list\n",
                                   "Failed to allocate memory for block list\n",
                                   "Failed to allocate memory for new block list\n",
                                   "Failed to allocate memory for new block entry\n"};
    int allocations = 0;
    for (const char* const reason : reasons) {
        allocationsUntilFailure = ++allocations;
        EXPECT_EQ(nullptr, openBoard()) << allocations;
        EXPECT_STREQ(reason, pQmErrorStr);
        EXPECT_NE(nullptr, openBoard()) << "tried again after: " << reason;
        closeBoard();
    }
    allocationsUntilFailure = ++allocations;
    EXPECT_NE(nullptr, openBoard());
    EXPECT_EQ(1, allocationsUntilFailure) << "an allocation whose failure was not looked at";
    closeBoard();
}

std::string written(const qm::test::LogCapture& log)
{
    std::string text;
    for (const std::string& line : log.lines())
        text += std::regex_replace(line, std::regex("0x0x[0-9a-f]+$"), "ADDRESS") + "\n";
    return text;
}

TEST(Registry, TellsTheLogItsWholeLife)
{
    qm::test::LogCapture log;
    qm_mod_info* const module = qm_module_register(1, 0);
    qm_module_register(1, 0);
    qm_block_register(module, 2, 1);
    qm_block_register_with_uid(module, 2, 77);
    qm_block_unregister(module, 2, 5);
    qm_block_unregister(module, 2, 1);
    qm_block_unregister(module, 2, 0);
    const std::string first = written(log);
    qm_block_register(module, 0, 3);
    const Freed<qm_block_list*> types(module->block_registry->types, &std::free);
    const Freed<qm_block_info*> blocks(types.get()[0]->blocks, &std::free);
    log.clear();
    qm_module_unregister(1, 0);
    qm_module_unregister(1, 0);

    EXPECT_EQ(R"(debug QM: Register module [type 1, id 0]
trace QM: Creating module registry
trace QM: Module registry: ADDRESS
trace QM: Enlarge registry from 0 to 2 module types
trace QM: New module type list: ADDRESS
trace QM: Creating new module list struct for type 1
trace QM: New module list struct : ADDRESS
trace QM: Enlarge module list from 0 to 1 modules
trace QM: New module list: ADDRESS
debug QM: Register module [type 1, id 0]
debug QM: Register block [type 2, id 1] for module [type 1, id 0]
trace QM: Creating block registry
trace QM: Block registry: ADDRESS
trace QM: Enlarge registry from 0 to 3 block types
trace QM: New block type list: ADDRESS
trace QM: Creating new block list struct for type 2
trace QM: New block list struct: ADDRESS
trace QM: Enlarge block list from 0 to 2 blocks
trace QM: New block list: ADDRESS
debug QM: Register block by UID [type 2, uid 77] for module [type 1, id 0]
trace QM: Found free block ID slot 0
debug QM: Register block [type 2, id 0] for module [type 1, id 0]
debug QM: Unregistering block [type 2, id 5] for module [type 1, id 0]
debug QM: No block registered for: [type 2, id 5]
debug QM: Unregistering block [type 2, id 1] for module [type 1, id 0]
debug QM: Unregistering block [type 2, id 0] for module [type 1, id 0]
debug QM: Cleaning up block list for type 2
debug QM: Cleaning up block registry for module [type 1, id 0]
debug QM: Unregister module [type 1, id 0]
debug QM: Cleaning up block registry for module [type 1, id 0]
trace QM: Cleaning up 1 block types
trace QM: Cleaning up 4 blocks for type 0
trace QM: Cleaning up block [type 0, id 3]
trace QM: Cleaning up block list for type 0
trace QM: Cleaning up block type list
debug QM: Cleaning up module list for type 1
debug QM: Cleaning up module registry base
debug QM: Unregister module [type 1, id 0]
debug QM: No module registered for: [type 1, id 0]
)",
              first + written(log));
}

}  // namespace
