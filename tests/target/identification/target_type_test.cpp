#include "test.hpp"
#include "world.hpp"

namespace {

using namespace qm::test;

constexpr uint16_t kIntel = 0x8086;

struct Model
{
    const char* name;
    unsigned slot, function;
    uint16_t port;
    uint16_t vendor, device;  // behind the port
    qm_TargetType type;
    const char* marketing;
};

const std::array<Model, 15> kModels{{
    {"KR411", 28, 6, 0xA116, 0x1B21, 0x1080, KR411, "Summit Core real-time target machine"},
    {"KR410", 28, 4, 0x1E18, 0x197B, 0x2368, KR410, "Summit real-time target machine"},
    {"Ridge", 28, 0, 0x8D10, 0x1A03, 0x1150, Ridge, "Summit Core+ real-time target machine"},
    {"Slate", 28, 6, 0xA116, 0x10B5, 0x8112, Slate, "Summit PCIe+ real-time target machine"},
    {"RoverV2", 28, 7, 0x1E1E, 0x10B5, 0x8606, RoverV2, "Rover real-time target machine"},
    {"Cube", 19, 1, 0x5AD9, 0x8086, 0x157B, Cube, "Cube real-time target machine"},
    {"Campus2", 28, 3, 0x1E16, 0x104C, 0x8240, Campus2, "Campus real-time target machine"},
    {"LowlandTopLayer", 28, 0, 0x0F48, 0x10B5, 0x8606, Lowland_TopLayer, "Lowland real-time target machine"},
    {"RoverAEG", 30, 0, 0x2448, 0x104C, 0x8025, RoverAEG, "Rover AEG real-time target machine"},
    {"Harbor", 28, 4, 0x2948, 0x8086, 0x109A, Harbor, "Summit real-time target machine"},
    {"KT411", 30, 0, 0x244E, 0x1283, 0x8213, KT411, "Summit real-time target machine"},
    {"RoverV3", 29, 1, 0xA331, 0x8086, 0x1533, RoverV3, "Rover real-time target machine (R3)"},
    {"Zenith", 28, 3, 0xA33B, 0x1B21, 0x1080, Zenith, "Summit real-time target machine (S3)"},
    {"Brisa", 28, 5, 0xA115, 0x1A03, 0x1150, Brisa, "Summit Core real-time target machine"},
    {"Otter", 19, 0, 0x5AD8, 0x8086, 0x1533, Otter, "Cube real-time target machine"},
}};

/** Bus behind a root port. */
unsigned busBehind(unsigned slot, unsigned function)
{
    return 8 * (slot - 16) + function + 1;
}

Board rootPort(unsigned slot, unsigned function, uint16_t device)
{
    const unsigned bus = busBehind(slot, function);
    return board(kIntel, device).at(0, slot, function).multiFunction().bridgeTo(bus, bus);
}

void addModel(World& world, const Model& model, unsigned cardSlot)
{
    world.add(rootPort(model.slot, model.function, model.port));
    world.add(board(model.vendor, model.device).at(busBehind(model.slot, model.function), cardSlot));
}

using TargetModel = testing::TestWithParam<size_t>;

TEST_P(TargetModel, IsKnownByItsCardAndComesBeforeEveryLaterModelOfTheTable)
{
    World world;
    const Model& model = kModels.at(GetParam());
    addModel(world, model, 1);
    for (size_t later = GetParam() + 1; later < kModels.size(); ++later) {
        const Model& other = kModels.at(later);
        const bool samePlace = other.slot == model.slot && other.function == model.function;
        if (!samePlace || other.port == model.port) addModel(world, other, 0);
    }
    EXPECT_EQ(model.type, qm_getTargetType());
    EXPECT_STREQ(model.marketing, qm_getTargetMarketingName());
}

INSTANTIATE_TEST_SUITE_P(All, TargetModel, testing::Range<size_t>(0, kModels.size()),
                         [](const auto& row) { return kModels.at(row.param).name; });

Board card(unsigned bus, uint16_t vendor = 0x10B5, uint16_t device = 0x8606)
{
    return board(vendor, device).at(bus, 0);
}

/** A port with one card behind it; as they stand here, a RoverV2. */
std::vector<Board> rover(unsigned slot = 28, unsigned function = 7, uint16_t vendor = 0x10B5)
{
    return {rootPort(slot, function, 0x1E1E), card(busBehind(slot, function), vendor)};
}

/** The top layer of a Lowland and what may be its base. */
std::vector<Board> lowland(uint16_t secondPort, uint16_t secondCard)
{
    return {rootPort(28, 0, 0x0F48), card(busBehind(28, 0)), rootPort(28, 2, secondPort),
            card(busBehind(28, 2), 0x10B5, secondCard)};
}

struct Arrangement
{
    const char* name;
    std::vector<Board> boards;
    qm_TargetType type = NonQuillmark;
};

using TargetArrangement = testing::TestWithParam<Arrangement>;

TEST_P(TargetArrangement, IsJudgedByTheCardsDirectlyBehindTheRootPorts)
{
    World world;
    for (const Board& board : GetParam().boards)
        world.add(board);
    EXPECT_EQ(GetParam().type, qm_getTargetType());
    EXPECT_EQ(GetParam().type == NonQuillmark, std::string("NonQuillmark") == qm_getTargetMarketingName());
}

const unsigned kRoverBus = busBehind(28, 7);

INSTANTIATE_TEST_SUITE_P(
    All, TargetArrangement,
    testing::Values(
        Arrangement{"Rover", rover(), RoverV2},  // all that follow differ from a known model in one thing
        Arrangement{"SecondPortOfLowland", lowland(0x0F4C, 0x8606), Lowland},
        Arrangement{"SecondPortOfAnotherKind", lowland(0x0F48, 0x8606), Lowland_TopLayer},
        Arrangement{"SecondPortWithAnotherCard", lowland(0x0F4C, 0x8607), Lowland_TopLayer},
        Arrangement{"NoBridge", {board(kIntel, 0x1E1E).at(0, 28, 7), card(kRoverBus)}},
        Arrangement{"CardTwoLevelsDown",
                    {rootPort(28, 7, 0x1E1E), board(kIntel, 0x1E1E).at(kRoverBus, 28, 7).bridgeTo(200, 200),
                     card(200)}},
        Arrangement{"PortIsACardBusBridge", {rootPort(28, 7, 0x1E1E).cardBus(), card(kRoverBus)}},
        Arrangement{"PortOfAnotherVendor", {board(0x8087, 0x1E1E).at(0, 28, 7).bridgeTo(9, 9), card(9)}},
        Arrangement{"PortAtAnotherFunction", rover(28, 6)}, Arrangement{"PortAtAnotherSlot", rover(27, 7)},
        Arrangement{"CardOfAnotherVendor", rover(28, 7, 0x10B6)}),
    byName);

TEST(TargetType, IsLookedUpAnewOnlyWhileNoBoardWasSeen)
{
    World world;
    EXPECT_EQ(NonQuillmark, qm_getTargetType());
    addModel(world, kModels[1], 0);
    EXPECT_EQ(KR410, qm_getTargetType());
    world.remove("0000:00:1c.4");
    EXPECT_EQ(KR410, qm_getTargetType());
}

}  // namespace
