#include "kernel_calls.hpp"
#include "pci_test.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace qm::test {

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kAddress = "0000:1a:1f.0";
constexpr uint32_t kUntouched = 0xA5A5A5A5;

class PciConfiguration : public PciTest
{
public:
    PciConfiguration()
    {
        device_.bus = 0x1a;
        device_.slot = 0x1f;
        save_.fill(kUntouched);
    }

    static Board card()
    {
        Board card =
            board(0x1234, 0x11E8).at(0x1a, 0x1f).bar(0, 0xFEB00000, 0x1000).bar(1, 0xE000, 0x20, kPorts);
        card.bar(2, 0x480000000, 0x1000, kMemory64).dword(0x20, 0x11111111).dword(0x24, 0x22222222);
        return card.dword(0x3C, 0x0A0B0C0D).word(0x04, 0x0507);
    }

protected:
    std::array<uint32_t, QM_PCI_CONFIG_SAVE_WORDS + 1> save_{};
};

TEST_F(PciConfiguration, BackupSavesTheBarsTheInterruptLineAndTheCommand)
{
    world_.add(card());
    qmPCI_backupPCIConfig(&device_, save_.data());
    EXPECT_THAT(save_, ElementsAre(0xFEB00000, 0xE001, 0x8000000C, 0x4, 0x11111111, 0x22222222, 0x0A0B0C0D,
                                   0xA5A50507, kUntouched));
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PciConfiguration, RestoreWritesTheBarsThenTheInterruptLineThenTheCommand)
{
    world_.add(card());
    const std::array<uint32_t, 8> saved{0x03020100, 0x13121110, 0x23222120, 0x33323130,
                                        0x43424140, 0x53525150, 0x63626160, 0xFFFF7170};
    KernelCalls calls;
    qmPCI_restorePCIConfig(&device_, saved.data());
    using namespace std::string_literals;
    EXPECT_THAT(
        calls.writes,
        ElementsAre(
            FileWrite{"config", 0x10, "\x00\x01\x02\x03"s}, FileWrite{"config", 0x14, "\x10\x11\x12\x13"},
            FileWrite{"config", 0x18, "\x20\x21\x22\x23"}, FileWrite{"config", 0x1C, "\x30\x31\x32\x33"},
            FileWrite{"config", 0x20, "\x40\x41\x42\x43"}, FileWrite{"config", 0x24, "\x50\x51\x52\x53"},
            FileWrite{"config", 0x3C, "\x60\x61\x62\x63"}, FileWrite{"config", 0x04, "\x70\x71"}));
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PciConfiguration, PrintingLogsTheFirst64Bytes)
{
    world_.add(card());
    qmPCI_printPCIConfig(&device_);
    const auto& lines = log_.lines();
    ASSERT_EQ(16U, lines.size());
    EXPECT_EQ("info QM: config[0x0] = 0x11e81234", lines[0]);
    EXPECT_EQ("info QM: config[0x4] = 0x507", lines[1]);
    EXPECT_EQ("info QM: config[0x3c] = 0xa0b0c0d", lines[15]);
}

TEST_F(PciConfiguration, AMissingBoardIsReportedAndNothingIsTouched)
{
    world_.add(card().at(0x1a, 0x1f, 1)).add(card().at(0x1a, 0x1f, 0, 1)).add(card().at(0x1b, 0x1f));
    const KernelCalls calls;
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
    EXPECT_THAT(calls.writes, IsEmpty());
    EXPECT_THAT(error, testing::Not(testing::HasSubstr("pcilib")));
}

TEST_F(PciConfiguration, TheConfigurationFileIsOpenedWithTheCallersFlagsAndClosedOnExec)
{
    world_.add(card());
    for (const int flags : {O_RDONLY, O_RDWR, O_WRONLY | O_NONBLOCK}) {
        const int descriptor = qm_pci_openPciConfig(&device_, flags);
        EXPECT_EQ(flags, fcntl(descriptor, F_GETFL) & (O_ACCMODE | O_NONBLOCK));
        EXPECT_EQ(FD_CLOEXEC, fcntl(descriptor, F_GETFD));
        EXPECT_EQ(World::directory(kAddress) / "config",
                  std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor)));
        close(descriptor);
    }
    world_.remove(kAddress);
    EXPECT_EQ(-1, qm_pci_openPciConfig(&device_, O_RDONLY));
    EXPECT_EQ(ENOENT, errno);
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

}  // namespace qm::test
