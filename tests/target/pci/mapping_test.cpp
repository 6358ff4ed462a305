#include "kernel_calls.hpp"
#include "pci_test.hpp"
#include "sandbox.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>

namespace qm::test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* kAddress = "0000:03:0a.0";

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
    registers[0] = 'a';
    registers[0x1FFF] = 'z';
    EXPECT_EQ('a', sandbox::readFile(file("resource2")).at(0)) << "the mapping is shared";
    EXPECT_EQ('z', sandbox::readFile(file("resource2")).at(0x1FFF));
    EXPECT_THAT(log_.lines(), ElementsAre("debug QM: Opening: /sys/bus/pci/devices/0000:03:0a.0/resource2"));
    EXPECT_EQ(0xBADU, device_.VirtAddress[0]);
}

TEST_F(PciMapping, ABarInsideAPageIsMappedFromPhysicalMemory)
{
    sandbox::freshDirectory("/dev");
    sandbox::sparseFile("/dev/mem", uint64_t{64} << 30);
    std::fstream memory("/dev/mem", std::ios::in | std::ios::out | std::ios::binary);
    struct SmallBar
    {
        uint64_t raw;
        uint32_t baseAddress, length;
        uint64_t physical;  // where it must be found
    };
    for (const auto& [raw, baseAddress, length, physical] :
         {SmallBar{0x1800, 0x1800, 0x100, 0x1800}, SmallBar{0x80000010, 0x80000010, 0x40, 0x80000010},
          SmallBar{0xFEB00800, 0xFEB00800, 0x1000, 0xFEB00800},  // across a page's end
          SmallBar{0xFFFFF80C, 0xFFFFF800, 0x100, 0xFFFFF800},   // the last page below 4 GiB
          SmallBar{0xC8000080C, 0x80000800, 0x100, 0xC80000800},
          SmallBar{0xC00001800, 0xFEB00800, 0x100, 0xFEB00800}}) {  // not the raw address of this record
        SCOPED_TRACE(testing::Message() << std::hex << raw);
        memory.seekp(static_cast<std::streamoff>(physical)) << "first" << std::flush;
        memory.seekp(static_cast<std::streamoff>(physical + length - 1)) << "L" << std::flush;
        record(0, raw, length);
        device_.BaseAddress[0] = baseAddress;
        auto* registers = static_cast<char*>(qm_mapMemory(&device_, 0));
        ASSERT_NE(nullptr, registers);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(registers), device_.VirtAddress[0]);
        EXPECT_EQ("first", std::string(registers, 5));
        EXPECT_EQ('L', registers[length - 1]);
        registers[0] = 'F';
        char written = 0;
        memory.seekg(static_cast<std::streamoff>(physical)).get(written);
        EXPECT_EQ('F', written);
    }
}

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
    EXPECT_THAT(log_.notes(), IsEmpty());
}

TEST_F(PciMapping, ABoardThatCannotBeEnabledIsMappedWithAWarning)
{
    record(0, 0xFEB00000, 0x1000);
    const std::string path = file("enable");

    sandbox::writeFile(path, "0\n");
    KernelCalls calls;
    calls.refuseWith = EPERM;
    EXPECT_NE(nullptr, qm_mapMemory(&device_, 0));
    std::filesystem::remove(path);
    EXPECT_NE(nullptr, qm_mapMemory(&device_, 0));
    std::filesystem::create_directory(path);
    EXPECT_NE(nullptr, qm_mapMemory(&device_, 0));
    EXPECT_THAT(log_.notes(),
                ElementsAre("warning QM: Failed to write " + path + ": Operation not permitted",
                            "warning QM: Failed to open " + path + ": No such file or directory",
                            "warning QM: Failed to read " + path + ": Is a directory"));
}

TEST_F(PciMapping, ABarThatCannotBeMappedGivesNullAnErrorLineAndTheKernelsErrno)
{
    sandbox::freshDirectory("/dev");
    const auto failsWith = [this](int expected, const std::string& text, uintptr_t addressAfter = 0) {
        device_.VirtAddress[0] = 0xBAD;
        log_.clear();
        errno = 0;
        const void* registers = qm_mapMemory(&device_, 0);
        const int error = errno;
        EXPECT_EQ(nullptr, registers);
        EXPECT_EQ(expected, error);
        EXPECT_THAT(log_.notes(), ElementsAre(testing::AllOf(StartsWith("error QM: "), HasSubstr(text))));
        EXPECT_EQ(addressAfter, device_.VirtAddress[0]);
    };
    record(0, 0xFEB00800, 0x100);
    failsWith(ENOENT, "No such file or directory");  // no physical memory
    ASSERT_EQ(0, mkfifo("/dev/mem", 0600));
    failsWith(ENODEV, "No such device");
    std::filesystem::rename(file("resource0"), file("away"));
    failsWith(ENOENT, "Failed opening PCI device: No such file or directory", 0xBAD);  // though not mapped
    std::filesystem::rename(file("away"), file("resource0"));
    record(0, 0xFEB00000, 0);
    failsWith(EINVAL, "Invalid argument");
    record(0, 0xFEB00000, 0x1000);
    std::filesystem::remove(file("resource0"));
    failsWith(ENOENT, "Failed opening PCI device: No such file or directory", 0xBAD);
    ASSERT_EQ(0, mkfifo(file("resource0").c_str(), 0600));
    failsWith(ENODEV, "No such device");
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
