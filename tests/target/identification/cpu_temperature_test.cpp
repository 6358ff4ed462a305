#include "qm_target/cpuid.hpp"
#include "test.hpp"

static uint32_t leaf1Edx = 1U << 5, leaf6Eax = 1U << 6 | 1U << 0;  // a processor with a sensor in its package

// The processor that the function under test asks.
qm::CpuidLeaf qm::cpuid(uint32_t leaf)
{
    return leaf == 1 ? CpuidLeaf{~leaf1Edx, leaf1Edx} : CpuidLeaf{leaf6Eax, ~leaf6Eax};
}

namespace qm::test {

/** The sensors of core 0 and of the package say 35 and 127 degrees below; all other bits are set. */
struct CpuTemperature : TargetTest
{
    CpuTemperature() { sandbox::freshDirectory("/dev/cpu/0"); }

    /** The temperature and what was logged. */
    std::string read()
    {
        log_.clear();
        std::string text = std::to_string(qm_getCpuTemperature());
        for (const std::string& line : log_.lines())
            text += ' ' + line;
        return text;
    }

    const std::string device_ = "/dev/cpu/0/msr";
    const std::string registers_ = std::string(0x19E, '\xFF') + '\xA3' + std::string(0x1B9 - 0x19F, '\xFF');
};

TEST_F(CpuTemperature, IsThatOfTheCoreOnceTheProcessorHasThatSensorOnly)
{
    sandbox::writeFile(device_, registers_);
    leaf1Edx = ~(1U << 5);
    EXPECT_EQ("-1 error QM: CPU not supported", read());
    leaf1Edx = 1U << 5;
    leaf6Eax = ~1U;
    EXPECT_EQ("-1 error QM: CPU temperature readout not supported", read());
    EXPECT_EQ("-1 error QM: CPU temperature readout not supported", read()) << "at every call";
    leaf6Eax = ~(1U << 6);
    EXPECT_EQ("65 debug QM: No die temperature sensor available. Reading core temperature instead", read());
    leaf6Eax = leaf1Edx = 0;
    EXPECT_EQ("65", read()) << "the processor is not asked again";
}

TEST_F(CpuTemperature, IsThatOfThePackageOrTheReasonGivenAtEveryCall)
{
    EXPECT_EQ("-1 error QM: /dev/cpu/0/msr doesn't exist.", read());
    ASSERT_EQ(0, mknod(device_.c_str(), S_IFCHR, 0)) << "a device where none may be";
    EXPECT_EQ("-1 error QM: No permission to open /dev/cpu/0/msr.", read());
    fs::remove(device_);
    fs::create_symlink("msr", device_);
    EXPECT_EQ("-1 error QM: Unable to open /dev/cpu/0/msr : Too many levels of symbolic links", read());
    fs::remove(device_);
    sandbox::writeFile(device_, registers_.substr(1));
    EXPECT_EQ("-1 error QM: Error: Read of register 0x1b1 failed : Input/output error", read());
    sandbox::writeFile(device_, registers_);
    EXPECT_EQ("-27", read());
}

}  // namespace qm::test
