#include "pci_test.hpp"
#include "sandbox.hpp"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <fstream>

namespace qm::test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::filesystem::path kBound = "/sys/bus/pci/devices/0000:1a:1f.0/driver";
const std::filesystem::path kUnbind = "/sys/bus/pci/drivers/old/unbind";
const std::filesystem::path kBind = "/sys/bus/pci/drivers/uio/bind";
const std::filesystem::path kProbe = "/sys/bus/pci/drivers_probe";

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
    }
};

TEST_F(PciDriver, UnbindingAndProbingWriteTheBoardsAddress)
{
    EXPECT_EQ(0, qm_pci_unbindDriver(&device_));
    EXPECT_EQ("0000:1a:1f.0", sandbox::readFile(kUnbind));
    EXPECT_EQ(0, qm_pci_probeDriver(&device_));
    EXPECT_EQ("0000:1a:1f.0", sandbox::readFile(kProbe));
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PciDriver, UnbindingABoardWithoutADriverIsDoneSilently)
{
    std::filesystem::remove(kBound);
    EXPECT_EQ(0, qm_pci_unbindDriver(&device_));
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PciDriver, BindingUnbindsFirst)
{
    const int watcher = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    const int unbound = inotify_add_watch(watcher, kUnbind.c_str(), IN_CLOSE_WRITE);
    const int bound = inotify_add_watch(watcher, kBind.c_str(), IN_OPEN | IN_CLOSE_WRITE);
    EXPECT_EQ(0, qm_pci_bindDriver(&device_, "uio"));
    std::array<inotify_event, 8> events{};
    const ssize_t size = read(watcher, events.data(), sizeof events);
    close(watcher);
    ASSERT_EQ(3 * sizeof(inotify_event), static_cast<size_t>(size));
    EXPECT_EQ(unbound, events[0].wd);
    EXPECT_EQ(bound, events[1].wd);
    EXPECT_EQ("0000:1a:1f.0", sandbox::readFile(kUnbind));
    EXPECT_EQ("0000:1a:1f.0", sandbox::readFile(kBind));
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PciDriver, BindingGoesOnWhenUnbindingFails)
{
    std::filesystem::remove(kUnbind);
    std::filesystem::create_directory(kUnbind);
    EXPECT_EQ(-1, qm_pci_unbindDriver(&device_));
    const std::string complaint =
        "info QM: qm_pci_unbindDriver: Could not open unbind file "
        "/sys/bus/pci/devices/0000:1a:1f.0/driver/unbind for writing: Is a directory";
    EXPECT_THAT(log_.lines(), ElementsAre(complaint));
    EXPECT_EQ(0, qm_pci_bindDriver(&device_, "uio"));
    EXPECT_EQ("0000:1a:1f.0", sandbox::readFile(kBind));
    EXPECT_THAT(log_.lines(), ElementsAre(complaint, complaint));
}

TEST_F(PciDriver, FilesThatCannotBeOpenedFailTheCall)
{
    EXPECT_EQ(-1, qm_pci_bindDriver(&device_, "missing"));
    EXPECT_EQ(-1, qm_pci_bindDriver(&device_, std::string(300, 'x').c_str()));
    std::filesystem::remove(kProbe);
    std::filesystem::create_directory(kProbe);
    EXPECT_EQ(-1, qm_pci_probeDriver(&device_));
    EXPECT_EQ("info QM: Could not open bind file /sys/bus/pci/drivers/missing/bind for writing.",
              log_.lines().front());
    EXPECT_EQ("info QM: Could not open probe file /sys/bus/pci/drivers_probe for writing.",
              log_.lines().back());
}

TEST_F(PciDriver, WhatTheKernelAnswersToTheAddressIsNotSeen)
{
    for (const auto& file : {kUnbind, kBind, kProbe}) {
        std::filesystem::remove(file);
        std::filesystem::create_symlink("/dev/full", file);  // opens, and refuses every write
    }
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
    EXPECT_EQ("", sandbox::readFile(kBind));
}

}  // namespace

}  // namespace qm::test
