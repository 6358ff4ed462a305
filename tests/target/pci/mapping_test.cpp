#include "kernel_calls.hpp"
#include "pci_test.hpp"
#include "sandbox.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <ostream>
#include <sstream>
namespace qm::test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* kAddress = "0000:03:0a.0";

/** The kernel's line about the mapping that holds an address. */
std::string mappingAt(uintptr_t address)
{
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        std::istringstream fields(line);
        uintptr_t start = 0;
        uintptr_t end = 0;
        char dash = 0;
        fields >> std::hex >> start >> dash >> end;
        if (start <= address && address < end) return line;
    }
    return "nothing is mapped";
}

class PciMapping : public PciTest
{
public:
    PciMapping()
    {
        device_.bus = 3;
        device_.slot = 10;
        for (uintptr_t& address : device_.VirtAddress)
            address = 0xBAD;
        world_.add(board(0x1234, 0x11E8).at(3, 10).bar(0, 0xFEB00000, 0x3000).bar(2, 0x1000, 0x3000));
    }

    void record(uint32_t bar, uint64_t raw, uint32_t length)
    {
        device_.BaseAddress_raw[bar] = raw;
        device_.BaseAddress[bar] = static_cast<uint32_t>(raw) & ~0xFU;
        device_.Length[bar] = length;
    }

    static std::filesystem::path file(const std::string& name) { return World::directory(kAddress) / name; }
};

TEST_F(PciMapping, AnAlignedBarIsItsResourceFileFromTheStart)
{
    record(2, 0xFEB0000C, 0x2000);
    auto* registers = static_cast<char*>(qm_mapMemory(&device_, 2));
    ASSERT_NE(nullptr, registers);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(registers), device_.VirtAddress[2]);
    registers[0x1FFF] = 'x';
    EXPECT_EQ('x', sandbox::readFile(file("resource2")).at(0x1FFF)) << "the mapping is shared";
    std::ostringstream range;
    range << std::hex << device_.VirtAddress[2] << '-' << device_.VirtAddress[2] + 0x2000
          << " rw-s 00000000 ";
    EXPECT_THAT(mappingAt(device_.VirtAddress[2]), StartsWith(range.str()));
    EXPECT_THAT(log_.lines(), ElementsAre("debug QM: Opening: /sys/bus/pci/devices/0000:03:0a.0/resource2"));
    EXPECT_EQ(0xBADU, device_.VirtAddress[0]);
}

struct SmallBar
{
    const char* name;
    uint64_t raw;
    uint32_t baseAddress;
    uint32_t length;
    uint64_t physical;  // where it must be found
};

void PrintTo(const SmallBar& row, std::ostream* out)
{
    *out << row.name;
}

class PciSmallBar : public PciMapping, public testing::WithParamInterface<SmallBar>
{};

TEST_P(PciSmallBar, IsMappedFromPhysicalMemory)
{
    const SmallBar& bar = GetParam();
    sandbox::freshDirectory("/dev");
    sandbox::sparseFile("/dev/mem", uint64_t{64} << 30);
    std::fstream memory("/dev/mem", std::ios::in | std::ios::out | std::ios::binary);
    memory.seekp(static_cast<std::streamoff>(bar.physical)) << "first" << std::flush;
    memory.seekp(static_cast<std::streamoff>(bar.physical + bar.length - 1)) << "L" << std::flush;
    record(0, bar.raw, bar.length);
    device_.BaseAddress[0] = bar.baseAddress;

    auto* registers = static_cast<char*>(qm_mapMemory(&device_, 0));
    ASSERT_NE(nullptr, registers);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(registers), device_.VirtAddress[0]);
    EXPECT_EQ("first", std::string(registers, 5));
    EXPECT_EQ('L', registers[bar.length - 1]);
    registers[0] = 'F';
    char written = 0;
    memory.seekg(static_cast<std::streamoff>(bar.physical)).get(written);
    EXPECT_EQ('F', written);
}

INSTANTIATE_TEST_SUITE_P(
    At, PciSmallBar,
    testing::Values(SmallBar{"LowAddress", 0x1800, 0x1800, 0x100, 0x1800},
                    SmallBar{"TheExampleOfTheGuide", 0xFEB00800, 0xFEB00800, 0x100, 0xFEB00800},
                    SmallBar{"TwoGiB", 0x80000010, 0x80000010, 0x40, 0x80000010},
                    SmallBar{"AcrossAPageEnd", 0xFEB00800, 0xFEB00800, 0x1000, 0xFEB00800},
                    SmallBar{"TheLastPageBelowFourGiB", 0xFFFFF80C, 0xFFFFF800, 0x100, 0xFFFFF800},
                    SmallBar{"AboveFourGiB", 0xC8000080C, 0x80000800, 0x100, 0xC80000800},
                    SmallBar{"TheRecordsOwnAddress", 0xC00001800, 0xFEB00800, 0x100, 0xFEB00800},
                    SmallBar{"AnAddressWithoutARawOne", 0, 0xFEB00800, 0x100, 0xFEB00800}),
    [](const auto& row) { return row.param.name; });

