#include "pci_test.hpp"

namespace {

using namespace qm::test;

// What the kernel makes of the address is the virtual target's.
TEST_F(PciTest, ADriverFileThatCannotBeOpenedFailsItsCallButUnbindingFailsNoBinding)
{
    device_.bus = 0x1a;
    device_.slot = 0x1f;
    world_.add(board(0x1234, 0x11E8).at(0x1a, 0x1f));
    sandbox::writeFile("/sys/bus/pci/drivers/uio/bind", "");
    EXPECT_EQ(0, qm_pci_unbindDriver(&device_)) << "no driver has the board";
    for (const char* directory : {"/sys/bus/pci/drivers/old/unbind", "/sys/bus/pci/drivers_probe"})
        fs::create_directories(directory);
    fs::create_symlink("../../drivers/old", World::directory("0000:1a:1f.0") / "driver");
    kernel.writes.clear();

    EXPECT_EQ(-1, qm_pci_unbindDriver(&device_));
    EXPECT_EQ(0, qm_pci_bindDriver(&device_, "uio"));
    EXPECT_EQ(-1, qm_pci_bindDriver(&device_, "missing"));
    EXPECT_EQ(-1, qm_pci_bindDriver(&device_, std::string(300, 'x').c_str()));
    EXPECT_EQ(-1, qm_pci_probeDriver(&device_));
    EXPECT_THAT(kernel.writes, ElementsAre(Write{"/sys/bus/pci/drivers/uio/bind", -1, "0000:1a:1f.0"}));
    const std::string stillBound =
        "info QM: qm_pci_unbindDriver: Could not open unbind file "
        "/sys/bus/pci/devices/0000:1a:1f.0/driver/unbind for writing: Is a directory";
    EXPECT_THAT(
        log_.lines(),
        ElementsAre(stillBound, stillBound, stillBound,
                    "info QM: Could not open bind file /sys/bus/pci/drivers/missing/bind for writing.",
                    stillBound, testing::EndsWith(" for writing."),
                    "info QM: Could not open probe file /sys/bus/pci/drivers_probe for writing."));
}

TEST_F(PciTest, ADriverOfNoBoardIsRefusedByName)
{
    EXPECT_EQ(-1, qm_pci_unbindDriver(nullptr));
    EXPECT_EQ(-1, qm_pci_bindDriver(nullptr, "uio"));
    EXPECT_EQ(-1, qm_pci_probeDriver(nullptr));
    EXPECT_THAT(log_.lines(), ElementsAre("info QM: qm_pci_unbindDriver: device is null.",
                                          "info QM: qm_pci_bindDriver: device is null.",
                                          "info QM: qm_pci_probeDriver: device is null."));
}

}  // namespace
