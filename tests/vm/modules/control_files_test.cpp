// The real-time kernel's control files and the LED's.

#include "kernel.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>

namespace {

using qm::test::contentOf;
using qm::test::File;
using qm::test::writeOnce;

struct ControlFile
{
    const char* path;
    const char* values[2];
};

class ControlFiles : public testing::TestWithParam<ControlFile>
{};

TEST_P(ControlFiles, HoldTheLastValueThatWasWritten)
{
    const File file(GetParam().path, O_WRONLY);  // kept open, as a service does
    for (const char* value : GetParam().values) {
        EXPECT_EQ(0, file.write(value));
        EXPECT_EQ(value, contentOf(GetParam().path));
    }
}

TEST_P(ControlFiles, RefuseWhatIsNotOneWholeLine)
{
    ASSERT_EQ(0, writeOnce(GetParam().path, "1\n"));
    for (const std::string& wrong : {std::string("2"), std::string("2\n3\n"), std::string(300, '2') + "\n"})
        EXPECT_EQ(EINVAL, writeOnce(GetParam().path, wrong)) << wrong;
    EXPECT_EQ("1\n", contentOf(GetParam().path));
}

INSTANTIATE_TEST_SUITE_P(
    Kernel, ControlFiles,
    testing::Values(ControlFile{"/sys/kernel/qm/rt_cpus", {"1,3-5\n", "\n"}},
                    ControlFile{"/sys/kernel/qm/disable_hrtimer", {"1\n", "0\n"}},
                    ControlFile{"/sys/devices/platform/kite/mcu/led_pulse_period", {"3000\n", "0\n"}}),
    [](const auto& tested) { return std::filesystem::path(tested.param.path).filename().string(); });

}  // namespace
