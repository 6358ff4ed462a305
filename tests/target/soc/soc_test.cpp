#include "qm_soc.hpp"
#include "test.hpp"
#include "world.hpp"

namespace qm::test {

using Soc = TargetTest;

TEST_F(Soc, AnAxiDeviceIsFoundByTheFirstWordOfItsNameUpToTheFirstGap)
{
    sandbox::freshDirectory("/sys/class");
    for (const auto& [uio, name] :
         {std::pair{"0", "foobar"}, {"1", " foo bar\n"}, {"2", "foo"}, {"4", "late"}})
        sandbox::writeFile(std::string("/sys/class/uio/uio") + uio + "/name", name);
    qm_AxiDevice device;
    EXPECT_EQ(0, qm_findAxiDevice(&device, "foo"));
    EXPECT_EQ("1 /dev/uio1", std::to_string(device.uioIndex) + ' ' + device.uioDevPath);
    EXPECT_EQ(-1, qm_findAxiDevice(&device, "late"));
    EXPECT_STREQ("Could not find late", pQmErrorStr);
}

TEST_F(Soc, ARegionIsMappedAtItsOffsetOnceAllThatItNeedsIsThere)
{
    sandbox::freshDirectory("/sys/class");
    qm_AxiDevice device{7, "/sys/class/node"};
    const auto error = [&] { return qm_mapAxiBar(&device, 1) != nullptr ? "" : std::string(pQmErrorStr); };
    for (const auto& [name, value] : {std::pair{"addr", "0xa"}, {"offset", "0x2000"}, {"size", "0x1000"}}) {
        const std::string path = std::string("/sys/class/uio/uio7/maps/map1/") + name;
        EXPECT_EQ("Could not find " + path, error());
        sandbox::writeFile(path, "2000");
        EXPECT_EQ("Failed to read " + path, error());
        sandbox::writeFile(path, value);
    }
    EXPECT_EQ("Failed to open /sys/class/node: No such file or directory", error());
    sandbox::writeFile("/sys/class/node", std::string(0x2000, 'a') + std::string(0x1000, 'b'));
    static_cast<char*>(qm_mapAxiBar(&device, 1))[0xFFF] = 'c';
    EXPECT_EQ("bc", sandbox::readFile("/sys/class/node").substr(0x2FFE));
    sandbox::writeFile("/sys/class/uio/uio7/maps/map1/offset", "0x10");
    EXPECT_EQ("Failed to map memory: Invalid argument", error());
    EXPECT_EQ(descriptors_.size() + 1, openDescriptors().size()) << "the node stays open";
    descriptors_ = openDescriptors();
}

TEST_F(Soc, AnAxiInterruptIsPlacedByTheNameOfItsHandlersDirectory)
{
    sandbox::freshDirectory("/proc/irq");
    for (const std::string file :
         {"12/smp_affinity_list", "12a/letters/x", "12/fabric/x", "12/file", "13/none/x"})
        sandbox::writeFile("/proc/irq/" + file, "0-3\n");
    for (const auto& [name, error] :
         {std::pair{"letters", "2 Failed to get IRQ number for AXI device letters"},
          {"file", "2 Failed to get IRQ number for AXI device file"},
          {"", "22 Invalid AXI device name"},
          {"none", "2 Failed to set IRQ 13 affinity to CPU 2: No such file or directory"}}) {
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
                       "#!/bin/sh\nprintf '%s.' \"$@\" >/usr/quillmark/ran\ntest $# = 2\n");
    fs::permissions("/usr/quillmark/sudo", fs::perms::owner_all);
    (void)setenv("PATH", "/usr/quillmark", 1);
    for (const auto& [path, target, ran, line] :
         {std::tuple{"/x", NonQuillmark, "", "error QM: SoC: Target machine does not have a System-on-Chip!"},
          {"/a b", Talus, "qm_load-bitstream./a b.", "debug QM: SoC: Loading bitstream \"/a b\""},
          {"a' 'b", Talus, "qm_load-bitstream.a.b.", "error QM: SoC: Program to load bitstream failed!"}}) {
        sandbox::writeFile("/usr/quillmark/ran", "");
        EXPECT_EQ(*line == 'd' ? 0 : -1, loadBitstream(path, target));
        EXPECT_EQ(ran, sandbox::readFile("/usr/quillmark/ran"));
        EXPECT_EQ(line, log_.lines().back());
    }
    const World empty;
    EXPECT_EQ(-1, qm_loadOnChipBitstream("/x")) << "a computer without boards is no Talus";
}

}  // namespace qm::test
