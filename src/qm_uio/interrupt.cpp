#include "qm_common/file_descriptor.hpp"
#include "qm_error.hpp"
#include "qm_uio/uio_device.hpp"
#include <qm/interrupts.h>
#include <qm/pci_access.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {

using qm::uio::kNullContext;

constexpr off_t kUpperCommandByte = 5;
constexpr uint8_t kInterruptDisable = 0x04;
constexpr int kConsumerPriority = 60;

int refuse(const char* text, int result)
{
    qm::setErrorText("%s", text);
    return result;
}

/// Why the last call failed. A short transfer leaves no reason of its own: errno is 0 then.
int reason()
{
    return errno != 0 ? errno : EIO;
}

/// Reports that the last call failed; -errno.
int fail(const char* what)
{
    const int error = reason();
    qm::setErrorText("%s: %s\n", what, std::strerror(error));
    return -error;
}

ssize_t writeCommand(const qm_InterruptContext& context)
{
    const ssize_t written = ::pwrite(context.configfd, &context.command_high, 1, kUpperCommandByte);
    if (written == 0) errno = 0;
    return written;
}

bool writeWord(int file, uint32_t word)
{
    errno = 0;
    return ::pwrite(file, &word, sizeof word, 0) == ssize_t{sizeof word};
}

/// Disables the board's interrupt in the command register and keeps the byte that enables it.
int disableInterrupt(qm_InterruptContext& context)
{
    errno = 0;
    if (::pread(context.configfd, &context.command_high, 1, kUpperCommandByte) != 1)
        return fail("Failed to read upper command byte");
    context.command_high |= kInterruptDisable;
    if (writeCommand(context) != 1) return fail("Failed to write upper command byte");
    context.command_high &= static_cast<uint8_t>(~kInterruptDisable);
    return 0;
}

void closeIfOpen(int& file)
{
    if (file >= 0) ::close(file);
    file = -1;
}

}  // namespace

int qm_uio_createInterruptContext(qm_InterruptContext** contextOut, qm_PCIDevice* pciInfo)
{
    if (contextOut == nullptr) return refuse("Invalid nullptr passed for contextOut", -1);
    if (pciInfo == nullptr) return refuse("Invalid nullptr passed for pciInfo", -EINVAL);
    auto* const context = static_cast<qm_InterruptContext*>(std::calloc(1, sizeof(qm_InterruptContext)));
    if (context == nullptr) return fail("Failed to allocate the interrupt context");
    context->pciInfo = *pciInfo;
    context->uioIndex = -1;
    context->uiofd = -1;
    context->configfd = -1;
    context->irq_cpu_assigned = -1;
    context->priority = kConsumerPriority;
    context->defaultPriority = qm::uio::kThreadPriority;
    *contextOut = context;
    return 0;
}

int qm_uio_interruptAttach(qm_InterruptContext* context)
{
    if (context == nullptr) return refuse(kNullContext, -1);
    context->uioIndex = qm_uio_bindDeviceToUio(&context->pciInfo);
    if (context->uioIndex < 0) return fail("INT MAP -> Failed to bind UIO device");

    const auto node = qm::uio::numberedPath(qm::uio::kNode, context->uioIndex);
    context->uiofd = qm::FileDescriptor(node.data(), O_RDWR).release();
    if (context->uiofd < 0) {
        const int error = reason();
        qm::setErrorText("INT MAP -> Failed to open UIO device %s: %s\n", node.data(), std::strerror(error));
        return -error;
    }
    context->configfd = qm_pci_openPciConfig(&context->pciInfo, O_RDWR);
    if (context->configfd < 0) return fail("Failed to open PCI configuration file");
    return disableInterrupt(*context);
}

int qm_uio_interruptWait(qm_InterruptContext* context)
{
    if (context == nullptr) return refuse(kNullContext, -EINVAL);
    const ssize_t size = ::read(context->uiofd, &context->intCount, sizeof context->intCount);
    if (size == ssize_t{sizeof context->intCount}) return 0;
    if (size >= 0) errno = 0;
    return fail("Interrupt Wait: Failed to read UIO device");
}

int qm_uio_enableInterrupt(qm_InterruptContext* context)
{
    if (context == nullptr) return refuse(kNullContext, -EINVAL);
    const _qm_int_fix& fix = context->qm_int_fix;
    if (fix.requested_by_user) {
        if (fix.target_register != nullptr) *fix.target_register = *fix.target_register | fix.int_mask;
        return 0;
    }
    const ssize_t written = writeCommand(*context);
    if (written == 1) return 0;
    const int error = reason();
    // Deliberate: the text is that of the write's result, not of errno.
    qm::setErrorText("Interrupt Enable: Failed to write config file: %s\n",
                     std::strerror(static_cast<int>(written)));
    return -error;
}

int qm_uio_interruptEnableFix(qm_InterruptContext* context)
{
    if (context == nullptr) return refuse(kNullContext, -EINVAL);
    _qm_int_fix& fix = context->qm_int_fix;
    fix.requested_by_user = true;
    // The kernel driver tells the two words apart by their order.
    if (!writeWord(context->uiofd, fix.fix_type)) return fail("Failed to enable Quillmark interrupt fix");
    if (!writeWord(context->uiofd, fix.int_mask))
        return fail("Failed to write Quillmark interrupt fix int mask");
    return 0;
}

void qm_uio_interruptDetach(qm_InterruptContext* context)
{
    if (context == nullptr) return;
    closeIfOpen(context->uiofd);
    closeIfOpen(context->configfd);
    if (context->uioIndex >= 0) (void)qm_uio_resetIrqProps(context);
    std::free(context);
}
