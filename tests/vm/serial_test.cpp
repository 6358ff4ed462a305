// Serial ports of a RoverV3 on real 16550s: port 2 has a cable to the first channel of a PCI card, nothing is
// plugged into port 3.

#include "machine.hpp"

#include <sys/ioctl.h>

#include <poll.h>
#include <termios.h>

namespace {

using namespace qm::test;

constexpr int kCabled = 2, kUnplugged = 3;

/// The node of a card's channel, or the library's refusal.
std::string nodeOf(uint32_t slot, int channel)
{
    qm_PCIDevice card{};
    card.slot = slot;
    std::string node(20, '\0');
    const int result = qm_findSerialDeviceByPci(&card, channel, node.data(), node.size());
    return result == 0 ? node.c_str() : std::to_string(result);
}

/// All that stty tells of a port, in one line.
std::string settingsOf(const std::string& node)
{
    return linesOf("stty -a -F " + node + " | tr '\\n;' '  '").at(0);
}

bool areReadable(int fd, int bytes)
{
    constexpr int kLong = 20'000;  // ms
    pollfd line{fd, POLLIN, 0};
    int waiting = 0;
    while (::ioctl(fd, FIONREAD, &waiting) == 0 && waiting < bytes)
        if (::poll(&line, 1, kLong) != 1) return false;
    return waiting == bytes;
}

/// What has arrived once that many bytes are there.
std::string receive(int fd, std::size_t bytes)
{
    EXPECT_TRUE(areReadable(fd, static_cast<int>(bytes)));
    std::string received(bytes + 1, '\0');
    const ssize_t size = ::read(fd, received.data(), received.size());
    received.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    return received;
}

struct SerialPorts : testing::Test
{
    SerialPorts() { becomeRover(); }
};

TEST(SerialCards, HaveTheirChannelsInTheOrderOfTheNumbersThatTheKernelGave)
{
    for (int channel = 0; channel < 4; ++channel) {
        EXPECT_EQ("/dev/ttyS" + std::to_string(4 + channel), nodeOf(4, channel));
        EXPECT_EQ("/dev/ttyS" + std::to_string(8 + channel), nodeOf(5, channel));
    }
    EXPECT_EQ("-5", nodeOf(4, 4));
    EXPECT_EQ("-3", nodeOf(3, 0));
}

TEST_F(SerialPorts, AreConfiguredAsTheTerminalLayerReadsItBack)
{
    constexpr char kOff[] = "clocal -crtscts", kOn[] = "-clocal crtscts";
    for (const auto& [speed, data, parity, stop, flowControl, shownSpeed, shownFrame, shownStop, shownFlow] :
         {std::tuple{unsigned{B50}, 1U, None, 2, 0, "50", "-parenb -parodd -cmspar cs5", "cstopb", kOff},
          {B1200, 2, Even, 1, 7, "1200", "parenb -parodd -cmspar cs6", "-cstopb", kOn},
          {B9600, 3, Odd, 0, 0, "9600", "parenb parodd -cmspar cs7", "-cstopb", kOff},
          {B38400, 4, Mark, 2, 1, "38400", "parenb parodd cmspar cs8", "cstopb", kOn},
          {B57600, 0, Space, 3, 0, "57600", "parenb -parodd cmspar cs8", "-cstopb", kOff},
          {B115200, 5, None, 1, -1, "115200", "-parenb -parodd -cmspar cs8", "-cstopb", kOn}}) {
        ASSERT_EQ(0, qm_serial_device_config(kCabled, speed, data, parity, stop, flowControl));
        const std::string settings = settingsOf("/dev/ttyS1");
        EXPECT_THAT(settings, StartsWith(fmt::format("speed {} baud ", shownSpeed)));
        EXPECT_THAT(settings,
                    HasSubstr(fmt::format(" {} -hupcl {} cread {} ", shownFrame, shownStop, shownFlow)));
        EXPECT_THAT(settings, HasSubstr(parity == None ? " -inpck " : " inpck "));
        EXPECT_THAT(settings, HasSubstr(" min = 0  time = 0 "));
        EXPECT_THAT(settings, HasSubstr(" -opost -olcuc -ocrnl onlcr "));
        EXPECT_THAT(settings, HasSubstr(" -isig -icanon -iexten -echo echoe echok "));
        EXPECT_THAT(settings, HasSubstr(" echoctl echoke "));
    }
}

TEST_F(SerialPorts, CarryEveryByteUnchangedInBothDirections)
{
    std::string bytes(256, '\0');
    std::iota(bytes.begin(), bytes.end(), '\0');
    const std::string otherEnd = nodeOf(4, 0);
    linesOf("stty -F " + otherEnd + " 115200 cs8 raw -echo clocal");
    ASSERT_EQ(0, qm_serial_device_config(kCabled, B115200, 4, None, 1, 0));
    const int there = ::open(otherEnd.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    const int here = qm_serial_device_open(kCabled);
    ASSERT_EQ("/dev/ttyS1", fs::read_symlink("/proc/self/fd/" + std::to_string(here)));

    ASSERT_EQ(256, ::write(here, bytes.data(), bytes.size()));
    EXPECT_EQ(0, qm_serial_device_flush(kCabled, DrainOnly));
    EXPECT_EQ(bytes, receive(there, bytes.size()));
    ASSERT_EQ(256, ::write(there, bytes.data(), bytes.size()));
    EXPECT_EQ(bytes, receive(here, bytes.size()));

    ASSERT_EQ(1, ::write(there, "x", 1));
    ASSERT_TRUE(areReadable(here, 1));
    EXPECT_EQ(0, qm_serial_device_flush(kCabled, FlushOnly));
    EXPECT_EQ(0, ::read(here, bytes.data(), 1)) << "nothing is left, and nothing is waited for";
    EXPECT_EQ(0, qm_serial_device_close(kCabled));
    EXPECT_EQ(-1, ::fcntl(here, F_GETFD));
}

TEST_F(SerialPorts, WithFlowControlAndNothingPluggedInWaitForNobody)
{
    ASSERT_EQ(0, qm_serial_device_config(kUnplugged, B9600, 4, None, 1, 1));
    const int fd = qm_serial_port_open(kUnplugged, O_RDWR | O_NOCTTY);
    ASSERT_NE(-1, fd);
    EXPECT_EQ(0, ::fcntl(fd, F_GETFL) & O_NONBLOCK);
    int lines = -1, unsent = -1;
    ASSERT_EQ(0, ::ioctl(fd, TIOCMGET, &lines));
    ASSERT_EQ(0, lines & (TIOCM_CAR | TIOCM_CTS));

    ASSERT_EQ(1, ::write(fd, "x", 1));
    ASSERT_EQ(0, ::ioctl(fd, TIOCOUTQ, &unsent));
    ASSERT_EQ(1, unsent) << "it waits for the other side";
    EXPECT_EQ(0, qm_serial_device_flush(kUnplugged, FlushOnly));
    ASSERT_EQ(0, ::ioctl(fd, TIOCOUTQ, &unsent));
    EXPECT_EQ(0, unsent);

    EXPECT_EQ(0, qm_serial_device_config(kUnplugged, B9600, 4, None, 1, 0));
    EXPECT_THAT(settingsOf("/dev/ttyS2"), HasSubstr(" clocal -crtscts"));
}

TEST_F(SerialPorts, ThatVanishAreRefusedAndClosedAndComeBack)
{
    const auto driver = fs::canonical("/sys/class/tty/ttyS1/device/driver");
    const auto device = fs::canonical("/sys/class/tty/ttyS1/device").filename().string();
    const int fd = qm_serial_device_open(kCabled);
    ASSERT_NE(-1, fd);
    ASSERT_EQ(0, writeOnce(driver / "unbind", device));

    EXPECT_EQ(-1, qm_serial_device_flush(kCabled, DrainOnly));
    EXPECT_EQ(EIO, errno);
    EXPECT_EQ(-1, qm_serial_device_config(kCabled, B9600, 4, None, 1, 0));
    EXPECT_EQ(EIO, errno);
    EXPECT_EQ(-1, ::fcntl(fd, F_GETFD));
    EXPECT_EQ(0, qm_serial_device_close(kCabled));

    ASSERT_EQ(0, writeOnce(driver / "bind", device));
    linesOf("udevadm settle");
    EXPECT_EQ(0, qm_serial_device_config(kCabled, B9600, 4, None, 1, 0));
}

}  // namespace
