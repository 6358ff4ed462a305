#include "test.hpp"

namespace {

using namespace qm::test;

using qm::IoModule;
using Registry = qm::IoModuleRegistry;

qm_PCIDevice boardAt(uint32_t bus, uint32_t slot)
{
    qm_PCIDevice device{};
    device.bus = bus;
    device.slot = slot;
    return device;
}

IoModule moduleAt(qm::ModuleTypes type, int32_t id, int32_t bus, int32_t slot)
{
    IoModule module(type, id);
    module.setPciInfo({bus, slot});
    return module;
}

}  // namespace

TEST(IoModule, IsUnknownAndNotLocatedAtFirst)
{
    const IoModule module;
    EXPECT_EQ(qm::nxAny, module.getType());
    EXPECT_EQ(0, module.getId());
    EXPECT_EQ(std::pair(-1, -1), module.getPciInfo());
    EXPECT_EQ(std::pair(-1, -1), IoModule(qm::kNx4024, 3).getPciInfo());
}

TEST(IoModuleRegistry, KeepsTheFirstOfAKindAndNumberUntilItIsRemoved)
{
    IoModule first(qm::nx230, 1);
    IoModule second(qm::nx230, 1);
    Registry::add(nullptr);
    Registry::add(&first);
    Registry::add(&second);
    EXPECT_EQ(&first, Registry::find(qm::nx230, 1));
    EXPECT_EQ(nullptr, Registry::find(qm::nx231, 1));
    EXPECT_EQ(nullptr, Registry::find(qm::nx230, 2));
    Registry::remove(qm::nx231, 1);
    Registry::remove(qm::nx230, 2);
    EXPECT_EQ(&first, Registry::find(qm::nx230, 1));
    Registry::remove(qm::nx230, 1);
    EXPECT_EQ(nullptr, Registry::find(qm::nx230, 1));
    EXPECT_EQ(1, first.getId());
    Registry::add(&second);
    EXPECT_EQ(&second, Registry::find(qm::nx230, 1));
}

TEST(IoModuleRegistry, FindsTheLatestModuleAtABusAndSlot)
{
    IoModule a = moduleAt(qm::kNx402, 1, 3, 5);
    IoModule b = moduleAt(qm::kNx403, 1, 3, 5);
    IoModule nowhere(qm::kNx423, 1);
    for (IoModule* module : {&a, &b, &nowhere})
        Registry::add(module);
    const auto find = [](const qm_PCIDevice& device) { return Registry::find(&device); };
    EXPECT_EQ(&b, find(boardAt(3, 5)));
    EXPECT_EQ(nullptr, find(boardAt(5, 3)));
    EXPECT_EQ(&nowhere, find(boardAt(0xFFFFFFFF, 0xFFFFFFFF)));
    EXPECT_EQ(nullptr, find(boardAt(0xFFFFFFFF, 5)));
    EXPECT_EQ(nullptr, Registry::find(nullptr));
    Registry::remove(qm::kNx403, 1);
    EXPECT_EQ(&a, find(boardAt(3, 5)));
}
