#include "qm_soc.hpp"
#include "target_test.hpp"

namespace qm::test {

using Soc = TargetTest;

const std::string kUio = "/sys/class/uio/uio";

TEST_F(Soc, AnAxiDeviceIsFoundByTheFirstWordOfItsNameUpToTheFirstGap)
{
    sandbox::freshDirectory("/sys");
    for (const auto& [uio, name] :
         {std::pair{"0", "foobar"}, {"1", " foo bar\n"}, {"2", "foo"}, {"4", "late"}})
        sandbox::writeFile(kUio + uio + "/name", name);
    qm_AxiDevice device;
    EXPECT_EQ(0, qm_findAxiDevice(&device, "foo"));
    EXPECT_EQ("1 /dev/uio1", std::to_string(device.uioIndex) + ' ' + device.uioDevPath);
    EXPECT_EQ(-1, qm_findAxiDevice(&device, "late"));
    EXPECT_STREQ("Could not find late", pQmErrorStr);
    std::filesystem::create_directories(kUio + "3/name");
    EXPECT_EQ(-1, qm_findAxiDevice(&device, "late"));
    EXPECT_STREQ("Failed to read /sys/class/uio/uio3/name", pQmErrorStr);
}

TEST_F(Soc, ARegionIsMappedAtItsOffsetOnceAllThatItNeedsIsThere)
{
    sandbox::freshDirectory("/sys");
    sandbox::freshDirectory("/dev");
    qm_AxiDevice device{7, "/dev/uio7"};
    const auto error = [&] { return qm_mapAxiBar(&device, 1) != nullptr ? "" : std::string(pQmErrorStr); };
    for (const auto& [name, value] : {std::pair{"addr", "0xa"}, {"offset", "0x2000"}, {"size", "0x1000"}}) {
        const std::string path = kUio + "7/maps/map1/" + name;
        EXPECT_EQ("Could not find " + path, error());
        sandbox::writeFile(path, "2000");
        EXPECT_EQ("Failed to read " + path, error());
        sandbox::writeFile(path, value);
    }
    EXPECT_EQ("Failed to open /dev/uio7: No such file or directory", error());
    sandbox::writeFile("/dev/uio7", std::string(0x2000, 'a') + std::string(0x1000, 'b'));
    static_cast<char*>(qm_mapAxiBar(&device, 1))[0xFFF] = 'c';
    EXPECT_EQ("bc", sandbox::readFile("/dev/uio7").substr(0x2FFE));
    EXPECT_EQ(descriptors_, openDescriptors());
    sandbox::writeFile(kUio + "7/maps/map1/offset", "0x10");
    EXPECT_EQ("Failed to map memory: Invalid argument", error());
    EXPECT_EQ(0, close(3)) << "the node stays open";
}

TEST_F(Soc, AnAxiInterruptIsPlacedByTheNameOfItsHandlersDirectory)
{
    sandbox::freshDirectory("/proc/irq");
    for (const char* file :
         {"12/smp_affinity_list", "12a/letters/x", "12/fabric/x", "12/file", "13/noList/x"})
        sandbox::writeFile("/proc/irq/" + std::string(file), "0-3\n");
    for (const auto& [name, error] :
         {std::pair{"letters", "2 Failed to get IRQ number for AXI device letters"},
          {"file", "2 Failed to get IRQ number for AXI device file"},
          {"", "22 Invalid AXI device name"},
          {"noList", "2 Failed to set IRQ 13 affinity to CPU 2: No such file or directory"}}) {
        EXPECT_EQ(-1, qm_setAxiIrqAffinity(name, 2));
        EXPECT_EQ(error, std::to_string(errno) + ' ' + pQmErrorStr);
    }
    EXPECT_EQ(0, qm_setAxiIrqAffinity("fabric", 2));
    EXPECT_EQ("2\n", sandbox::readFile("/proc/irq/12/smp_affinity_list"));
}

TEST_F(Soc, ABitstreamIsLoadedOnATalusOnlyWithItsPathBetweenQuotesAsItIs)
{
    sandbox::freshDirectory("/usr/quillmark");
    sandbox::writeFile("/usr/quillmark/sudo",
                       "#!/bin/sh\nprintf '%s.' \"$@\" >>/usr/quillmark/ran\ntest $# = 2\n");
    std::filesystem::permissions("/usr/quillmark/sudo", std::filesystem::perms::owner_all);
    (void)setenv("PATH", "/usr/quillmark", 1);
    EXPECT_EQ(-1, loadBitstream("/other", NonQuillmark));
    EXPECT_EQ(0, loadBitstream("/a b", Talus));
    EXPECT_EQ(-1, loadBitstream("a' 'b", Talus));
    EXPECT_EQ("qm_load-bitstream./a b.qm_load-bitstream.a.b.", sandbox::readFile("/usr/quillmark/ran"));
    const std::vector<std::string> lines = {"error QM: SoC: Target machine does not have a System-on-Chip!",
                                            "debug QM: SoC: Loading bitstream \"/a b\"",
                                            "debug QM: SoC: Loading bitstream \"a' 'b\"",
                                            "error QM: SoC: Program to load bitstream failed!"};
    EXPECT_EQ(lines, log_.lines());
}

}  // namespace qm::test
