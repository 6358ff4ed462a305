#include "qm_serial_device/machines.hpp"
#include "test.hpp"
#include "world.hpp"

#include <termios.h>

static std::vector<std::string> calls;  // of the terminal layer, which is this program's own
static int refusal = 0;                 // its answer: 0 or an errno

static int answer(const std::string& call)
{
    calls.push_back(call);
    errno = refusal;
    return refusal == 0 ? 0 : -1;
}

INTERPOSED int tcsetattr(int /*fd*/, int actions, const termios* to) noexcept
{
    return answer(fmt::format("set {} {:o} {:o} {:o} {:o} {}", actions, to->c_iflag, to->c_oflag, to->c_cflag,
                              to->c_lflag, to->c_cc[VMIN] + to->c_cc[VTIME]));
}

INTERPOSED int tcdrain(int /*fd*/)
{
    return answer("drain");
}

INTERPOSED int tcflush(int /*fd*/, int queue) noexcept
{
    return answer(fmt::format("flush {}", queue));
}

namespace {

using namespace qm::test;

/** A Zenith with the ports 1 to 3; the nodes of 1 and 3 are pipes, which wait when opened for one side. */
struct Serial : TargetTest
{
    Serial()
    {
        setenv("SYSTEMD_DEVICE_VERIFY_SYSFS", "0", 1);
        sandbox::freshDirectory("/dev");
        world_.add(board(0x8086, 0xA33B).at(0, 28, 3).bridgeTo(9, 9)).add(board(0x1B21, 0x1080).at(9, 0));
        addTty("/sys/class/tty/1", "DEVNAME=ttyS0", "0x3F8");
        addTty("/sys/class/tty/2", "DEVNAME=ttyS1", "0x2F8");
        addTty("/sys/class/tty/3", "DEVNAME=ttyS2", "0x240");
        addTty("/sys/class/tty/4", "DEVNAME=ttyS3", "0xFF010000");
        addTty("/sys/class/tty/5", "", "0x338");
        mkfifo("/dev/ttyS0", 0600);
        mkfifo("/dev/ttyS2", 0600);
    }

    void expect(int expected, int result, const std::string& lastLine) const
    {
        EXPECT_EQ(expected, result) << lastLine;
        EXPECT_EQ(lastLine, log_.lines().back());
    }

