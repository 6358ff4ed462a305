#include "qm_serial_device/machines.hpp"
#include "target_test.hpp"
#include "world.hpp"

#include <fcntl.h>
#include <fmt/ranges.h>
#include <sys/stat.h>

#include <map>
#include <termios.h>

static std::vector<std::string> calls;  // of the terminal layer, which is this program's own
static int refusal = 0;                 // its answer: 0 or an errno

static int answer(const std::string& call)
{
    calls.push_back(call);
    errno = refusal;
    return refusal == 0 ? 0 : -1;
}

#define INTERPOSED extern "C" __attribute__((visibility("default")))

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

namespace qm::test {

namespace {

/** A Zenith with the ports 1 to 3; the nodes of 1 and 3 are pipes, which wait when opened for one side. */
class Serial : public TargetTest
{
protected:
    Serial()
    {
        setenv("SYSTEMD_DEVICE_VERIFY_SYSFS", "0", 1);
        sandbox::freshDirectory("/dev");
        world_.add(board(0x8086, 0xA33B).at(0, 28, 3).bridgeTo(9, 9)).add(board(0x1B21, 0x1080).at(9, 0));
        addTty("/sys/class/tty/ttyS0", "DEVNAME=ttyS0\n", "0x3F8\n");
        addTty("/sys/class/tty/ttyS1", "DEVNAME=ttyS1\n", "0x2F8\n");
        addTty("/sys/class/tty/ttyS2", "DEVNAME=ttyS2\n", "0x240\n");
        mkfifo("/dev/ttyS0", 0600);
        mkfifo("/dev/ttyS2", 0600);
    }

    static void addTty(const std::filesystem::path& path, const std::string& node, const char* port = "0x0\n")
    {
        sandbox::writeFile(path / "uevent", node);
        sandbox::writeFile(path / "port", port);
        std::filesystem::create_symlink("/sys/class/tty", path / "subsystem");
    }

