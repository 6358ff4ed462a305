#include "qm_root.hpp"
#include <qm/log.h>
#include <qm/port_io.h>

#include <sys/io.h>

#include <cerrno>
#include <cstring>

namespace {

constexpr uintptr_t kConfigurationPorts = 0xCF8;  // the address port; the data port differs from it in bit 2
constexpr uintptr_t kBit2 = 0x4;
constexpr unsigned long kGrantedPorts = 32;

/// Out of line, so that an access to any other port stays a test and an instruction.
[[gnu::cold, gnu::noinline]] void setIoperm(uintptr_t port)
{
    const qm::RootScope root;
    const int result = ::ioperm(port, kGrantedPorts, 1);
    if (result != 0) qm_printf(qm_error, "ioperm returns %d: %s\n", result, std::strerror(errno));
}

/// The number of a port that may be accessed now, as far as that is up to us.
uint16_t ready(uintptr_t port)
{
    // Deliberate: at every access, because the grant is the calling thread's only; and made of the whole
    // number, of which the access uses 16 bits.
    if ((port & ~kBit2) == kConfigurationPorts) setIoperm(port);
    return static_cast<uint16_t>(port);
}

}  // namespace

uint8_t qm_inpB(uintptr_t port)
{
    return ::inb(ready(port));
}

uint16_t qm_inpW(uintptr_t port)
{
    return ::inw(ready(port));
}

uint32_t qm_inpDW(uintptr_t port)
{
    return ::inl(ready(port));
}

void qm_outpB(uintptr_t port, uint8_t val)
{
    ::outb(val, ready(port));
}

void qm_outpW(uintptr_t port, uint16_t val)
{
    ::outw(val, ready(port));
}

void qm_outpDW(uintptr_t port, uint32_t val)
{
    ::outl(val, ready(port));
}

int qm_setAbilities(void)
{
    return 0;
}