    World world_;
};

/** A look-up's result and what it left in its destination, with "." for the terminator. */
std::string found(const std::function<int(char*)>& lookUp)
{
    std::string text(32, '#');
    const int result = lookUp(text.data());
    std::ranges::replace(text, '\0', '.');
    return fmt::format("{} {}", result, text.substr(0, text.find_last_not_of('#') + 1));
}

TEST_F(Serial, APortIsFoundByItsAddressAsTheKernelWritesIt)
{
    EXPECT_EQ("0 /dev/ttyS0.", found([](char* to) { return qm_findSerialDeviceByPort(0x3F8, to, 11); }));
    EXPECT_EQ("-1 ", found([](char* to) { return qm_findSerialDeviceByPort(0x3F8, to, 10); })) << "no room";
    EXPECT_EQ("0 /dev/ttyS3.", found([](char* to) { return qm_findSerialDeviceByPort(0xFF010000, to, 32); }));
    EXPECT_EQ("-1 ", found([](char* to) { return qm_findSerialDeviceByPort(0x338, to, 32); })) << "no node";
}

std::string byPci(uint32_t bus, size_t channel, size_t size = 32)
{
    qm_PCIDevice card{nullptr, nullptr, bus, 0x1c, {}, {}, {}, {}, 0, 0, 0, 0, 0};
    const auto index = static_cast<int>(channel);
    return found([&](char* to) { return qm_findSerialDeviceByPci(&card, index, to, size); });
}

TEST_F(Serial, ChannelsOfACardAreInNaturalOrderAndEveryRefusalHasItsCode)
{
    const std::vector<std::string> order = {"S2", "S7a", "S07b", "S10", "S10a", "USB1", "Z", "a1", "\xC3"};
    const std::string large(20, '9');
    const std::map<unsigned, std::vector<std::string>> cards = {
        {3, {order.rbegin(), order.rend()}}, {4, {}}, {5, {"S1"}}, {6, {large + "1", large + "2"}}};
    for (const auto& [bus, names] : cards) {
        world_.add(board(0x1B36, 0x0004).at(bus, 0x1c));
        for (const std::string& name : names)
            addTty(fmt::format("/sys/bus/pci/devices/0000:{:02x}:1c.0/child/{}", bus, name),
                   "DEVNAME=" + name);
    }
    addTty("/sys/bus/pci/devices/0000:05:1c.0/child/S9", "");
    world_.add(board(0x1B36, 0x0004).at(7, 0x1c, 1));
    for (size_t channel = 0; channel < order.size(); ++channel)
        EXPECT_EQ("0 /dev/" + order[channel] + ".", byPci(3, channel, 7 + order[channel].size() - 1));
    EXPECT_EQ("-5 ", byPci(3, 0, 7)) << "no room for the terminator";
    EXPECT_EQ("-5 ", byPci(3, order.size()));
    EXPECT_EQ("-5 ", byPci(3, static_cast<size_t>(-1)));
    EXPECT_EQ("-5 ", byPci(6, 0)) << "numbers too large to compare";
    EXPECT_EQ("-4 ", byPci(5, 0)) << "a port without a node";
    EXPECT_EQ("-3 ", byPci(4, 0)) << "no port";
    EXPECT_EQ("-1 ", byPci(7, 0)) << "another function";
}

TEST(SerialMachines, HaveTheirPortsAtTheAddressesOfTheModel)
{
    const std::string rover = "- 3F8 2F8 3E8 2E8 238 338 - ";
    std::map<int, std::string> special = {
        {RoverV2, rover}, {RoverV3, rover}, {NonQuillmark, "- - - - - - - - "}};
    special[KR411] = "- 3F8 2F8 3E8 2E8 2F0 2E0 - ";
    special[Zenith] = "- 3F8 2F8 240 248 250 258 - ";
    special[Talus] = "- FF000000 FF010000 - - - - - ";
    for (int type = -1; type <= NonQuillmark + 1; ++type) {
        std::string ports;
        for (int port = 0; port <= 7; ++port) {
            const auto address = qm::serial::portAddress(static_cast<qm_TargetType>(type), port);
            ports += address ? fmt::format("{:X} ", *address) : "- ";
        }
        EXPECT_EQ(special.contains(type) ? special.at(type) : "- 3F8 2F8 220 228 238 338 - ", ports);
    }
}

int configure(unsigned speed, int parity, unsigned data = 4, int stop = 1, int flowControl = 0)
{
    return qm_serial_device_config(1, speed, data, static_cast<parity_bits>(parity), stop, flowControl);
}

TEST_F(Serial, APortIsConfiguredWithExactlyTheAskedFlags)
{
    const std::vector<std::tuple<int, unsigned, int, int, tcflag_t, tcflag_t>> rows = {
        {None, 1, 1, 0, 0, CS5 | CLOCAL},
        {Even, 2, 2, 1, INPCK, CS6 | CSTOPB | CRTSCTS | PARENB},
        {Odd, 3, 0, -7, INPCK, CS7 | CRTSCTS | PARENB | PARODD},
        {Mark, 4, 3, 0, INPCK, CS8 | CLOCAL | PARENB | PARODD | CMSPAR},
        {Space, 0, 1, 0, INPCK, CS8 | CLOCAL | PARENB | CMSPAR},
        {None, 5, 2, 0, 0, CS8 | CSTOPB | CLOCAL}};
    for (const auto& [parity, data, stop, flowControl, input, control] : rows) {
        EXPECT_EQ(0, configure(B115200, parity, data, stop, flowControl));
        EXPECT_EQ(fmt::format("set {} {:o} {:o} {:o} {:o} 0", TCSANOW, input, ONLCR,
                              B115200 | CREAD | control, ECHOE | ECHOK | ECHOCTL | ECHOKE),
                  calls.back());
    }
}

TEST_F(Serial, APortKeepsOneDescriptorUntilItIsClosedConfiguredOrToBeClosedAfterAFlush)
{
    const int fd = qm_serial_port_open(3, O_RDONLY);
    const std::string number = std::to_string(fd);
    EXPECT_EQ(O_RDONLY, fcntl(fd, F_GETFL) & (O_ACCMODE | O_NONBLOCK));
    expect(fd, qm_serial_device_open(3), "debug QM: [port 3] qm_serial_device_open : fd = " + number);
    EXPECT_EQ(O_RDONLY, fcntl(fd, F_GETFL) & O_ACCMODE) << "it was open";
    expect(0, qm_serial_device_close(3), "debug QM: [port 3] qm_serial_device_close : fd = " + number);
    expect(0, qm_serial_device_close(3), "debug QM: [port 3] qm_serial_device_close : fd = -1");
    expect(0, qm_serial_device_close(7), "debug QM: [port 7] qm_serial_device_close : fd = -1");
    const std::string flushed = "debug QM: [port 1] qm_serial_device_flush : fd = ";
    expect(0, qm_serial_device_flush(1, FlushOnly), flushed + number);
    expect(0, qm_serial_device_flush(1, DrainOnly), flushed + number);
    expect(0, qm_serial_device_flush(1, DrainAndClose), flushed + "-1");
    expect(0, qm_serial_device_flush(1, FlushAndClose), flushed + "-1");
    EXPECT_EQ(fd, qm_serial_device_open(1));
    EXPECT_EQ(O_RDWR | O_NONBLOCK, fcntl(fd, F_GETFL) & (O_ACCMODE | O_NONBLOCK));
    expect(0, configure(B9600, None), "debug QM: [port 1] baud 13, data 4, parity 1, stop 1, cts 0");
    EXPECT_EQ("debug QM: [port 1] qm_serial_device_config : fd = " + number, log_.lines().end()[-2]);
    EXPECT_EQ(descriptors_, openDescriptors());
    EXPECT_THAT(calls, ElementsAre("flush 2", "drain", "drain", "flush 2", testing::_));
}

TEST_F(Serial, APortWithDescriptorZeroIsNeverClosed)
{
    const int standardInput = dup(0);
    close(0);
    EXPECT_EQ(0, qm_serial_port_open(1, O_RDWR));
    EXPECT_EQ(0, qm_serial_port_close(1));
    expect(0, qm_serial_device_close(1), "debug QM: [port 1] qm_serial_device_close : fd = 0");
    EXPECT_EQ(0, dup2(standardInput, 0));
    close(standardInput);
}

TEST_F(Serial, ARefusalIsNamedAndKeepsItsReason)
{
    constexpr auto kUnknown = static_cast<buffer_fd_behavior>(9);
    const std::string error = "error QM: ";
    expect(-1, qm_serial_device_open(0), error + "[port 0] Port number out of bounds: 0");
    expect(-1, qm_serial_device_flush(7, FlushOnly), error + "[port 7] Port number out of bounds: 7");
    expect(-1, qm_serial_device_open(4), error + "[port 4] not found device ");
    expect(-1, qm_serial_device_open(2), error + "[port 2] Failed to open device /dev/ttyS1");
    EXPECT_EQ(ENOENT, errno);
    expect(-1, configure(9600, 0), error + "[port 1] Failed to set baudrate 9600");
    expect(-1, configure(B9600, 0), error + "Parity bit is out of bounds");
    expect(-1, configure(B9600, 6), error + "Parity bit is out of bounds");
    expect(-1, qm_serial_device_set_mode(1, 1), error + "Onboard Serial Mode cannot be set on QNX or x86");
    expect(-1, qm_serial_device_set_termination(1, 1),
           error + "Onboard Serial termination cannot be set on QNX or x86");
    EXPECT_EQ(descriptors_, openDescriptors());
    expect(-1, qm_serial_device_flush(1, kUnknown), error + "buffer_fd_behavior 9 not supported");
    EXPECT_NE(descriptors_, openDescriptors()) << "it stays open";
    refusal = EIO;
    EXPECT_EQ(-1, configure(B9600, None)) << "the port has vanished";
    EXPECT_EQ(EIO, errno);
    EXPECT_EQ(-1, qm_serial_device_flush(1, FlushAndClose));
}

}  // namespace
