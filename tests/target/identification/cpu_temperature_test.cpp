#include "qm_target/cpuid.hpp"
#include "target_test.hpp"

#include <sys/stat.h>

static uint32_t leaf1Edx = 1U << 5, leaf6Eax = 1U << 6 | 1U << 0;  // a processor with a sensor in its package

// The processor that the function under test asks.
qm::CpuidLeaf qm::cpuid(uint32_t leaf)
{
    return leaf == 1 ? CpuidLeaf{~leaf1Edx, leaf1Edx} : CpuidLeaf{leaf6Eax, ~leaf6Eax};
}

namespace qm::test {

class CpuTemperature : public TargetTest
{
protected:
    CpuTemperature() { sandbox::freshDirectory("/dev/cpu/0"); }

    void expect(int temperature, const std::string& line)
    {
        log_.clear();
        EXPECT_EQ(temperature, qm_getCpuTemperature());
        EXPECT_EQ(line, log_.lines().empty() ? "" : log_.lines().back());
    }

    const std::string msr_ = "/dev/cpu/0/msr";
    /** The core's is 35, the package's 127 degrees below; all other bits are set. */
    const std::string registers_ = std::string(0x19E, '\xFF') + '\xA3' + std::string(0x1B9 - 0x19F, '\xFF');
};

TEST_F(CpuTemperature, IsThatOfTheCoreOnceTheProcessorHasThatSensorOnly)
{
    sandbox::writeFile(msr_, registers_);
    for (const auto& [edx, eax, temperature, line] :
         {std::tuple{~(1U << 5), ~0U, -1, "error QM: CPU not supported"},
          {1U << 5, ~1U, -1, "error QM: CPU temperature readout not supported"},
          {1U << 5, ~1U, -1, "error QM: CPU temperature readout not supported"},
          {1U << 5, ~(1U << 6), 65,
           "debug QM: No die temperature sensor available. Reading core temperature instead"},
          {0U, 0U, 65, ""}}) {
        leaf1Edx = edx;
        leaf6Eax = eax;
        expect(temperature, line);
    }
}

TEST_F(CpuTemperature, IsThatOfThePackageOrTheReasonGivenAtEveryCall)
{
    expect(-1, "error QM: /dev/cpu/0/msr doesn't exist.");
    ASSERT_EQ(0, mknod(msr_.c_str(), S_IFCHR, 0)) << "a device where none may be";
    expect(-1, "error QM: No permission to open /dev/cpu/0/msr.");
    std::filesystem::remove(msr_);
    std::filesystem::create_symlink("msr", msr_);
    expect(-1, "error QM: Unable to open /dev/cpu/0/msr : Too many levels of symbolic links");
    std::filesystem::remove(msr_);
    sandbox::writeFile(msr_, registers_.substr(1));
    expect(-1, "error QM: Error: Read of register 0x1b1 failed : Input/output error");
    sandbox::writeFile(msr_, registers_);
    expect(100 - 127, "");
}

}  // namespace qm::test
