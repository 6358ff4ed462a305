#ifndef QMCTL_BOARD_HPP
#define QMCTL_BOARD_HPP

#include "command.hpp"
#include <qm/pci.h>

#include <filesystem>

/// Boards, as users name them and as the library finds them.
namespace qmctl {

/// The argument and the option that name a board.
std::vector<Option> boardOptions();

/// The options of boardOptions() and more.
std::vector<Option> boardOptionsAnd(const std::vector<Option>& more);

/**
 * Finds the board that the arguments name. Wrong spelling and a missing board end in a Failure. Scans, and so
 * belongs in a child process.
 */
qm_PCIDevice findBoard(const Arguments& arguments);

/// The same from outside: scans in a child; the record's dev is null.
qm_PCIDevice findBoardInChild(const Arguments& arguments);

/// All functions of the machine as the library's topology has them, "children" behind bridges, "label" of
/// Ethernet ports. Scans.
Json topology();

/// The Ethernet ports of a topology in the library's order, each with its "index".
Json ethernetPorts(const Json& tree);

/// Labels of these ports by their addresses: entries "name:index:label;" of the library's file.
std::map<std::string, std::string> labelsIn(const std::string& text, const Json& ports);

/// The tree as a list, in the order of the addresses.
Json flattened(const Json& tree);

/// Names of devices by the address of the PCI function that they belong to, however far below it.
using Devices = std::multimap<std::string, std::string>;

/// The devices of a class: "net", "uio", "tty".
Devices devicesOfClass(const std::string& kind);

/// "00:03.0", function 0.
std::string addressOf(const qm_PCIDevice& board);

/// "1234:11e8".
std::string idsOf(const qm_PCIDevice& board);

/// The board's directory in sysfs.
std::filesystem::path directoryOf(const std::string& address);

/// Name of the driver that has the board; empty without one.
std::string driverOf(const std::string& address);

}  // namespace qmctl

#endif
