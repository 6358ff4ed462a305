#include "qm_common/file_descriptor.hpp"
#include "qm_root.hpp"
#include "qm_target/cpuid.hpp"
#include <qm/cpu_temperature.h>
#include <qm/log.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <optional>

namespace {

constexpr int kTccActivationTemp = 100;
constexpr char kMsrDevice[] = "/dev/cpu/0/msr";

constexpr uint32_t kFeatureLeaf = 1;
constexpr uint32_t kMsrSupport = 1U << 5;  // in EDX
constexpr uint32_t kThermalLeaf = 6;
constexpr uint32_t kDigitalSensor = 1U << 0;  // in EAX
constexpr uint32_t kPackageSensor = 1U << 6;  // in EAX

constexpr uint32_t kCoreThermalStatus = 0x19C;
constexpr uint32_t kPackageThermalStatus = 0x1B1;
constexpr unsigned kReadoutShift = 16;
constexpr uint32_t kReadoutMask = 0x7F;

void logFailedOpen(int error)
{
    if (error == ENOENT)
        qm_printf(qm_error, "%s doesn't exist.\n", kMsrDevice);
    else if (error == EACCES || error == EPERM)
        qm_printf(qm_error, "No permission to open %s.\n", kMsrDevice);
    else
        qm_printf(qm_error, "Unable to open %s : %s\n", kMsrDevice, std::strerror(error));
}

/// Reads the low half of a model-specific register of CPU 0. 0, or 1 and a message.
int cpuGetMSR(uint32_t number, uint32_t* value)
{
    const qm::RootScope root;
    const qm::FileDescriptor device(kMsrDevice, O_RDONLY);
    if (!device) {
        logFailedOpen(errno);
        return 1;
    }
    uint64_t content = 0;
    const ssize_t size = ::pread(device.get(), &content, sizeof content, number);
    if (size != ssize_t{sizeof content}) {
        if (size >= 0) errno = EIO;  // a short read sets none
        qm_printf(qm_error, "Error: Read of register 0x%x failed : %s\n", number, std::strerror(errno));
        return 1;
    }
    *value = static_cast<uint32_t>(content);
    return 0;
}

/// Whether the package has a sensor; nothing and a message when no core has one either.
std::optional<bool> detectThermalDie()
{
    if ((qm::cpuid(kFeatureLeaf).edx & kMsrSupport) == 0) {
        qm_printf(qm_error, "CPU not supported\n");
        return std::nullopt;
    }
    const uint32_t sensors = qm::cpuid(kThermalLeaf).eax;
    if ((sensors & kDigitalSensor) == 0) {
        qm_printf(qm_error, "CPU temperature readout not supported\n");
        return std::nullopt;
    }
    const bool hasThermalDie = (sensors & kPackageSensor) != 0;
    if (!hasThermalDie)
        qm_printf(qm_debug, "No die temperature sensor available. Reading core temperature instead\n");
    return hasThermalDie;
}

}  // namespace

int qm_getCpuTemperature(void)
{
    static std::atomic<bool> hasMsr = false;  // and a sensor: only then is the detection not repeated
    static std::atomic<bool> hasThermalDie = false;
    if (!hasMsr) {
        const auto detected = detectThermalDie();
        if (!detected) return -1;
        hasThermalDie = *detected;
        hasMsr = true;
    }
    uint32_t status = 0;
    if (cpuGetMSR(hasThermalDie ? kPackageThermalStatus : kCoreThermalStatus, &status) != 0) return -1;
    const auto degreesBelow = static_cast<int>(status >> kReadoutShift & kReadoutMask);
    return qm_target_getTccActivationTemp() - degreesBelow;
}

int qm_target_getTccActivationTemp(void)
{
    return kTccActivationTemp;
}
