#include "qm_common/file_descriptor.hpp"
#include "qm_serial_device/machines.hpp"
#include <qm/log.h>
#include <qm/serial.h>

#include <array>
#include <termios.h>
#include <utility>

namespace {

constexpr int kPorts = 6;
constexpr std::size_t kNodeSize = 20;
constexpr int kClosed = -1;

std::array<int32_t, kPorts> fds = {kClosed, kClosed, kClosed, kClosed, kClosed, kClosed};

bool isPort(int port)
{
    return port >= 1 && port <= kPorts;
}

int32_t& descriptorOf(int port)
{
    return fds[static_cast<std::size_t>(port) - 1];
}

/// Never waits for a carrier, as a plain open does on a port that was last configured with flow control.
int openWithoutWaiting(const char* node, int flags)
{
    qm::FileDescriptor file(node, flags | O_NONBLOCK);
    if (file && (flags & O_NONBLOCK) == 0) (void)::fcntl(file.get(), F_SETFL, flags);
    return file.release();
}

void logDescriptor(int port, const char* caller)
{
    qm_printf(qm_debug, "[port %d] %s : fd = %d\n", port, caller,
              isPort(port) ? descriptorOf(port) : kClosed);
}

}  // namespace

int qm_serial_port_open(int port, int flags)
{
    if (!isPort(port)) {
        qm_printf(qm_error, "[port %d] Port number out of bounds: %d\n", port, port);
        return kClosed;
    }
    int32_t& fd = descriptorOf(port);
    if (fd != kClosed) return fd;

    std::array<char, kNodeSize> node{};
    const auto address = qm::serial::portAddress(qm_getTargetType(), port);
    if (!address || qm_findSerialDeviceByPort(*address, node.data(), node.size()) != 0) {
        qm_printf(qm_error, "[port %d] not found device %s\n", port, node.data());
        return kClosed;
    }
    fd = openWithoutWaiting(node.data(), flags);
    if (fd == kClosed) qm_printf(qm_error, "[port %d] Failed to open device %s\n", port, node.data());
    return fd;
}

int qm_serial_port_close(int port)
{
    if (!isPort(port) || descriptorOf(port) < 1) return 0;  // Deliberate: descriptor 0 is never closed.
    const auto closing = qm::FileDescriptor::adopt(std::exchange(descriptorOf(port), kClosed));
    return 0;
}

int qm_serial_device_open(int port)
{
    const int fd = qm_serial_port_open(port, O_RDWR | O_NONBLOCK);
    if (fd != kClosed) logDescriptor(port, "qm_serial_device_open");
    return fd;
}

int qm_serial_device_close(int port)
{
    logDescriptor(port, "qm_serial_device_close");
    return qm_serial_port_close(port);
}

int qm_serial_device_flush(int port, buffer_fd_behavior behavior)
{
    const int fd = qm_serial_port_open(port, O_RDWR | O_NOCTTY);
    if (fd == kClosed) return -1;
    int result = -1;
    switch (behavior) {
        case DrainOnly:
        case DrainAndClose:
            result = ::tcdrain(fd);
            break;
        case FlushOnly:
        case FlushAndClose:
            result = ::tcflush(fd, TCIOFLUSH);
            break;
        default:
            qm_printf(qm_error, "buffer_fd_behavior %d not supported\n", behavior);
            return -1;
    }
    if (behavior == DrainAndClose || behavior == FlushAndClose) (void)qm_serial_port_close(port);
    logDescriptor(port, "qm_serial_device_flush");
    return result;
}
