#include "pci_test.hpp"

namespace {

using namespace qm::test;

struct PciMapping : PciTest
{
    PciMapping()
    {
        device_.bus = 3;
        device_.slot = 10;
        world_.add(board(0x1234, 0x11E8).at(3, 10).bar(0, 0xFEB00000, 0x3000).bar(2, 0x1000, 0x3000));
        sandbox::freshDirectory("/dev");
    }

    void record(uint32_t bar, uint64_t raw, uint32_t length)
    {
        device_.BaseAddress_raw[bar] = raw;
        device_.BaseAddress[bar] = static_cast<uint32_t>(raw) & ~0xFU;
        device_.Length[bar] = length;
    }

    static std::string file(const std::string& name) { return World::directory("0000:03:0a.0") / name; }
};

TEST_F(PciMapping, ABarInsideAPageIsMappedFromPhysicalMemory)
{
    sandbox::sparseFile("/dev/mem", uint64_t{64} << 30);
    std::fstream memory("/dev/mem", std::ios::in | std::ios::out | std::ios::binary);
    // the raw address, the record's own, the length, where it must be found
    for (const auto& [raw, baseAddress, length, physical] :
         {std::tuple<uint64_t, uint32_t, uint32_t, uint64_t>{0x80000010, 0x80000010, 0x40, 0x80000010},
          {0xFEB00800, 0xFEB00800, 0x1000, 0xFEB00800},  // across a page's end
          {0xFFFFF80C, 0xFFFFF800, 0x100, 0xFFFFF800},   // the last page below 4 GiB
          {0xC8000080C, 0x80000800, 0x100, 0xC80000800},
          {0xC00001800, 0xFEB00800, 0x100, 0xFEB00800}}) {  // not the raw address of this record
        SCOPED_TRACE(testing::Message() << std::hex << raw);
        memory.seekp(static_cast<std::streamoff>(physical)) << "first" << std::flush;
        record(0, raw, length);
        device_.BaseAddress[0] = baseAddress;
        const auto* registers = static_cast<char*>(qm_mapMemory(&device_, 0));
        ASSERT_NE(nullptr, registers);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(registers), device_.VirtAddress[0]);
        EXPECT_EQ("first", std::string(registers, 5));
    }
}

TEST_F(PciMapping, ABoardThatIsNotEnabledIsEnabledWithASingleCharacterOrMappedWithAWarning)
{
    record(0, 0xFEB00000, 0x1000);
    const std::string path = file("enable");
    using Writes = std::vector<Write>;
    for (const auto& [content, enabled] :
         {std::pair{"0\n", true}, {"1\n", false}, {"12\n", false}, {"0", true}, {"00000000012", true}}) {
        SCOPED_TRACE(content);
        sandbox::writeFile(path, content);
        kernel.writes.clear();
        ASSERT_NE(nullptr, qm_mapMemory(&device_, 0));
        EXPECT_EQ((enabled ? Writes{{path, -1, "1"}} : Writes{}), kernel.writes);
    }
    sandbox::writeFile(path, "0\n");
    kernel.answers[path] = [] { return -EPERM; };
    EXPECT_NE(nullptr, qm_mapMemory(&device_, 0));
    fs::remove(path);
    EXPECT_NE(nullptr, qm_mapMemory(&device_, 0));
    fs::create_directory(path);
    EXPECT_NE(nullptr, qm_mapMemory(&device_, 0));
    EXPECT_EQ("debug QM: Opening: " + file("resource0"), log_.lines().front());
    EXPECT_THAT(log_.notes(),
                ElementsAre("warning QM: Failed to write " + path + ": Operation not permitted",
                            "warning QM: Failed to open " + path + ": No such file or directory",
                            "warning QM: Failed to read " + path + ": Is a directory"));
}

TEST_F(PciMapping, ABarThatCannotBeMappedGivesNullAnErrorLineAndTheKernelsErrno)
{
    const auto failsWith = [this](int expected, const std::string& text, uintptr_t addressAfter) {
        SCOPED_TRACE(text);
        device_.VirtAddress[0] = 0xBAD;
        log_.clear();
        errno = 0;
        const void* registers = qm_mapMemory(&device_, 0);
        const int error = errno;
        EXPECT_EQ(nullptr, registers);
        EXPECT_EQ(expected, error);
        EXPECT_THAT(log_.notes(), ElementsAre(AllOf(StartsWith("error QM: "), HasSubstr(text))));
        EXPECT_EQ(addressAfter, device_.VirtAddress[0]);
    };
    record(0, 0xFEB00800, 0x100);
    failsWith(ENOENT, "No such file or directory", 0);  // no physical memory
    ASSERT_EQ(0, mkfifo("/dev/mem", 0600));
    failsWith(ENODEV, "No such device", 0);
    fs::remove(file("resource0"));
    failsWith(ENOENT, "Failed opening PCI device: No such file or directory", 0xBAD);  // though not mapped

    log_.clear();
    EXPECT_EQ(nullptr, qm_mapMemory(&device_, 6));
    EXPECT_EQ(nullptr, qm_mapIo(&device_, UINT32_MAX));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_THAT(log_.lines(), ElementsAre("error QM: qm_mapMemory: BAR 6 is not one of 0 to 5",
                                          "error QM: qm_mapIo: BAR 4294967295 is not one of 0 to 5"));
}

TEST_F(PciMapping, PortsAreRequestedAndTheirBaseIsReturnedEvenWhenRefused)
{
    record(1, 0xE00D, 0x20);
    EXPECT_EQ(0xE000U, reinterpret_cast<uintptr_t>(qm_mapIo(&device_, 1)));
    EXPECT_THAT(kernel.ports, ElementsAre(PortRequest{0xE000, 0x20, 1}));
    kernel.refusal = EPERM;
    EXPECT_EQ(0xE000U, reinterpret_cast<uintptr_t>(qm_mapIo(&device_, 1)));
    EXPECT_THAT(log_.lines(), ElementsAre("error QM: ioperm returns -1: Operation not permitted"));
}

}  // namespace
