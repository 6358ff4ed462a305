// qmctl serial: the serial ports, and the settings of those on board.

#include "board.hpp"
#include "child.hpp"
#include "files.hpp"
#include "nouns.hpp"
#include "text.hpp"
#include <qm/serial.h>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <array>
#include <termios.h>

namespace qmctl {

namespace {

constexpr int kOnboardPorts = 6;

struct Speed
{
    const char* text;
    speed_t code;
};

constexpr Speed kSpeeds[] = {{"1200", B1200},     {"2400", B2400},     {"4800", B4800},
                             {"9600", B9600},     {"19200", B19200},   {"38400", B38400},
                             {"57600", B57600},   {"115200", B115200}, {"230400", B230400},
                             {"460800", B460800}, {"921600", B921600}};

constexpr std::array kParities{"none", "even", "odd", "mark", "space"};

std::vector<std::string> speeds()
{
    std::vector<std::string> all;
    for (const Speed& speed : kSpeeds)
        all.emplace_back(speed.text);
    return all;
}

/// The node that the library has for an onboard port, found without opening the device itself; 0 without one.
ino_t nodeOfPort(int port)
{
    struct stat node
    {};
    const int file = qm_serial_port_open(port, O_PATH | O_CLOEXEC);
    const bool known = file >= 0 && fstat(file, &node) == 0;
    (void)qm_serial_port_close(port);
    return known ? node.st_ino : 0;
}

Json list()
{
    std::map<ino_t, int> onboard;
    for (int port = 1; port <= kOnboardPorts; ++port)
        if (const ino_t node = nodeOfPort(port); node != 0) onboard.emplace(node, port);
    std::map<std::string, std::string> boards;
    for (const auto& [address, name] : devicesOfClass("tty"))
        boards[name] = address;
    Json ports = Json::array();
    for (const std::string& name : files::entries("/sys/class/tty")) {
        const std::string folder = "/sys/class/tty/" + name + '/';
        const std::string kind = files::firstLine(folder + "type").value_or("0");
        if (!files::present(folder + "device") || kind == "0") continue;  // a port that is only provided for
        struct stat node
        {};
        const bool known = stat(("/dev/" + name).c_str(), &node) == 0 && onboard.contains(node.st_ino);
        ports.push_back({{"name", "/dev/" + name},
                         {"onboard", known ? Json(onboard.at(node.st_ino)) : Json()},
                         {"io_port", files::firstLine(folder + "port").value_or("")},
                         {"irq", files::firstLine(folder + "irq").value_or("")},
                         {"board", boards.contains(name) ? Json(boards.at(name)) : Json()}});
    }
    return ports;
}

std::string showList(const Json& ports, const Look& look)
{
    return table(ports,
                 {{"Device", "name"},
                  {"Port", "onboard", false, true},
                  {"I/O port", "io_port", false, true},
                  {"IRQ", "irq", false, true},
                  {"Board", "board"}},
                 look, "no serial port");
}

Outcome configure(const Arguments& arguments)
{
    const std::string speed = arguments.text("--speed");
    const auto parity =
        std::find(kParities.begin(), kParities.end(), arguments.text("--parity")) - kParities.begin();
    speed_t code = 0;
    for (const Speed& row : kSpeeds)
        if (speed == row.text) code = row.code;
    const int port = arguments.whole("PORT");
    const Told told = inChild([&] {
        return Json(
            qm_serial_device_config(port, code, static_cast<unsigned>(arguments.whole("--data-bits") - 4),
                                    static_cast<parity_bits>(parity + None), arguments.whole("--stop-bits"),
                                    arguments.has("--flow-control") ? 1 : 0));
    });
    if (told.value != 0)
        throw Failure(fmt::format("{}; 'qmctl serial list' shows this target's ports",
                                  reasonOf(told.said, "the port took none of the settings")));
    return {
        {{"port", port},
         {"done", fmt::format("port {}: {} baud, {} data bits, parity {}, {} stop bit{}, {}", port, speed,
                              arguments.text("--data-bits"), arguments.text("--parity"),
                              arguments.text("--stop-bits"), arguments.text("--stop-bits") == "1" ? "" : "s",
                              arguments.has("--flow-control") ? "RTS/CTS" : "no flow control")}}};
}

}  // namespace

std::vector<Command> serialCommands()
{
    return {{"serial",
             "list",
             "List the serial ports",
             {},
             [](const Arguments&) { return Outcome{inChild(list).value}; },
             showList,
             "Port is the number that models and 'serial config' use for a port on board."},
            {"serial",
             "config",
             "Configure a serial port on board",
             {{"PORT", Kind::whole, "PORT", "Port number, 1 to 6", "", 1, kOnboardPorts},
              {"--speed", Kind::text, "BAUD", "Bits per second", "9600", 0, 0, speeds()},
              {"--data-bits", Kind::text, "N", "5 to 8", "8", 0, 0, {"5", "6", "7", "8"}},
              {"--parity",
               Kind::text,
               "WORD",
               "none, even, odd, mark or space",
               "none",
               0,
               0,
               {kParities.begin(), kParities.end()}},
              {"--stop-bits", Kind::text, "N", "1 or 2", "1", 0, 0, {"1", "2"}},
              {"--flow-control", Kind::flag, "", "RTS/CTS; else the modem's lines are ignored"}},
             configure,
             showDone,
             "",
             false}};
}

}  // namespace qmctl