TEST_F(PciMapping, ABoardThatIsNotEnabledIsEnabledWithASingleCharacter)
{
    record(0, 0xFEB00000, 0x1000);
    for (const auto& [content, enabled] : {std::pair{"0\n", true},
                                           {"1\n", false},
                                           {"12\n", false},
                                           {"0", true},
                                           {"00000000012", true},
                                           {"00000001", false}}) {
        SCOPED_TRACE(content);
        sandbox::writeFile(file("enable"), content);
        const KernelCalls calls;
        ASSERT_NE(nullptr, qm_mapMemory(&device_, 0));
        using Writes = std::vector<FileWrite>;
        EXPECT_EQ((enabled ? Writes{{"enable", -1, "1"}} : Writes{}), calls.writes);
    }
    EXPECT_THAT(log_.linesFrom("info"), IsEmpty());
}

TEST_F(PciMapping, ABoardThatCannotBeEnabledIsMappedWithAWarning)
{
    record(0, 0xFEB00000, 0x1000);
    const std::string path = file("enable");

    sandbox::writeFile(path, "0\n");
    KernelCalls calls;
    calls.refuseWith = EPERM;
    EXPECT_NE(nullptr, qm_mapMemory(&device_, 0));
    EXPECT_THAT(log_.linesFrom("info"),
                ElementsAre("warning QM: Failed to write " + path + ": Operation not permitted"));
    log_.clear();

    std::filesystem::remove(path);
    EXPECT_NE(nullptr, qm_mapMemory(&device_, 0));
    EXPECT_THAT(log_.linesFrom("info"),
                ElementsAre("warning QM: Failed to open " + path + ": No such file or directory"));
    log_.clear();

    std::filesystem::create_directory(path);
    EXPECT_NE(nullptr, qm_mapMemory(&device_, 0));
    EXPECT_THAT(log_.linesFrom("info"),
                ElementsAre("warning QM: Failed to read " + path + ": Is a directory"));
}

struct Obstacle
{
    const char* name;
    uint32_t address, length;
    void (*put)();
    int error;
    const char* text;
    uintptr_t addressAfter = 0;
};

void PrintTo(const Obstacle& row, std::ostream* out)
{
    *out << row.name;
}

class PciUnmappable : public PciMapping, public testing::WithParamInterface<Obstacle>
{};

TEST_P(PciUnmappable, GivesNullAnErrorLineAndTheKernelsErrno)
{
    const Obstacle& obstacle = GetParam();
    record(0, obstacle.address, obstacle.length);
    sandbox::freshDirectory("/dev");
    obstacle.put();
    errno = 0;
    void* registers = qm_mapMemory(&device_, 0);
    const int error = errno;
    EXPECT_EQ(nullptr, registers);
    EXPECT_EQ(obstacle.error, error);
    EXPECT_THAT(log_.linesFrom("info"),
                ElementsAre(testing::AllOf(StartsWith("error QM: "), HasSubstr(obstacle.text))));
    EXPECT_EQ(obstacle.addressAfter, device_.VirtAddress[0]);
}

INSTANTIATE_TEST_SUITE_P(
    Because, PciUnmappable,
    testing::Values(Obstacle{"NoResourceFile", 0xFEB00000, 0x1000,
                             [] { std::filesystem::remove(World::directory(kAddress) / "resource0"); },
                             ENOENT, "Failed opening PCI device: No such file or directory", 0xBAD},
                    Obstacle{"TheLengthIsZero", 0xFEB00000, 0, [] {}, EINVAL, "Invalid argument"},
                    Obstacle{"TheResourceCannotBeMapped", 0xFEB00000, 0x1000,
                             [] {
                                 std::filesystem::remove(World::directory(kAddress) / "resource0");
                                 ASSERT_EQ(0,
                                           mkfifo((World::directory(kAddress) / "resource0").c_str(), 0600));
                             },
                             ENODEV, "No such device"},
                    Obstacle{"PhysicalMemoryIsMissing", 0xFEB00800, 0x100, [] {}, ENOENT,
                             "No such file or directory"},
                    Obstacle{"PhysicalMemoryCannotBeMapped", 0xFEB00800, 0x100,
                             [] { ASSERT_EQ(0, mkfifo("/dev/mem", 0600)); }, ENODEV, "No such device"}),
    [](const auto& row) { return row.param.name; });

TEST_F(PciMapping, TheResourceFileMustOpenEvenWhenPhysicalMemoryIsMapped)
{
    record(0, 0x1800, 0x100);
    sandbox::freshDirectory("/dev");
    sandbox::sparseFile("/dev/mem", 0x10000);
    std::filesystem::remove(file("resource0"));
    EXPECT_EQ(nullptr, qm_mapMemory(&device_, 0));
}

TEST_F(PciMapping, PortsAreRequestedAndTheirBaseIsReturnedEvenWhenRefused)
{
    record(1, 0xE00D, 0x20);
    KernelCalls calls;
    EXPECT_EQ(0xE000U, reinterpret_cast<uintptr_t>(qm_mapIo(&device_, 1)));
    EXPECT_THAT(calls.ports, ElementsAre(PortRequest{0xE000, 0x20, 1}));
    EXPECT_THAT(log_.lines(), IsEmpty());

    calls.refuseWith = EPERM;
    EXPECT_EQ(0xE000U, reinterpret_cast<uintptr_t>(qm_mapIo(&device_, 1)));
    EXPECT_THAT(log_.lines(), ElementsAre("error QM: ioperm returns -1: Operation not permitted"));
}

}  // namespace

}  // namespace qm::test
