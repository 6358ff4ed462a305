#include "kernel_calls.hpp"
#include "pci_test.hpp"
#include "sandbox.hpp"

#include <cerrno>

namespace qm::test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::filesystem::path kBound = "/sys/bus/pci/devices/0000:1a:1f.0/driver";
const std::filesystem::path kUnbind = "/sys/bus/pci/drivers/old/unbind";
const std::filesystem::path kBind = "/sys/bus/pci/drivers/uio/bind";
const std::filesystem::path kProbe = "/sys/bus/pci/drivers_probe";

FileWrite addressTo(const std::string& file)
{
    return {file, -1, "0000:1a:1f.0"};
}

class PciDriver : public PciTest
{
public:
    PciDriver()
    {
        device_.bus = 0x1a;
        device_.slot = 0x1f;
        world_.add(board(0x1234, 0x11E8).at(0x1a, 0x1f));
        for (const auto& file : {kUnbind, kBind, kProbe})
            sandbox::writeFile(file, "");
        std::filesystem::create_symlink("../../drivers/old", kBound);
        calls_.writes.clear();
    }

    static void makeUnwritable(const std::filesystem::path& file)
    {
        std::filesystem::remove(file);
        std::filesystem::create_directory(file);
    }

protected:
    KernelCalls calls_;
};

TEST_F(PciDriver, EachCallWritesTheBoardsAddressAndBindingUnbindsFirst)
{
    EXPECT_EQ(0, qm_pci_unbindDriver(&device_));
    EXPECT_EQ(0, qm_pci_probeDriver(&device_));
    EXPECT_EQ(0, qm_pci_bindDriver(&device_, "uio"));
    EXPECT_THAT(calls_.writes, ElementsAre(addressTo("unbind"), addressTo("drivers_probe"),
                                           addressTo("unbind"), addressTo("bind")));
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PciDriver, UnbindingABoardWithoutADriverIsDoneSilently)
{
    std::filesystem::remove(kBound);
    EXPECT_EQ(0, qm_pci_unbindDriver(&device_));
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PciDriver, BindingGoesOnWhenUnbindingFails)
{
    makeUnwritable(kUnbind);
    EXPECT_EQ(-1, qm_pci_unbindDriver(&device_));
    EXPECT_EQ(0, qm_pci_bindDriver(&device_, "uio"));
    const std::string complaint =
        "info QM: qm_pci_unbindDriver: Could not open unbind file "
        "/sys/bus/pci/devices/0000:1a:1f.0/driver/unbind for writing: Is a directory";
    EXPECT_THAT(log_.lines(), ElementsAre(complaint, complaint));
    EXPECT_THAT(calls_.writes, ElementsAre(addressTo("bind")));
}

TEST_F(PciDriver, FilesThatCannotBeOpenedFailTheCall)
{
    makeUnwritable(kProbe);
    EXPECT_EQ(-1, qm_pci_bindDriver(&device_, "missing"));
    EXPECT_EQ(-1, qm_pci_bindDriver(&device_, std::string(300, 'x').c_str()));
    EXPECT_EQ(-1, qm_pci_probeDriver(&device_));
    EXPECT_EQ("info QM: Could not open bind file /sys/bus/pci/drivers/missing/bind for writing.",
              log_.lines().front());
    EXPECT_EQ("info QM: Could not open probe file /sys/bus/pci/drivers_probe for writing.",
              log_.lines().back());
}

TEST_F(PciDriver, WhatTheKernelAnswersToTheAddressIsNotSeen)
{
    calls_.refuseWith = ENODEV;
    EXPECT_EQ(0, qm_pci_unbindDriver(&device_));
    EXPECT_EQ(0, qm_pci_bindDriver(&device_, "uio"));
    EXPECT_EQ(0, qm_pci_probeDriver(&device_));
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PciDriver, NoBoardIsRefusedByName)
{
    EXPECT_EQ(-1, qm_pci_unbindDriver(nullptr));
    EXPECT_EQ(-1, qm_pci_bindDriver(nullptr, "uio"));
    EXPECT_EQ(-1, qm_pci_probeDriver(nullptr));
    EXPECT_THAT(log_.lines(), ElementsAre("info QM: qm_pci_unbindDriver: device is null.",
                                          "info QM: qm_pci_bindDriver: device is null.",
                                          "info QM: qm_pci_probeDriver: device is null."));
    EXPECT_THAT(calls_.writes, IsEmpty());
}

}  // namespace

}  // namespace qm::test
