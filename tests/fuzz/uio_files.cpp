// What the kernel's files say of devices: of a UIO device its name, interrupt, a region's numbers and the
// interrupt's CPUs, of a buffer for DMA its address and size, of the processor its thermal sensor.

#include "input.hpp"
#include "leftovers.hpp"
#include "qm_target/cpuid.hpp"
#include "qm_uio/uio_device.hpp"

#include <sys/prctl.h>

namespace {

using namespace qm::test::sandbox;

constexpr const char* kBuffer = "/dev/qm-udma-buf0";
constexpr std::size_t kBufferSize = 8192;
constexpr std::size_t kThermalStatus = 0x1B1;  // register of the package

bool enterWorld()
{
    for (const char* const path : {"/sys", "/proc/irq", "/dev"})
        freshDirectory(path);
    sparseFile("/dev/uio0", 0x10000);
    writeFile("/dev/u-dma-buf-mgr", "");
    writeFile("/sys/class/u-dma-buf/qm-udma-buf0/sync_mode", "");
    return true;
}

void mapRegion(qm_AxiDevice& device, const std::string& size)
{
    unsigned long length = 0;
    void* const mapping = qm_mapAxiBar(&device, 0);
    if (mapping == nullptr) return;
    qm::fuzz::require(std::sscanf(size.c_str(), "0x%lx", &length) == 1 && munmap(mapping, length) == 0);
}

void allocateBuffer(const std::string& address, const std::string& size)
{
    writeFile("/sys/class/u-dma-buf/qm-udma-buf0/phys_addr", address);
    writeFile("/sys/class/u-dma-buf/qm-udma-buf0/size", size);
    uintptr_t physical = 0;
    void* const buffer = qm_allocPhysicalMemory_v2(kBufferSize, &physical);
    unsigned long right = 0;
    qm::fuzz::require((std::sscanf(size.c_str(), "%lu", &right) == 1 && right == kBufferSize) ==
                      (buffer != nullptr));
    qm::fuzz::require(buffer != nullptr || physical == 0);
    qm_freePhysicalMemory(buffer);
    (void)std::remove(kBuffer);
}

void readTemperature(const std::string& status)
{
    writeFile("/dev/cpu/0/msr", std::string(kThermalStatus, '\xFF') + status);
    const int degrees = qm_getCpuTemperature();
    qm::fuzz::require(status.size() < sizeof(uint64_t) ? degrees == -1 : degrees >= -27 && degrees <= 100);
}

}  // namespace

/// A processor with a thermal sensor of the package.
qm::CpuidLeaf qm::cpuid(uint32_t /*leaf*/)
{
    return {~0U, ~0U};
}

/// The library's first call for a new buffer: from here on its node is there.
extern "C" int chmod(const char* path, mode_t /*mode*/) noexcept
{
    sparseFile(path, kBufferSize);
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    static const bool entered = enterWorld();
    const qm::fuzz::Log log;
    const qm::fuzz::Leftovers leftovers;
    const auto [name, irq, address, offset, length, cpus, thread, buffer, bufferSize, status] =
        qm::fuzz::texts<10>(data, size);
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
    allocateBuffer(buffer, bufferSize);
    readTemperature(status);
    return 0;
}
