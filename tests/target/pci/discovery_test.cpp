#include "pci_test.hpp"

#include <climits>

namespace {

using namespace qm::test;

constexpr uint16_t kVendor = 0x1234;
constexpr uint16_t kDevice = 0x11E8;
constexpr uint16_t kAny = QM_PCI_ANY_ID;

Board adc()
{
    return board(kVendor, kDevice);
}

struct PciDiscovery : PciTest
{
    PciDiscovery() { memset(&device_, 0xA5, sizeof device_); }

    int find(int position, int bus, int slot, uint16_t device = kDevice)
    {
        return qm_findPciDevice(&device_, "ADC", kVendor, device, kAny, kAny, position, bus, slot);
    }
};

TEST_F(PciDiscovery, AutosearchCountsBoardsInOrderOfBusSlotAndFunction)
{
    world_.add(adc().at(3, 0)).add(adc().at(1, 4, 1)).add(adc().at(1, 4, 0).bar(0, 0x1000, 0x1000));
    world_.add(adc().at(1, 2)).add(board(kVendor, 0x11E9).at(0, 0)).add(board(0x1235, kDevice).at(0, 1));

    for (const auto& [position, expected] : {std::pair<int, std::vector<uint32_t>>{1, {1, 2, 1, 0}},
                                             {2, {1, 4, 2, 0x1000}},
                                             {3, {1, 4, 3, 0}},
                                             {4, {3, 0, 4, 0}},
                                             {0, {1, 2, 1, 0}},
                                             {-5, {1, 2, 1, 0}}}) {
        ASSERT_EQ(0, find(position, -7, -1));
        EXPECT_EQ(expected, (std::vector{device_.bus, device_.slot, device_.pciIdx, device_.BaseAddress[0]}))
            << "at position " << position;
    }
    EXPECT_EQ(1, find(5, 1, -1));
}

TEST_F(PciDiscovery, AFoundBoardFillsTheNamedFieldsAndNothingElse)
{
    Board found = adc().at(0x1a, 0x1f).bar(0, 0xFEB00000, 0x100000).bar(1, 0xE000, 0x20, 0x4010D);
    world_.add(found.bar(2, 0x480000000, 0x100001000, kMemory64));
    for (const int slot : {-1, 0x1f}) {
        SCOPED_TRACE(slot);
        memset(&device_, 0xA5, sizeof device_);
        ASSERT_EQ(0, find(1, 0x1a, slot));

        EXPECT_THAT((std::vector<uint32_t>{device_.bus, device_.slot, device_.VendorId, device_.DeviceId,
                                           device_.SubVendorId, device_.SubDeviceId, device_.pciIdx}),
                    ElementsAre(0x1a, 0x1f, kVendor, kDevice, 0xA5A5, 0xA5A5, slot < 0 ? 1 : 0));
        EXPECT_THAT(device_.BaseAddress_raw, ElementsAre(0xFEB00000, 0xE00D, 0x48000000C, 0, 0, 0));
        EXPECT_THAT(device_.BaseAddress, ElementsAre(0xFEB00000, 0xE000, 0x80000000, 0, 0, 0));
        EXPECT_THAT(device_.Length, ElementsAre(0x100000, 0x20, 0x1000, 0, 0, 0));
        EXPECT_EQ(0xA5A5A5A5A5A5A5A5U, reinterpret_cast<uintptr_t>(device_.hdl));
        EXPECT_THAT(device_.VirtAddress, Each(0xA5A5A5A5A5A5A5A5U));
    }
}

TEST_F(PciDiscovery, SubsystemIdentifiersSelectAmongBoardsUnlessTheyAreWildcards)
{
    world_.add(adc().at(1, 1).subsystem(0x10B5, 0x9050)).add(adc().at(1, 2).subsystem(0x10B5, 0x9051));
    world_.add(adc().at(1, 3).subsystem(0xFFFF, 0xFFFF));
    for (const auto& [vendor, device, slots] :
         {std::tuple<uint16_t, uint16_t, std::vector<uint32_t>>{kAny, kAny, {1, 2, 3}},
          {0x10B5, kAny, {1, 2}},
          {0x10B5, 0x9051, {2}},
          {kAny, 0x9050, {1}},
          {0x10B6, kAny, {}},
          {0x9050, 0x10B5, {}}}) {
        std::vector<uint32_t> byPosition, byPlace;
        for (uint16_t i = 1; i < 5; ++i) {
            if (qmPCI_getDeviceByIdx(kVendor, kDevice, vendor, device, i, &device_) == 0)
                byPosition.push_back(device_.slot);
            if (qmPCI_getDeviceAtSlot(kVendor, kDevice, vendor, device, 1, i, &device_) == 0)
                byPlace.push_back(device_.slot);
        }
        EXPECT_EQ(slots, byPosition);
        EXPECT_EQ(slots, byPlace);
    }
}

TEST_F(PciDiscovery, ExplicitSearchCountsBoardsOfTheSameIdentifiersThatItPassed)
{
    std::vector<uint32_t> passed;
    for (uint16_t slot = 0; slot < 6; ++slot)
        world_.add(adc().at(2, slot).subsystem(1, slot));
    for (uint16_t slot = 0; slot < 6; ++slot) {
        ASSERT_EQ(0, qmPCI_getDeviceAtSlot(kVendor, kDevice, 1, slot, 2, slot, &device_));
        passed.push_back(device_.pciIdx);
    }
    EXPECT_THAT(passed, UnorderedElementsAre(0, 1, 2, 3, 4, 5));
}

TEST_F(PciDiscovery, TheFirstAutosearchDecidesWhichBoardsExist)
{
    world_.add(adc().at(1, 0)).add(adc().at(1, 1));
    ASSERT_EQ(0, find(1, 0, -1));
    world_.remove("0000:01:01.0");
    world_.add(adc().at(1, 2));
    ASSERT_EQ(0, find(2, 0, -1)) << "a board that went away must not end the process";
    EXPECT_EQ(1U, device_.slot);
    EXPECT_EQ(0, find(1, 1, 2)) << "an explicit search looks anew";
}

struct PciMultiIds : PciDiscovery
{
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
    for (const auto& [devices, position, busSlotIndexInSet] :
         {std::tuple<std::vector<uint16_t>, int, std::vector<uint32_t>>{{0xA, 0xB}, 1, {2, 4, 1}},
          {{0xA, 0xB}, 2, {3, 2, 2}},
          {{0xA, 0xB}, 3, {3, 9, 1}},
          {{0xA, 0xB}, 4, {5, 1, 2}},
          {{0xA, 0xA}, 2, {3, 9, 1}},
          {{0xA, 0xA}, 4, {5, 1, 2}}}) {
        SCOPED_TRACE(position);
        ASSERT_EQ(0, find(devices, position, -3, -1));
        EXPECT_EQ(busSlotIndexInSet, (std::vector{device_.bus, device_.slot, device_.pciIdx}));
    }
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

TEST_F(PciMultiIds, ASearchLogsItsModeAndWhatItFound)
{
    world_.add(board(kVendor, 0xB).at(2, 4, 0).multiFunction()).add(board(kVendor, 0xA).at(2, 4, 1));
    ASSERT_EQ(0, PciDiscovery::find(1, 0, -1, 0xA));
    ASSERT_EQ(0, PciDiscovery::find(7, 2, 4, 0xA));
    ASSERT_EQ(0, qm_detectPciDevice(&device_, "ADC", kVendor, 0xA, kAny, kAny, 1));
    ASSERT_EQ(0, qm_detectPciDeviceAtSlot(&device_, "ADC", kVendor, 0xA, kAny, kAny, 2, 65536 + 4));
    ASSERT_EQ(0, find({0xC, 0xA, 0xB}, 1, 2, 4));
    EXPECT_EQ(0xA, device_.DeviceId) << "the first set that matches";
    ASSERT_EQ(0, find({0xB}, 1, 0, -1));
    EXPECT_THAT(
        log_.lines(),
        ElementsAre("debug QM: Find PCI device in autosearch mode",
                    "debug QM: Looking for VID 0x1234 DID 0x000a at index 1",
                    "debug QM: ADC ID1: Found at bus 2, slot 4", "debug QM: Find PCI device in explicit mode",
                    "debug QM: ADC ID7: Found at bus 2, slot 4",
                    "debug QM: Looking for VID 0x1234 DID 0x000a at index 1", "debug QM: Bus: 2, Slot: 4",
                    "debug QM: Explicit mode", "debug QM: ADC PciAutosearchPos1: Found at bus 2, slot 4",
                    "debug QM: Bus: 0, Slot: -1", "debug QM: Autosearch mode",
                    "debug QM: Looking for VID 0x1234 DID 0x000b at index 1",
                    "debug QM: Looking for VID 0x1234 DID 0x000b at index 2",
                    "debug QM: ADC PciAutosearchPos1: Found at bus 2, slot 4"));
}

TEST_F(PciMultiIds, AFailedSearchSaysWhyAndLeavesTheRecordAlone)
{
    world_.add(adc().at(1, 0));
    const std::string longName(200, 'n');
    const auto failsWith = [this](int result, const std::string& text) {
        EXPECT_EQ(1, result);
        EXPECT_EQ(text, pQmErrorStr);
        EXPECT_EQ(std::string(sizeof device_, '\xA5'),
                  std::string(reinterpret_cast<const char*>(&device_), sizeof device_));
    };
    failsWith(PciDiscovery::find(2, 0, -1), "ADC ID2: Module not found");
    failsWith(PciDiscovery::find(2, -1, 0), "ADC ID2: Invalid PCI bus argument: -1");
    failsWith(PciDiscovery::find(2, 1, 65536 + 3), "ADC ID2: Not found at bus 1, slot 65539 (rc:1)");
    failsWith(qm_detectPciDevice(&device_, "DAC", kVendor, kDevice, kAny, kAny, 9),
              "DAC pciIDxPlusOne9: Module not found");
    failsWith(qm_detectPciDeviceAtSlot(&device_, "DAC", kVendor, kDevice, kAny, kAny, 1, -1),
              "DAC not found at bus 1, slot -1 (rc:1)");
    failsWith(
        qm_findPciDevice(&device_, longName.c_str(), 1, 1, kAny, kAny, INT_MIN, INT_MAX, INT_MAX),
        longName.substr(0, 127) + " ID-2147483648: Not found at bus 2147483647, slot 2147483647 (rc:1)");
    EXPECT_THAT(log_.notes(), IsEmpty());

    const std::string name = "ADC PciAutosearchPos";
    for (const int position : {0, -1, 2, INT_MIN})
        failsWith(find({kDevice}, position, 0, -1), name + std::to_string(position) + ": Module not found");
    EXPECT_EQ("debug QM: " + std::string(pQmErrorStr), log_.lines().back());
    failsWith(find({}, 1, 0, -1), name + "1: Module not found");
    failsWith(find({kDevice}, 3, -1, 0), name + "3: Invalid PCI bus argument: -1");
    EXPECT_EQ("debug QM: " + std::string(pQmErrorStr), log_.lines().back());
    failsWith(find({kDevice, 0xB}, 3, 2, 5), name + "3: Not found at bus 2, slot 5 (rc:1)");
    failsWith(find({}, 3, 1, 0), name + "3: Not found at bus 1, slot 0 (rc:-1)");
}

}  // namespace
