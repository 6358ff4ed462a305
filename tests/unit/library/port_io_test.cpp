#include "faulting_instructions.hpp"
#include "log_capture.hpp"
#include <qm.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/io.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A port instruction, as the processor saw it.
struct Access
{
    std::string instruction;
    uint64_t port;
    uint64_t value;

    bool operator==(const Access&) const = default;
};

struct Grant
{
    unsigned long from, count;
    int on;

    bool operator==(const Grant&) const = default;
};

constexpr uint64_t kAnswer = 0x123456789ABCDEF0;

std::vector<Access> accesses;
std::vector<Grant> grants;
int refuseWith = 0;

std::size_t access(const unsigned char* code, greg_t* registers)
{
    const bool is16Bits = code[0] == 0x66;
    const unsigned operation = code[is16Bits ? 1 : 0];
    if ((operation & ~3U) != 0xEC) return 0;
    const bool isByte = (operation & 1) == 0;
    const bool isOutput = (operation & 2) != 0;
    const uint64_t mask = isByte ? 0xFF : is16Bits ? 0xFFFF : 0xFFFFFFFF;
    const auto held = static_cast<uint64_t>(registers[REG_RAX]);
    const std::string width = isByte ? "8" : is16Bits ? "16" : "32";
    accesses.push_back({(isOutput ? "out" : "in") + width, static_cast<uint64_t>(registers[REG_RDX]) & 0xFFFF,
                        isOutput ? held & mask : 0});
    if (!isOutput) registers[REG_RAX] = static_cast<greg_t>((held & ~mask) | (kAnswer & mask));
    return is16Bits ? 2 : 1;
}

class PortIo : public testing::Test
{
protected:
    qm::test::LogCapture log_;
    FaultingInstructions ports_{&access};  // a thread without access to any port faults
};

TEST_F(PortIo, EachWidthIsOneInstructionAtThePortsLow16Bits)
{
    EXPECT_EQ(0xF0, qm_inpB(0xE000));
    EXPECT_EQ(0xDEF0, qm_inpW(0x7FFF00010002));
    EXPECT_EQ(0x9ABCDEF0, qm_inpDW(0xFFFF));
    qm_outpB(0xE001, 0xA1);
    qm_outpW(0xFFFFFFFFFFFFE002, 0xB1B2);
    qm_outpDW(0x1E004, 0xC1C2C3C4);
    EXPECT_THAT(accesses, ElementsAre(Access{"in8", 0xE000, 0}, Access{"in16", 2, 0},
                                      Access{"in32", 0xFFFF, 0}, Access{"out8", 0xE001, 0xA1},
                                      Access{"out16", 0xE002, 0xB1B2}, Access{"out32", 0xE004, 0xC1C2C3C4}));
    EXPECT_THAT(grants, IsEmpty());
}

TEST_F(PortIo, TheConfigurationPortsAreAskedForAtEveryAccess)
{
    qm_outpDW(0xCF8, 0x80000000);
    (void)qm_inpB(0xCFC);
    (void)qm_inpW(0xCFC);
    (void)qm_inpDW(0xCFC);
    qm_outpB(0xCFC, 1);
    qm_outpW(0xCF8, 1);
    constexpr Grant address{0xCF8, 32, 1};
    constexpr Grant data{0xCFC, 32, 1};
    EXPECT_THAT(grants, ElementsAre(address, data, data, data, data, address));
    EXPECT_EQ(6U, accesses.size());
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PortIo, NoOtherPortIsAskedFor)
{
    for (const uintptr_t port : {0xCF4U, 0xCF7U, 0xCF9U, 0xCFBU, 0xCFDU, 0xCFFU, 0x10CF8U, 0x10CFCU})
        (void)qm_inpB(port);
    EXPECT_THAT(grants, IsEmpty());
    EXPECT_EQ(8U, accesses.size());
}

TEST_F(PortIo, ARefusalIsLoggedAndTheAccessMade)
{
    refuseWith = EPERM;
    EXPECT_EQ(0xF0, qm_inpB(0xCFC));
    EXPECT_THAT(log_.lines(), ElementsAre("error QM: ioperm returns -1: Operation not permitted"));
    EXPECT_EQ(1U, accesses.size());
}

TEST(PortIoDeathTest, APortWithoutAccessEndsTheProcess)
{
    EXPECT_EXIT((void)qm_inpB(0xCF9), testing::KilledBySignal(SIGSEGV), "");
}

TEST(Abilities, AreAlwaysSet)
{
    EXPECT_EQ(0, qm_setAbilities());
    EXPECT_THAT(grants, IsEmpty());
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int ioperm(unsigned long from, unsigned long count,
                                                             int on) noexcept
{
    grants.push_back({from, count, on});
    errno = refuseWith;
    return refuseWith == 0 ? 0 : -1;
}
