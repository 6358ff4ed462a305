#include "qm_target/cpuid.hpp"
#include "target_test.hpp"

#include <fcntl.h>
#include <sys/syscall.h>

namespace {

const std::string kMsr = "/dev/cpu/0/msr";
uint32_t leaf1Edx = 0, leaf6Eax = 0;
int opens = 0, refusal = 0;

}  // namespace

// The function under test asks these: a processor and a device of the test's own.
qm::CpuidLeaf qm::cpuid(uint32_t leaf)
{
    if (leaf == 1) return {~leaf1Edx, leaf1Edx};
    return leaf == 6 ? CpuidLeaf{leaf6Eax, ~leaf6Eax} : CpuidLeaf{};
}

extern "C" int open(const char* path, int flags, ...)
{
    errno = refusal;
    if (path == kMsr && ++opens > 0 && refusal != 0) return -1;
    return static_cast<int>(syscall(SYS_open, path, flags, 0));
}

namespace qm::test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint32_t kMsrSupport = 1U << 5, kSensor = 1U << 0, kPackage = 1U << 6;

class CpuTemperature : public TargetTest
{
public:
    CpuTemperature() { sandbox::freshDirectory("/dev/cpu"); }

protected:
    /** Core and package status: readouts of 35 and 0 degrees below, all other bits set. */
    static void giveDevice()
    {
        std::string registers(0x200, '\xFF');
        registers.at(0x19C + 2) = '\xA3';
        registers.at(0x1B1 + 2) = '\x80';
        sandbox::writeFile(kMsr, registers);
    }
};

TEST_F(CpuTemperature, IsLookedForInTheProcessorUntilASensorIsFound)
{
    giveDevice();
    for (const auto& [edx, eax, result, line] :
         {std::tuple{~kMsrSupport, ~0U, -1, "error QM: CPU not supported"},
          {kMsrSupport, ~kSensor, -1, "error QM: CPU temperature readout not supported"},
          {kMsrSupport, ~kSensor, -1, "error QM: CPU temperature readout not supported"},
          {kMsrSupport, ~kPackage, 65,
           "debug QM: No die temperature sensor available. Reading core temperature instead"},
          {0U, 0U, 65, ""}}) {
        log_.clear();
        leaf1Edx = edx;
        leaf6Eax = eax;
        EXPECT_EQ(result, qm_getCpuTemperature());
        EXPECT_EQ(*line == '\0' ? std::vector<std::string>{} : std::vector<std::string>{line}, log_.lines());
    }
    EXPECT_EQ(2, opens);
}

TEST_F(CpuTemperature, OfThePackageIsPreferredAndEveryFailureToReadItReported)
{
    leaf1Edx = kMsrSupport;
    leaf6Eax = kSensor | kPackage;
    for (const auto& [error, line] :
         {std::pair{ENOENT, "error QM: /dev/cpu/0/msr doesn't exist."},
          {ENOENT, "error QM: /dev/cpu/0/msr doesn't exist."},
          {EACCES, "error QM: No permission to open /dev/cpu/0/msr."},
          {EPERM, "error QM: No permission to open /dev/cpu/0/msr."},
          {ENXIO, "error QM: Unable to open /dev/cpu/0/msr : No such device or address"},
          {0, "error QM: Error: Read of register 0x1b1 failed : Input/output error"}}) {
        SCOPED_TRACE(error);
        log_.clear();
        refusal = error;
        if (error == 0) sandbox::writeFile(kMsr, std::string(0x1B1 + 7, '\0'));
        EXPECT_EQ(-1, qm_getCpuTemperature());
        EXPECT_THAT(log_.lines(), ElementsAre(line));
    }
    giveDevice();
    log_.clear();
    EXPECT_EQ(100, qm_getCpuTemperature());
    EXPECT_THAT(log_.lines(), IsEmpty());
    EXPECT_EQ(7, opens) << "one a reading";
    sandbox::writeFile(kMsr, std::string(0x200, '\xFF'));
    EXPECT_EQ(100 - 127, qm_getCpuTemperature());
}

}  // namespace

}  // namespace qm::test
