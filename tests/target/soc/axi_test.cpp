#include "target_test.hpp"

#include <sys/mman.h>
namespace qm::test {

namespace {

namespace fs = std::filesystem;

const std::string kUio = "/sys/class/uio/uio";
const std::string kRegion = "/sys/class/uio/uio7/maps/map1/";
const std::string kNode = "/dev/uio7";

class Axi : public TargetTest
{
public:
    Axi()
    {
        for (const char* path : {"/sys", "/proc/irq", "/dev"})
            sandbox::freshDirectory(path);
    }

protected:
    qm_AxiDevice device_{-1, "untouched"};
};

TEST_F(Axi, ADeviceIsFoundByTheFirstWordOfItsNameUpToTheFirstGap)
{
    for (const auto& [number, name] :
         {std::pair{"0", "foobar\n"}, {"1", " foo bar\n"}, {"2", "foo\n"}, {"4", "late\n"}})
        sandbox::writeFile(kUio + number + "/name", name);
    for (const char* missing : {"foo bar", "late", "bar"}) {
        EXPECT_EQ(-1, qm_findAxiDevice(&device_, missing));
        EXPECT_EQ("Could not find " + std::string(missing), pQmErrorStr);
    }
    EXPECT_STREQ("untouched", device_.uioDevPath);
    EXPECT_EQ(0, qm_findAxiDevice(&device_, "foo"));
    EXPECT_EQ(1, device_.uioIndex);
    EXPECT_STREQ("/dev/uio1", device_.uioDevPath);
    fs::remove(kUio + "0/name");
    fs::create_directory(kUio + "0/name");
    EXPECT_EQ(-1, qm_findAxiDevice(&device_, "foo"));
    EXPECT_STREQ("Failed to read /sys/class/uio/uio0/name", pQmErrorStr);
}

TEST_F(Axi, ARegionIsMappedAtItsOffsetOnceAllThatItNeedsIsThere)
{
    device_ = {7, "/dev/uio7"};
    const auto error = [&] {
        EXPECT_EQ(nullptr, qm_mapAxiBar(&device_, 1));
        return std::string(pQmErrorStr);
    };
    for (const auto& [attribute, value] :
         {std::pair{"addr", "0xa0000000\n"}, {"offset", "0x2000\n"}, {"size", "0x1000\n"}}) {
        const std::string path = kRegion + attribute;
        EXPECT_EQ("Could not find " + path, error());
        fs::create_directories(path);
        EXPECT_EQ("Failed to read " + path, error());
        fs::remove(path);
        sandbox::writeFile(path, "2000\n");
        EXPECT_EQ("Failed to read " + path, error());
        sandbox::writeFile(path, value);
    }
    EXPECT_EQ("Failed to open /dev/uio7: No such file or directory", error());

    sandbox::writeFile(kNode, std::string(0x2000, 'a') + std::string(0x1000, 'b'));
    auto* const mapping = static_cast<char*>(qm_mapAxiBar(&device_, 1));
    ASSERT_NE(nullptr, mapping);
    EXPECT_EQ('b', mapping[0]);
    mapping[0xFFF] = 'c';
    EXPECT_EQ('c', sandbox::readFile(kNode).back());
    (void)munmap(mapping, 0x1000);

    sandbox::writeFile(kRegion + "offset", "0x10\n");
    EXPECT_EQ(descriptors_, openDescriptors());
    EXPECT_EQ("Failed to map memory: Invalid argument", error());
    EXPECT_EQ(descriptors_.size() + 1, openDescriptors().size());
    descriptors_ = openDescriptors();
}

TEST_F(Axi, AnInterruptIsPlacedByTheNameOfItsHandlersDirectory)
{
    const std::string longest = std::string(250, 'x') + '/' + std::string(511 - 264, 'y');
    const std::string tooLong = longest + 'y';
    for (const auto& directory :
         {std::string("12a/letters"), std::string("12/fabric"), std::string("13/onOne"),
          std::string("14/noList"), "15/" + longest, "15/" + tooLong})
        fs::create_directories("/proc/irq/" + directory);
    for (const char* irq : {"12", "12a", "15"})
        sandbox::writeFile("/proc/irq/" + std::string(irq) + "/smp_affinity_list", "0-3\n");
    sandbox::writeFile("/proc/irq/13/smp_affinity_list", "1\n");
    sandbox::writeFile("/proc/irq/12/file", "");

    const auto unknown = [](const std::string& name) {
        return "Failed to get IRQ number for AXI device " + name;
    };
    for (const auto& [name, cpu, list, listAfter, number, error] :
         {std::tuple<std::string, int, std::string, std::string, int, std::string>{"fabric", -1, "12",
                                                                                   "0-3\n", 0, ""},
          {"fabric", 2, "12", "2\n", 0, ""},
          {"onOne", 3, "13", "1\n", 0, ""},
          {longest, 0, "15", "0\n", 0, ""},
          {tooLong, 1, "15", "0\n", ENOENT, unknown(tooLong).substr(0, 499)},
          {"letters", 1, "12a", "0-3\n", ENOENT, unknown("letters")},
          {"file", 1, "12", "2\n", ENOENT, unknown("file")},
          {"noList", 3, "13", "1\n", ENOENT,
           "Failed to set IRQ 14 affinity to CPU 3: No such file or directory"},
          {"", 1, "12", "2\n", EINVAL, "Invalid AXI device name"}}) {
        SCOPED_TRACE(name);
        errno = 0;
        pQmErrorStr[0] = '\0';
        EXPECT_EQ(number == 0 ? 0 : -1, qm_setAxiIrqAffinity(name.c_str(), cpu));
        EXPECT_EQ(number, errno);
        EXPECT_EQ(error, pQmErrorStr);
        EXPECT_EQ(listAfter, sandbox::readFile("/proc/irq/" + list + "/smp_affinity_list"));
    }
    EXPECT_EQ(-1, qm_setAxiIrqAffinity(nullptr, 1));
}

}  // namespace

}  // namespace qm::test
