// Ethernet cards in front of and behind bridges, with the names that the kernel and udev gave them.

#include "machine.hpp"

namespace {

using namespace qm::test;

constexpr char kLabels[] = "/usr/quillmark/sysinfo/ethTranslateFile.txt";
constexpr uint32_t kPort = 3;
constexpr char kPortAddress[] = "08:00.0";

/// What the label file holds while a port that is handed over has no name, and otherwise.
std::string labels(const std::string& nameOfPort3)
{
    return "enp1s0:0:Hostlink;enp4s5:1:ETH1;enp7s0:2:NX42_1Port2;" + nameOfPort3 +
           ":3:NX42_1Port1;enp10s0:4:ETH2;";
}

std::string writtenLabels()
{
    EXPECT_EQ(0, qm_translateEthernetInterfaces());
    return readFile(kLabels);
}

/// The driver of the port's card, as lspci has it.
std::vector<std::string> shownDriver()
{
    return linesOf(std::string("lspci -k -s ") + kPortAddress + " | sed -n 's/.*driver in use: //p'");
}

struct EthernetPorts : testing::Test
{
    EthernetPorts()
    {
        becomeRover();
        linesOf("mkdir -p /usr/quillmark");
    }
};

TEST_F(EthernetPorts, HaveTheNamesOfTheKernelAndTheLabelsOfTheirSockets)
{
    ASSERT_EQ(RoverV3, qm_getTargetType());
    EXPECT_EQ(labels("enp8s0"), writtenLabels());
}

TEST_F(EthernetPorts, AreHandedToTheEthercatDriverAndGivenBackToTheirOwn)
{
    ASSERT_EQ(0, writeOnce("/sys/bus/pci/drivers/atemsys_pci/new_id", "8086 10d3"));
    ASSERT_THAT(shownDriver(), ElementsAre("e1000e"));

    EXPECT_EQ(0, qm_configureEthercat(kPort));
    EXPECT_THAT(shownDriver(), ElementsAre("atemsys_pci"));
    EXPECT_EQ("atemsys_pci", driverOf(kPortAddress));
    EXPECT_EQ(labels(""), writtenLabels());

    EXPECT_EQ(0, qm_teardownEthercat(kPort));
    EXPECT_THAT(shownDriver(), ElementsAre("e1000e"));
    linesOf("udevadm settle");
    EXPECT_EQ(labels("enp8s0"), writtenLabels());
}

TEST_F(EthernetPorts, TellTheHostLinksAddress)
{
    ASSERT_EQ(labels("enp8s0"), writtenLabels());
    std::array<uint8_t, 8> mac{};
    EXPECT_EQ(0, qm_target_getHostLinkMac(mac.data()));
    EXPECT_EQ(linesOf("ip -o link show enp1s0 | sed -E 's/.*link.ether ([^ ]+) .*/\\1/'").at(0),
              fmt::format("{:02x}", fmt::join(mac.begin(), mac.begin() + 6, ":")));
    EXPECT_EQ(0, mac[6] | mac[7]);
}

}  // namespace
