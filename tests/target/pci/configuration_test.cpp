#include "pci_test.hpp"

namespace {

using namespace qm::test;

constexpr const char* kAddress = "0000:1a:1f.0";
constexpr uint32_t kUntouched = 0xA5A5A5A5;

struct PciConfiguration : PciTest
{
    PciConfiguration()
    {
        device_.bus = 0x1a;
        device_.slot = 0x1f;
        save_.fill(kUntouched);
    }

    static Board card()
    {
        Board card = board(0x1234, 0x11E8).at(0x1a, 0x1f).word(0x04, 0x7170).dword(0x3C, 0x63626160);
        for (uint32_t i = 0; i < 6; ++i)
            card.dword(0x10 + 4 * i, 0x03020100 + 0x10101010 * i);
        return card;
    }
    std::array<uint32_t, QM_PCI_CONFIG_SAVE_WORDS + 1> save_{};
};

TEST_F(PciConfiguration, RestoreWritesTheSavedBarsThenTheInterruptLineThenTheCommandAndPrintingLogs64Bytes)
{
    world_.add(card());
    kernel.writes.clear();
    qmPCI_backupPCIConfig(&device_, save_.data());
    EXPECT_THAT(save_, ElementsAre(0x03020100, 0x13121110, 0x23222120, 0x33323130, 0x43424140, 0x53525150,
                                   0x63626160, 0xA5A57170, kUntouched));
    qmPCI_restorePCIConfig(&device_, save_.data());
    const std::string file = World::directory(kAddress) / "config";
    using namespace std::string_literals;
    EXPECT_THAT(kernel.writes,
                ElementsAre(Write{file, 0x10, "\x00\x01\x02\x03"s}, Write{file, 0x14, "\x10\x11\x12\x13"},
                            Write{file, 0x18, "\x20\x21\x22\x23"}, Write{file, 0x1C, "\x30\x31\x32\x33"},
                            Write{file, 0x20, "\x40\x41\x42\x43"}, Write{file, 0x24, "\x50\x51\x52\x53"},
                            Write{file, 0x3C, "\x60\x61\x62\x63"}, Write{file, 0x04, "\x70\x71"}));
    EXPECT_THAT(log_.lines(), IsEmpty());
    qmPCI_printPCIConfig(&device_);
    ASSERT_EQ(16U, log_.lines().size());
    EXPECT_EQ("info QM: config[0x0] = 0x11e81234", log_.lines().front());
    EXPECT_EQ("info QM: config[0x3c] = 0x63626160", log_.lines().back());
}

TEST_F(PciConfiguration, AMissingBoardIsReportedAndNothingIsTouched)
{
    world_.add(card().at(0x1a, 0x1f, 1)).add(card().at(0x1a, 0x1f, 0, 1)).add(card().at(0x1b, 0x1f));
    kernel.writes.clear();
    const std::string error = standardErrorOf([this] {
        qmPCI_backupPCIConfig(&device_, save_.data());
        qmPCI_restorePCIConfig(&device_, save_.data());
        qmPCI_printPCIConfig(&device_);
    });
    EXPECT_THAT(log_.lines(),
                ElementsAre("error QM: PCI header backup: device not found (bus: 26 / slot: 31)",
                            "error QM: PCI header restore: device not found (bus: 26 / slot: 31)",
                            "error QM: PCI header print: device not found (bus: 26 / slot: 31)"));
    EXPECT_THAT(save_, Each(kUntouched));
    EXPECT_THAT(kernel.writes, IsEmpty());
    EXPECT_THAT(error, Not(HasSubstr("pcilib")));
}

TEST_F(PciConfiguration, ShowingARecordLogsThreeColumnsUnderFourTitles)
{
    device_.VendorId = 0x1234;
    device_.DeviceId = 0x11E8;
    device_.SubDeviceId = 0x9050;
    device_.SubVendorId = 0x10B5;
    device_.BaseAddress[5] = 0xFEB00000;
    device_.VirtAddress[5] = 0x7FFF12340000;
    device_.Length[5] = 0x100;
    qm_showPciDevice(&device_);
    const std::string none = "info QM: 00000000 00000000 00000000";
    EXPECT_THAT(log_.lines(),
                ElementsAre("info QM: VendorId = 0x1234, DeviceId = 0x11e8",
                            "info QM: Subsystem Device ID = 0x9050", "info QM: Subsystem Vendor ID = 0x10b5",
                            "info QM: bus = 26, slot = 31", "info QM:     Phys   Virtual   Length IO/Mem",
                            none, none, none, none, none, "info QM: feb00000 12340000 00000100"));
}

}  // namespace
