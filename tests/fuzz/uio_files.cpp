// What sysfs and procfs say of a UIO device: name, interrupt, a region's numbers, the interrupt's CPUs.

#include "input.hpp"
#include "leftovers.hpp"
#include "qm_uio/uio_device.hpp"

#include <sys/prctl.h>

namespace {

using namespace qm::test::sandbox;

bool enterWorld()
{
    for (const char* const path : {"/sys", "/proc/irq", "/dev"})
        freshDirectory(path);
    sparseFile("/dev/uio0", 0x10000);
    return true;
}

void mapRegion(qm_AxiDevice& device, const std::string& size)
{
    unsigned long length = 0;
    void* const mapping = qm_mapAxiBar(&device, 0);
    if (mapping == nullptr) return;
    qm::fuzz::require(std::sscanf(size.c_str(), "0x%lx", &length) == 1 && munmap(mapping, length) == 0);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    static const bool entered = enterWorld();
    const qm::fuzz::Log log;
    const qm::fuzz::Leftovers leftovers;
    const auto [name, irq, address, offset, length, cpus, thread] = qm::fuzz::texts<7>(data, size);
    qm::fuzz::require(entered);
    const std::string folder = "/sys/class/uio/uio0/";
    writeFile(folder + "name", name);
    writeFile(folder + "device/irq", irq);
    writeFile(folder + "maps/map0/addr", address);
    writeFile(folder + "maps/map0/offset", offset);
    writeFile(folder + "maps/map0/size", length);
    writeFile("/proc/irq/5/smp_affinity_list", cpus);
    (void)prctl(PR_SET_NAME, ("irq/" + thread).c_str());

    qm_AxiDevice device{};
    if (qm_findAxiDevice(&device, "board") == 0) mapRegion(device, length);
    const int number = qm::uio::getUioIrqNumber(0);
    qm::fuzz::require(number >= -1 && number <= 99999);
    (void)qm::uio::findQmUioIrqThreadPid(0);
    (void)qm::uio::placeIrq(5, 1);
    (void)qm::uio::resetUioIrqAffinity(0);
    return 0;
}
