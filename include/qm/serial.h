/**
 * @file
 * Serial ports: finding a port's device node, and opening, configuring, flushing and closing the target's
 * onboard ports.
 *
 * An onboard port is named by its number on the target, 1 to 6. Each has one descriptor, shared by all
 * functions here and closed by them alone; it is not locked: one task at a time uses a port.
 */
#ifndef QM_SERIAL_H
#define QM_SERIAL_H

#include <qm/api.h>
#include <qm/pci.h>

QM_BEGIN_C

/** Parity of a serial line. */
typedef enum parity_bits QM_ENUM_INT32
{
    None = 1,
    Even = 2,
    Odd = 3,
    Mark = 4,
    Space = 5
} parity_bits;

/** What qm_serial_device_flush() does with the bytes on their way and with the port. */
typedef enum buffer_fd_behavior QM_ENUM_INT32
{
    DrainOnly = 0,     /**< wait until all output is sent */
    FlushOnly = 1,     /**< discard input and output */
    DrainAndClose = 2, /**< wait, then close the port */
    FlushAndClose = 3  /**< discard, then close the port */
} buffer_fd_behavior;

/**
 * Finds a serial port's device node by its legacy I/O port address.
 *
 * @param port            I/O port address, for instance 0x3F8.
 * @param destination     Receives the node's path ("/dev/ttyS0"), terminated; untouched on failure.
 * @param destinationSize Its size in bytes, the terminator included.
 * @return 0 found; -1 no such port, a port without a node, a path that does not fit, or the device database
 * cannot be searched.
 *
 * Errors: none are reported otherwise. A port that udev has not announced is not found.
 * Real-time safe: no (reads the device database). Thread-safe: yes.
 */
QM_API int qm_findSerialDeviceByPort(uint32_t port, char* destination, size_t destinationSize);

/**
 * Finds the device node of one channel of a PCI serial card. The channels are in natural order of their
 * nodes' names: ttyS4, ttyS5, ttyS10.
 *
 * @param pPciInfo        The card; bus and slot are read, the function is always 0.
 * @param channel         Channel, from 0.
 * @param destination     Receives the node's path, terminated; untouched on failure.
 * @param destinationSize Its size in bytes, the terminator included.
 * @return 0 found; -1 no such card; -2 the device database cannot be searched; -3 the card has no serial
 * port; -4 one of its ports has no node; -5 no such channel, a path that does not fit, a number above
 * 2147483647 in a node's name, or out of memory.
 *
 * Errors: none are reported otherwise. A port that udev has not announced is not seen.
 * Real-time safe: no (reads the device database). Thread-safe: yes.
 */
QM_API int qm_findSerialDeviceByPci(qm_PCIDevice* pPciInfo, int channel, char* destination,
                                    size_t destinationSize);

/**
 * Opens an onboard serial port, unless it is open. Never waits for a carrier.
 *
 * @param port  Port number, 1 to 6.
 * @param flags Flags of open(); ignored when the port is open already.
 * @return The port's descriptor, owned by the library; -1 on failure.
 *
 * Errors: logged at qm_error: "[port %d] Port number out of bounds: %d\n"; "[port %d] not found device %s\n"
 * with an empty name (this target model has no such port, or the kernel does not show it); "[port %d] Failed
 * to open device %s\n", errno as open() left it. Real-time safe: no. Thread-safe: for different ports, once
 * qm_getTargetType() has run.
 */
QM_API int qm_serial_port_open(int port, int flags);

/**
 * Closes an onboard serial port. A closed one stays closed; descriptor 0 is never closed.
 *
 * @param port Port number, 1 to 6; any other does nothing.
 * @return 0.
 *
 * Errors: none. Real-time safe: no (may wait for output to be sent). Thread-safe: for different ports.
 */
QM_API int qm_serial_port_close(int port);

/**
 * Opens an onboard serial port for reading and writing without waiting (O_NONBLOCK), unless it is open.
 *
 * @param port Port number, 1 to 6.
 * @return The port's descriptor, owned by the library; -1 on failure.
 *
 * Errors, real-time safety, thread-safety: as qm_serial_port_open(). The descriptor is logged at qm_debug. A
 * process without a controlling terminal may get this one.
 */
QM_API int qm_serial_device_open(int port);

/**
 * Closes an onboard serial port as qm_serial_port_close() does, and logs its descriptor at qm_debug.
 *
 * @param port Port number, 1 to 6; any other does nothing but log descriptor -1.
 * @return 0.
 *
 * Errors: none. Real-time safe: no (may wait for output to be sent). Thread-safe: for different ports.
 */
QM_API int qm_serial_device_close(int port);

/**
 * Configures an onboard serial port: raw input without echo, a line feed sent as carriage return and line
 * feed where output is processed at all. The port is opened for this if it is closed, and is closed at the
 * end in any case (descriptor 0 excepted): descriptors that were handed out before are stale. The descriptor
 * and the settings are logged at qm_debug.
 *
 * @param port        Port number, 1 to 6.
 * @param speed       Speed as the C library's cfsetispeed() takes it: a code such as B9600, not the number
 * 9600.
 * @param dataBits    1 to 4 for 5 to 8 data bits; any other gives 8.
 * @param parity      Parity, None (1) to Space (5).
 * @param stopBits    2 for two stop bits; any other gives one.
 * @param flowControl 0 none, the modem's lines ignored; any other RTS/CTS, the modem's lines respected.
 * @return 0; -1 on failure.
 *
 * Errors: those of qm_serial_port_open(); logged at qm_error: "[port %d] Failed to set baudrate %d\n" (errno
 * EINVAL), "Parity bit is out of bounds\n"; errno as tcsetattr() left it, without a line. The terminal layer
 * reports success when it could apply a part of the settings.
 * Real-time safe: no. Thread-safe: for different ports, once qm_getTargetType() has run.
 */
QM_API int qm_serial_device_config(int port, unsigned speed, unsigned dataBits, parity_bits parity,
                                   int stopBits, int flowControl);

/**
 * Sends or discards what an onboard serial port holds. A closed port is opened for this. The descriptor is
 * logged at qm_debug, -1 after a close.
 *
 * @param port     Port number, 1 to 6.
 * @param behavior What to do, and whether the port is closed afterwards.
 * @return 0; -1 on failure.
 *
 * Errors: those of qm_serial_port_open(); logged at qm_error: "buffer_fd_behavior %d not supported\n" (the
 * port stays open); errno as tcdrain() or tcflush() left it, without a line. Real-time safe: no (may wait for
 * the other side). Thread-safe: for different ports, once qm_getTargetType() has run.
 */
QM_API int qm_serial_device_flush(int port, buffer_fd_behavior behavior);

/**
 * Refuses to set the transceiver mode, which this platform cannot do.
 *
 * @param port Ignored.
 * @param mode Ignored.
 * @return -1.
 *
 * Errors: logged at qm_error: "Onboard Serial Mode cannot be set on QNX or x86\n".
 * Real-time safe: no (logs). Thread-safe: yes.
 */
QM_API int qm_serial_device_set_mode(int port, int mode);

/**
 * Refuses to set the line termination, which this platform cannot do.
 *
 * @param port        Ignored.
 * @param termination Ignored.
 * @return -1.
 *
 * Errors: logged at qm_error: "Onboard Serial termination cannot be set on QNX or x86\n".
 * Real-time safe: no (logs). Thread-safe: yes.
 */
QM_API int qm_serial_device_set_termination(int port, int termination);

QM_END_C

#endif
