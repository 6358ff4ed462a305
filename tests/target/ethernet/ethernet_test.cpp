#include "fake_kernel.hpp"
#include "qm_translateEthernetInterfaces/label_string.hpp"
#include "world.hpp"

#include <list>
#include <regex>

namespace {

using namespace qm::test;

struct Ports
{
    uint32_t device;
    std::vector<uint32_t> bridges;  // one before each port: its slot, 100 more on another bus, 0 for none
    uint32_t vendor = 0x8086, subVendor = 1, subDevice = 2, bus = 5, slot = 0;
};

struct Chassis
{
    std::vector<Ports> ports;
    std::string labels;  // of the ports that are listed
    std::vector<int> targets = {NonQuillmark};
};

std::string labels(const Chassis& chassis, int target)
{
    std::list<qm_topo_node> bridges;
    qm::ethernet::EthernetDevices devices;
    for (const Ports& row : chassis.ports)
        for (const uint32_t bridge : row.bridges) {
            qm_topo_node& parent = bridges.emplace_back();
            parent.bus = bridge / 100, parent.slot = bridge % 100;
            devices.push_back({row.bus, row.slot, 0, row.vendor, row.device, row.subVendor, row.subDevice, 0,
                               nullptr, false, 0, 0, bridge == 0 ? nullptr : &parent});
        }
    const std::string text = qm::ethernet::labelString(devices, static_cast<qm_TargetType>(target));
    return std::regex_replace(text, std::regex(":[0-9]+:"), "");
}

const Ports kSix = {0x100E, {1, 2, 3, 4, 5, 6}};

const std::vector<Chassis> kChassis = {
    // Two of each module. The last two kinds are not listed.
    {{{0x1533, {1, 2, 1, 2}}}, "NX90_1A;NX90_1B;NX90_2A;NX90_2B;", {NonQuillmark, Otter}},
    {{{0x1539, {1, 2, 1, 2}}}, "NX90-11_1A;NX90-11_1B;NX90-11_2A;NX90-11_2B;"},
    {{{0x1533, {1, 0, 1, 2}, 0x8086, 0xFFFF, 0}}, "NX60_1;NX60_2;NX90_1A;NX90_1B;"},
    {{{0x1563, {7, 7, 8, 8}}}, "NX50_1Port1;NX50_1Port2;NX50_2Port1;NX50_2Port2;"},
    {{{0x8168, {1, 0}, 0x10EC}}, "NX48_1;NX48_2;"},
    {{{0x1533, {1, 2, 3, 4, 2, 3, 4, 5}}},
     "NX46_1Port1;NX46_1Port2;NX46_1Port3;NX46_1Port4;NX46_2Port1;NX46_2Port2;NX46_2Port3;NX46_2Port4;",
     {NonQuillmark, Talus}},
    {{{0x10D3, {2, 3, 4, 5, 2, 3, 4, 5}}},
     "NX44_1Port4;NX44_1Port3;NX44_1Port2;NX44_1Port1;NX44_2Port4;NX44_2Port3;NX44_2Port2;NX44_2Port1;"},
    {{{0x10D3, {4, 5, 4, 5}}}, "NX42_1Port2;NX42_1Port1;NX42_2Port2;NX42_2Port1;"},
    {{{0x107C, {1, 0}}}, "NX40_1;NX40_2;"},
    {{{0x1533, {1, 0, 1, 2}, 0x8086, 0, 0}}, "NX40-10_1;NX40-10_2;NX90_1A;NX90_1B;", {Otter, RoverV3}},
    {{{0x1229, {3, 3}}, {0x1229, {1, 0}, 0x8006}, {0x107C, {1}}}, "NX40_1;"},
    // Names that begin alike, and groups that begin or end in the middle.
    {{{0x1539, {1, 2}}, {0x1533, {0}, 0x8086, 0, 0}, {0x1533, {1, 2}}, {0x107C, {0}}},
     "NX90-11_1A;NX90-11_1B;NX40-10_1;NX90_1A;NX90_1B;NX40_1;"},
    {{{0x1533, {1, 2, 4, 5}}}, "NX90_1A;NX90_1B;Onboard;Onboard;"},
    {{{0x10D3, {3, 4, 5, 4}}}, "Onboard;NX42_1Port2;NX42_1Port1;Onboard;"},
    {{{0x1533, {2, 3, 4}}}, "Onboard;Onboard;Onboard;"},
    // One thing differs from a module.
    {{{0x1533, {1, 102, 1, 3, 2, 3, 1, 0, 2, 1}}, {0x1539, {2, 3, 1}}, {0x1563, {7, 107, 8, 9, 0, 0}}},
     "Onboard;Onboard;Onboard;Onboard;Onboard;Onboard;Onboard;Onboard;Onboard;Onboard;Onboard;Onboard;"
     "Onboard;Onboard;Onboard;Onboard;Onboard;Onboard;Onboard;"},
    {{{0x10D3, {1, 2, 3, 4, 1, 5, 4}}, {0x1229, {3, 4}}, {0x1533, {1}, 0x10EC, 0, 0}},
     "Onboard;Onboard;Onboard;Onboard;Onboard;Onboard;Onboard;Onboard;Onboard;Onboard;"},
    {{{0x1533, {1}, 0x8086, 0xFFFF, 1}, {0x1533, {1}, 0x8086, 0, 0xFFFF}, {0x1533, {1}, 0x8086, 1, 0}},
     "Onboard;Onboard;Onboard;"},
    {{{0x8169, {1}, 0x10EC}, {0x8168, {1}}, {0x122A, {1}, 0x8006}, {0x107C, {1}, 0x8087}},
     "Onboard;Onboard;Onboard;Onboard;"},
    // Models with ports of their own.
    {{{0x1533, {1, 1, 2}, 0x8086, 0xFFFF, 0}}, "Hostlink;NX90_1A;NX90_1B;", {RoverV3}},
    {{{0x1533, {1, 2}}}, "Hostlink;ETH1;", {Talus}},
    {{{0x1533, {1, 2}, 0x8086, 1, 2, 5, 1}}, "NX90_1A;NX90_1B;", {Talus}},
    {{{0x1533, {1, 2}, 0x8086, 1, 2, 4}}, "NX90_1A;NX90_1B;", {Talus}},
    {{kSix}, "Hostlink;ETH1;Onboard;Onboard;Onboard;Onboard;", {KR410, KR411, Ridge, Cube}},
    {{kSix}, "Hostlink;ETH1;Onboard;Onboard;Onboard;Onboard;", {Harbor, Zenith, Brisa, Otter}},
    {{kSix}, "Internal;ETH1;ETH2;Hostlink;Onboard;Onboard;", {Lowland}},
    {{kSix}, "Internal;Hostlink;Onboard;Onboard;Onboard;Onboard;", {Lowland_TopLayer}},
    {{kSix}, "Hostlink;ETH2;ETH3;ETH4;Onboard;Onboard;", {RoverV2}},
    {{kSix}, "Internal;Hostlink;ETH1;ETH2;Onboard;Onboard;", {Slate}},
    {{kSix}, "Hostlink;LAN2;Onboard;Onboard;Onboard;Onboard;", {RoverAEG}},
    {{kSix}, "Hostlink;ETH2;Onboard;Onboard;Onboard;Onboard;", {Campus2}},
    {{kSix}, "Hostlink;ETH1;ETH2;Onboard;Onboard;Onboard;", {KT411}},
    {{kSix}, "Hostlink;ETH1;ETH2;ETH3;ETH4;Onboard;", {RoverV3}},
    {{kSix}, "Hostlink;ETH1;ETH2;ETH3;Onboard;Onboard;", {Talus}},
    {{kSix}, "Onboard;Onboard;Onboard;Onboard;Onboard;Onboard;", {NonQuillmark, 18, -1}},
};

TEST(EthernetLabels, TellWhichModulesAndSocketsThePortsAre)
{
    World noInterfaces;
    for (const Chassis& chassis : kChassis)
        for (const int target : chassis.targets)
            EXPECT_EQ(chassis.labels, labels(chassis, target)) << "row " << &chassis - kChassis.data();
}

const fs::path kFile = "/usr/quillmark/sysinfo/ethTranslateFile.txt";

/** A KR410 whose buses are not found in ascending order: an NX22, an NX90 and three onboard ports. */
void addPorts(World& world)
{
    const auto port = [](uint16_t device, unsigned bus, unsigned slot, unsigned function = 0) {
        return board(0x8086, device).at(bus, slot, function).classCode(0x020000);
    };
    const auto bridge = [](unsigned bus, unsigned slot, unsigned function, unsigned to) {
        return board(0x8086, 0x1E18).at(bus, slot, function).bridgeTo(to, 9);
    };
    for (const Board& each :
         {bridge(0, 28, 4, 9), board(0x197B, 0x2368).at(9, 0).classCode(0x020001), port(0x1521, 9, 1, 1),
          port(0x1521, 9, 2), bridge(0, 29, 0, 2), port(0x1229, 2, 4), port(0x1229, 2, 5),
          bridge(0, 30, 0, 3), bridge(3, 0, 0, 4), bridge(4, 1, 0, 5), bridge(4, 2, 0, 6), port(0x1533, 5, 0),
          port(0x1533, 6, 0), port(0x15B7, 0, 31, 6)})
        world.add(each);
}

TEST_F(TargetTest, EthernetPortsAreWrittenWithTheirInterfacesIndicesAndLabels)
{
    World world;
    sandbox::freshDirectory("/usr/quillmark");
    sandbox::freshDirectory("/run/udev/data");
    (void)setenv("SYSTEMD_DEVICE_VERIFY_SYSFS", "0", 1);
    EXPECT_EQ(0, qm_translateEthernetInterfaces());
    EXPECT_EQ("", sandbox::readFile(kFile));

    addPorts(world);
    addInterface(World::directory("0000:00:1f.6"), "eno1", "2");
    addInterface(World::directory("0000:09:01.1"), "enp9s1f1", "4");
    sandbox::writeFile(kFile, std::string(1000, 'x'));
    log_.clear();
    EXPECT_EQ(0, qm_translateEthernetInterfaces());
    EXPECT_EQ("eno1:0:Hostlink;:3:NX90_1A;:4:NX90_1B;enp9s1f1:5:ETH1;:6:Onboard;", sandbox::readFile(kFile));
    EXPECT_THAT(log_.lines(), ElementsAre("debug QM: qm_translateEthernetInterfaces: ethStr before labeling: "
                                          "eno1:0:Onboard;:3:NX90;:4:NX90;enp9s1f1:5:Onboard;:6:Onboard;"));
}

TEST_F(TargetTest, ALabelFileThatCannotBeWrittenIsNamedAndHoldsNoHalfLabel)
{
    World world;
    addPorts(world);
    sandbox::freshDirectory("/usr/quillmark");
    sandbox::writeFile(kFile.parent_path(), "");
    EXPECT_EQ(-1, qm_translateEthernetInterfaces());
    fs::remove(kFile.parent_path());
    fs::create_directories(kFile);
    EXPECT_EQ(-1, qm_translateEthernetInterfaces());
    fs::remove(kFile);
    const rlimit full{20, RLIM_INFINITY}, unlimited{RLIM_INFINITY, RLIM_INFINITY};
    (void)signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &full));
    EXPECT_EQ(-1, qm_translateEthernetInterfaces());
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &unlimited));
    EXPECT_EQ("", sandbox::readFile(kFile));
    EXPECT_THAT(log_.notes(), ElementsAre("error QM: Failed to create directory: /usr/quillmark/sysinfo",
                                          "error QM: Failed to create file: " + kFile.string(),
                                          "error QM: Failed to write file: " + kFile.string()));
}

