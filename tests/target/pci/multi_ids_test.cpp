#include "pci_test.hpp"

#include <array>
#include <climits>

namespace qm::test {

namespace {

using testing::ElementsAre;

constexpr uint16_t kVendor = 0x1234;

class PciMultiIds : public PciTest
{
public:
    /** Searches with sets (kVendor, device). */
    int find(std::vector<uint16_t> devices, int position, int bus, int slot)
    {
        std::vector<uint16_t> vendors(devices.size(), kVendor);
        std::vector<uint16_t> any(devices.size(), QM_PCI_ANY_ID);
        return qm_findPciDeviceMultiIDs(&device_, "ADC", devices.size(), vendors.data(), devices.data(),
                                        any.data(), any.data(), position, bus, slot);
    }
};

TEST_F(PciMultiIds, BoardsOfAllSetsAreCountedTogetherInOrderOfBusAndSlotThoseOfTwoSetsTwice)
{
    world_.add(board(kVendor, 0xA).at(5, 1)).add(board(kVendor, 0xA).at(3, 9));
    world_.add(board(kVendor, 0xB).at(2, 4)).add(board(kVendor, 0xB).at(3, 2));
    struct Case
    {
        std::vector<uint16_t> devices;
        int position;
        uint32_t bus, slot, indexInSet;
    };
    for (const auto& [devices, position, bus, slot, indexInSet] :
         {Case{{0xA, 0xB}, 1, 2, 4, 1}, Case{{0xA, 0xB}, 2, 3, 2, 2}, Case{{0xA, 0xB}, 3, 3, 9, 1},
          Case{{0xA, 0xB}, 4, 5, 1, 2}, Case{{0xA, 0xA}, 2, 3, 9, 1}, Case{{0xA, 0xA}, 4, 5, 1, 2}}) {
        SCOPED_TRACE(position);
        ASSERT_EQ(0, find(devices, position, -3, -1));
        EXPECT_EQ(bus, device_.bus);
        EXPECT_EQ(slot, device_.slot);
        EXPECT_EQ(indexInSet, device_.pciIdx);
    }
}

TEST_F(PciMultiIds, PositionsOutsideTheListAreNotFound)
{
    world_.add(board(kVendor, 0xA).at(5, 1));
    device_.bus = 77;
    for (const int position : {0, -1, 2, INT_MIN}) {
        EXPECT_EQ(1, find({0xA}, position, 0, -1));
        const std::string text = "ADC PciAutosearchPos" + std::to_string(position) + ": Module not found";
        EXPECT_EQ(text, pQmErrorStr);
        EXPECT_EQ("debug QM: " + text, log_.lines().back());
    }
    EXPECT_EQ(1, find({}, 1, 0, -1)) << "no set, no board";
    EXPECT_EQ(77U, device_.bus);
}

TEST_F(PciMultiIds, CountingEndsAt255BoardsOfASet)
{
    for (unsigned i = 0; i < 256; ++i)
        world_.add(board(kVendor, 0xA).at(i / 32, i % 32));
    ASSERT_EQ(0, find({0xA}, 255, 0, -1));
    EXPECT_EQ(7U, device_.bus);
    EXPECT_EQ(30U, device_.slot);
    EXPECT_EQ(1, find({0xA}, 256, 0, -1));
}

TEST_F(PciMultiIds, ExplicitSearchTakesTheFirstSetThatMatchesItsPlace)
{
    world_.add(board(kVendor, 0xB).at(2, 4, 0).multiFunction()).add(board(kVendor, 0xA).at(2, 4, 1));
    ASSERT_EQ(0, find({0xC, 0xA, 0xB}, 1, 2, 4));
    EXPECT_EQ(0xA, device_.DeviceId);
    EXPECT_THAT(log_.lines(), ElementsAre("debug QM: Bus: 2, Slot: 4", "debug QM: Explicit mode",
                                          "debug QM: ADC PciAutosearchPos1: Found at bus 2, slot 4"));
}

TEST_F(PciMultiIds, AutosearchLogsItsModeAndWhatItFound)
{
    world_.add(board(kVendor, 0xB).at(2, 4));
    ASSERT_EQ(0, find({0xB}, 1, 0, -1));
    EXPECT_THAT(log_.lines(), ElementsAre("debug QM: Bus: 0, Slot: -1", "debug QM: Autosearch mode",
                                          "debug QM: Looking for VID 0x1234 DID 0x000b at index 1",
                                          "debug QM: Looking for VID 0x1234 DID 0x000b at index 2",
                                          "debug QM: ADC PciAutosearchPos1: Found at bus 2, slot 4"));
}

TEST_F(PciMultiIds, ExplicitFailuresAreExplained)
{
    world_.add(board(kVendor, 0xA).at(2, 4));
    EXPECT_EQ(1, find({0xA}, 3, -1, 0));
    EXPECT_STREQ("ADC PciAutosearchPos3: Invalid PCI bus argument: -1", pQmErrorStr);
    EXPECT_EQ("debug QM: ADC PciAutosearchPos3: Invalid PCI bus argument: -1", log_.lines().back());
    EXPECT_EQ(1, find({0xA, 0xB}, 3, 2, 5));
    EXPECT_STREQ("ADC PciAutosearchPos3: Not found at bus 2, slot 5 (rc:1)", pQmErrorStr);
    EXPECT_EQ(1, find({}, 3, 2, 4));
    EXPECT_STREQ("ADC PciAutosearchPos3: Not found at bus 2, slot 4 (rc:-1)", pQmErrorStr);
}

}  // namespace

}  // namespace qm::test
