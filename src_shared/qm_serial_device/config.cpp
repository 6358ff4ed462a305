#include <qm/log.h>
#include <qm/serial.h>

#include <fcntl.h>

#include <array>
#include <termios.h>

namespace {

constexpr std::array<tcflag_t, 4> cflag_data_bits = {CS5, CS6, CS7, CS8};
constexpr std::array<tcflag_t, 2> cflag_cts_mode_Linux = {CLOCAL, CRTSCTS};  // Deliberate: never both.
constexpr std::array<tcflag_t, 5> iflag_parity = {0, INPCK, INPCK, INPCK, INPCK};
constexpr std::array<tcflag_t, 5> cflag_parity_Linux = {
    0,                         // None
    PARENB,                    // Even
    PARENB | PARODD,           // Odd
    PARENB | PARODD | CMSPAR,  // Mark
    PARENB | CMSPAR,           // Space
};

constexpr tcflag_t kOutputFlags = ONLCR;
constexpr tcflag_t kLocalFlags = ECHOE | ECHOK | ECHOCTL | ECHOKE;

struct LineSettings
{
    unsigned speed;
    unsigned dataBits;
    parity_bits parity;
    int stopBits;
    int flowControl;
};

tcflag_t dataBitsFlag(unsigned code)
{
    return code >= 1 && code <= cflag_data_bits.size() ? cflag_data_bits[code - 1] : CS8;
}

/// 0; -1 and a message, or errno without one when the terminal layer refuses.
int apply(int port, int fd, const LineSettings& line)
{
    termios settings{};
    if (::cfsetispeed(&settings, line.speed) != 0 || ::cfsetospeed(&settings, line.speed) != 0) {
        qm_printf(qm_error, "[port %d] Failed to set baudrate %d\n", port, static_cast<int>(line.speed));
        return -1;
    }
    if (line.parity < None || line.parity > Space) {
        qm_printf(qm_error, "Parity bit is out of bounds\n");
        return -1;
    }
    const auto parity = static_cast<std::size_t>(line.parity) - 1;
    settings.c_cflag |= dataBitsFlag(line.dataBits) | (line.stopBits == 2 ? CSTOPB : 0U) |
                        cflag_cts_mode_Linux[line.flowControl != 0 ? 1 : 0] | cflag_parity_Linux[parity] |
                        CREAD;
    settings.c_iflag = iflag_parity[parity];
    settings.c_oflag = kOutputFlags;
    settings.c_lflag = kLocalFlags;
    return ::tcsetattr(fd, TCSANOW, &settings);
}

}  // namespace

int qm_serial_device_config(int port, unsigned speed, unsigned dataBits, parity_bits parity, int stopBits,
                            int flowControl)
{
    const int fd = qm_serial_port_open(port, O_RDWR | O_NOCTTY);
    if (fd == -1) return -1;
    qm_printf(qm_debug, "[port %d] qm_serial_device_config : fd = %d\n", port, fd);
    qm_printf(qm_debug, "[port %d] baud %d, data %d, parity %d, stop %d, cts %d\n", port,
              static_cast<int>(speed), static_cast<int>(dataBits), static_cast<int>(parity), stopBits,
              flowControl);
    const int result = apply(port, fd, {speed, dataBits, parity, stopBits, flowControl});
    (void)qm_serial_port_close(port);  // Deliberate: also when it was open before.
    return result;
}

int qm_serial_device_set_mode(int /*port*/, int /*mode*/)
{
    qm_printf(qm_error, "Onboard Serial Mode cannot be set on QNX or x86\n");
    return -1;
}

int qm_serial_device_set_termination(int /*port*/, int /*termination*/)
{
    qm_printf(qm_error, "Onboard Serial termination cannot be set on QNX or x86\n");
    return -1;
}