TEST_F(TargetTest, AnEthernetPortIsHandedToTheEthercatDriverAndGivenBack)
{
    World world;
    addPorts(world);
    const fs::path driver = "/sys/bus/pci/drivers/atemsys_pci";
    for (const fs::path& file : {driver / "bind", driver / "unbind", fs::path("/sys/bus/pci/drivers_probe")})
        sandbox::writeFile(file, "");
    fs::create_symlink(driver, World::directory("0000:05:00.0") / "driver");
    kernel.writes.clear();
    EXPECT_EQ(0, qm_configureEthercat(5));  // function 1
    EXPECT_EQ(0, qm_teardownEthercat(3));
    EXPECT_THAT(kernel.writes, ElementsAre(Write{driver / "bind", -1, "0000:09:01.0"},
                                           Write{driver / "unbind", -1, "0000:05:00.0"},
                                           Write{"/sys/bus/pci/drivers_probe", -1, "0000:05:00.0"}));
    fs::remove_all(driver);
    fs::create_directories(driver / "unbind");
    EXPECT_EQ(-1, qm_configureEthercat(4));
    EXPECT_EQ(-1, qm_teardownEthercat(3));
    EXPECT_EQ(-1, qm_configureEthercat(7));
    EXPECT_EQ(-1, qm_teardownEthercat(0x80000000));
    EXPECT_THAT(log_.notes(),
                ElementsAre(HasSubstr("bind file"), HasSubstr("unbind file"),
                            "error QM: qm_teardownEthercat: Failed to unbind network device driver",
                            "error QM: qm_configureEthercat: Requested network device index is out of range",
                            "error QM: qm_teardownEthercat: Requested network device index is out of range"));
}

}  // namespace