    World world_;
};

/** A look-up's result and what it leaves in its destination, with "." for the terminator. */
template <typename LookUp>
std::string outcomeOf(LookUp lookUp)
{
    std::string text(32, '#');
    const int result = lookUp(text.data());
    std::ranges::replace(text, '\0', '.');
    return fmt::format("{} {}", result, text.substr(0, text.find_last_not_of('#') + 1));
}

TEST_F(Serial, APortIsFoundByItsAddressAsTheKernelWritesIt)
{
    addTty("/sys/class/tty/ttyS3", "DEVNAME=ttyS3\n", "0xFF010000\n");
    addTty("/sys/class/tty/ttyS4", "DEVNAME=ttyS4\n", "0x3e8\n");
    addTty("/sys/class/tty/ttyS5", "", "0x338\n");
    const auto find = [](uint32_t port, size_t size) {
        return outcomeOf([=](char* to) { return qm_findSerialDeviceByPort(port, to, size); });
    };
    EXPECT_EQ("0 /dev/ttyS0.", find(0x3F8, 11));
    EXPECT_EQ("-1 ", find(0x3F8, 10)) << "no room for the terminator";
    EXPECT_EQ("0 /dev/ttyS3.", find(0xFF010000, 32));
    EXPECT_EQ("-1 ", find(0x3E8, 32)) << "written otherwise";
    EXPECT_EQ("-1 ", find(0x338, 32)) << "without a node";
}

TEST_F(Serial, ChannelsOfACardAreInNaturalOrderAndEveryRefusalHasItsCode)
{
    const std::vector<std::string> order = {"S2", "S7a", "S07b", "S10", "S10a", "USB1", "Z", "a1", "\xC3"};
    const std::string large(20, '9');
    const std::map<unsigned, std::vector<std::string>> cards = {
        {3, {order.rbegin(), order.rend()}}, {4, {}}, {5, {"S1", ""}}, {6, {large + "1", large + "2"}}};
    for (const auto& [bus, names] : cards) {
        world_.add(board(0x1B36, 0x0004).at(bus, 0x1c));
        for (int tty = 0; const std::string& name : names)
            addTty(World::directory(fmt::format("0000:{:02x}:1c.0/child/{}", bus, ++tty)),
                   name.empty() ? "" : "DEVNAME=" + name + "\n");
    }
    world_.add(board(0x1B36, 0x0004).at(7, 0x1c, 1));
    const auto find = [](uint32_t bus, size_t channel, size_t size = 32) {
        qm_PCIDevice card{};
        card.bus = bus;
        card.slot = 0x1c;
        return outcomeOf(
            [&](char* to) { return qm_findSerialDeviceByPci(&card, static_cast<int>(channel), to, size); });
    };
    for (size_t channel = 0; channel < order.size(); ++channel)
        EXPECT_EQ("0 /dev/" + order[channel] + ".", find(3, channel, 7 + order[channel].size() - 1));
    EXPECT_EQ("-5 ", find(3, 0, 7)) << "no room for the terminator";
    EXPECT_EQ("-5 ", find(3, order.size()));
    EXPECT_EQ("-5 ", find(3, static_cast<size_t>(-1)));
    EXPECT_EQ("-5 ", find(6, 0)) << "numbers too large to compare";
    EXPECT_EQ("-4 ", find(5, 0)) << "a port without a node";
    EXPECT_EQ("-3 ", find(4, 0)) << "no port";
    EXPECT_EQ("-1 ", find(7, 0)) << "another function";
}

TEST(SerialMachines, HaveTheirPortsAtTheAddressesOfTheModel)
{
    const std::string rover = "- 3F8 2F8 3E8 2E8 238 338 -";
    const std::map<int, std::string> special = {{KR411, "- 3F8 2F8 3E8 2E8 2F0 2E0 -"},
                                                {RoverV2, rover},
                                                {RoverV3, rover},
                                                {Zenith, "- 3F8 2F8 240 248 250 258 -"},
                                                {Talus, "- FF000000 FF010000 - - - - -"},
                                                {NonQuillmark, "- - - - - - - -"}};
    for (int type = -1; type <= NonQuillmark + 1; ++type) {
        std::vector<std::string> ports;
        for (int port = 0; port <= 7; ++port) {
            const auto address = serial::portAddress(static_cast<qm_TargetType>(type), port);
            ports.push_back(address ? fmt::format("{:X}", *address) : "-");
        }
        EXPECT_EQ(special.contains(type) ? special.at(type) : "- 3F8 2F8 220 228 238 338 -",
                  fmt::format("{}", fmt::join(ports, " ")));
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

TEST_F(Serial, APortKeepsOneDescriptorUntilItIsClosedOrConfigured)
{
    const int fd = qm_serial_port_open(3, O_RDONLY);
    EXPECT_EQ(O_RDONLY, fcntl(fd, F_GETFL) & (O_ACCMODE | O_NONBLOCK));
    EXPECT_EQ(fd, qm_serial_device_open(3)) << "the flags of the second open do not count";
    for (const int port : {3, 3, -1})
        EXPECT_EQ(0, qm_serial_device_close(port));
    EXPECT_EQ(fd, qm_serial_device_open(1));
    EXPECT_EQ(O_RDWR | O_NONBLOCK, fcntl(fd, F_GETFL) & (O_ACCMODE | O_NONBLOCK));
    EXPECT_EQ(0, configure(B9600, None));
    EXPECT_EQ(fmt::format("debug QM: [port 3] qm_serial_device_open : fd = {0}\n"
                          "debug QM: [port 3] qm_serial_device_close : fd = {0}\n"
                          "debug QM: [port 3] qm_serial_device_close : fd = -1\n"
                          "debug QM: [port -1] qm_serial_device_close : fd = -1\n"
                          "debug QM: [port 1] qm_serial_device_open : fd = {0}\n"
                          "debug QM: [port 1] qm_serial_device_config : fd = {0}\n"
                          "debug QM: [port 1] baud 13, data 4, parity 1, stop 1, cts 0",
                          fd),
              fmt::format("{}", fmt::join(log_.lines(), "\n")));
}

TEST_F(Serial, ARefusalIsNamedKeepsItsReasonAndLeavesThePortClosed)
{
    const std::vector<int> results = {qm_serial_port_open(0, O_RDWR),
                                      qm_serial_device_open(7),
                                      qm_serial_device_flush(4, FlushOnly),
                                      qm_serial_device_set_mode(1, 1),
                                      qm_serial_device_set_termination(1, 1),
                                      configure(9600, 0),
                                      configure(B9600, 0),
                                      configure(B9600, 6),
                                      qm_serial_device_open(2)};
    EXPECT_EQ(ENOENT, errno);
    EXPECT_THAT(results, testing::Each(-1));
    EXPECT_THAT(calls, testing::IsEmpty());
    EXPECT_THAT(
        log_.notes(),
        testing::ElementsAre(
            "error QM: [port 0] Port number out of bounds: 0",
            "error QM: [port 7] Port number out of bounds: 7", "error QM: [port 4] not found device ",
            "error QM: Onboard Serial Mode cannot be set on QNX or x86",
            "error QM: Onboard Serial termination cannot be set on QNX or x86",
            "error QM: [port 1] Failed to set baudrate 9600", "error QM: Parity bit is out of bounds",
            "error QM: Parity bit is out of bounds", "error QM: [port 2] Failed to open device /dev/ttyS1"));
    refusal = EIO;
    EXPECT_EQ(-1, configure(B9600, None)) << "the port has vanished";
    EXPECT_EQ(EIO, errno);
}

TEST_F(Serial, AFlushedPortStaysOpenUnlessItIsToBeClosed)
{
    using Row = std::tuple<buffer_fd_behavior, int, bool>;
    for (const auto& [behavior, result, closes] : {Row{FlushOnly, 0, false}, Row{DrainAndClose, -1, true},
                                                   Row{DrainOnly, 0, false}, Row{FlushAndClose, 0, true}}) {
        refusal = -result;
        EXPECT_EQ(result, qm_serial_device_flush(1, behavior));
        EXPECT_EQ(closes, log_.lines().back() == "debug QM: [port 1] qm_serial_device_flush : fd = -1");
        EXPECT_EQ(closes, descriptors_ == openDescriptors());
    }
    EXPECT_THAT(calls, testing::ElementsAre("flush 2", "drain", "drain", "flush 2"));
    EXPECT_EQ(-1, qm_serial_device_flush(1, static_cast<buffer_fd_behavior>(9)));
    EXPECT_EQ("error QM: buffer_fd_behavior 9 not supported", log_.lines().back());
    EXPECT_NE(descriptors_, openDescriptors()) << "it stays open";
    qm_serial_port_close(1);
}

}  // namespace

}  // namespace qm::test
