// qmctl pci bind, unbind, probe: which kernel driver has a board. The library asks the kernel and does not
// see a refusal; here the result is looked at.

#include "binding.hpp"
#include "child.hpp"
#include "files.hpp"
#include "nouns.hpp"
#include "text.hpp"
#include <qm/interrupts.h>
#include <qm/pci_access.h>

#include <fmt/format.h>

#include <sstream>

namespace qmctl {

namespace {

constexpr char kUioDriver[] = "uio_quillmark";

/// The first network interface of a board that a route uses; empty without one.
std::string routedInterface(const std::string& address)
{
    const Devices interfaces = devicesOfClass("net");
    const auto own = interfaces.equal_range(address);
    for (auto device = own.first; device != own.second; ++device) {
        const std::string& name = device->second;
        for (const std::string& line : files::lines("/proc/net/route"))
            if (line.starts_with(name + '\t')) return name;
        for (const std::string& line : files::lines("/proc/net/ipv6_route")) {
            std::istringstream words(line);
            std::string word, next, last;
            for (int i = 0; words >> word; ++i) {
                if (i == 4) next = word;  // the next hop: a link-local route alone is no use of the card
                last = word;
            }
            if (last == name && next.find_first_not_of('0') != std::string::npos) return name;
        }
    }
    return "";
}

/// A mounted file system, a swap area or another block device (as of LVM or RAID) that lies on it.
bool isDiskInUse(const std::string& name)
{
    const std::string folder = "/sys/class/block/" + name;
    if (!files::entries(folder + "/holders").empty()) return true;
    const std::string number = ' ' + files::firstLine(folder + "/dev").value_or("?") + ' ';
    const std::string node = " /dev/" + name + ' ';
    for (const std::string& line : files::lines("/proc/self/mountinfo"))
        if (line.find(number) != std::string::npos || line.find(node) != std::string::npos) return true;
    for (const std::string& line : files::lines("/proc/swaps"))
        if (line.starts_with(node.substr(1))) return true;
    return false;
}

/// The first disk or partition behind a board that is in use; empty without one.
std::string usedDisk(const std::string& address)
{
    const Devices disks = devicesOfClass("block");
    const auto own = disks.equal_range(address);
    for (auto disk = own.first; disk != own.second; ++disk)
        if (isDiskInUse(disk->second)) return disk->second;
    return "";
}

}  // namespace

void refuseInUse(const std::string& address, const Arguments& arguments)
{
    if (arguments.has("--force")) return;
    const std::string name = routedInterface(address);
    if (!name.empty())
        throw Failure(
            fmt::format("{} is the network card {} with an active route, perhaps yours; take the interface "
                        "down first ('ip link set {} down'), or use --force",
                        address, name, name));
    const std::string disk = usedDisk(address);
    if (!disk.empty())
        throw Failure(
            fmt::format("{} is the controller of the disk {}, which is in use; unmount it first "
                        "('findmnt /dev/{}'), or use --force",
                        address, disk, disk));
}

bool handOver(qm_PCIDevice& board, const std::string& driver)
{
    if (driver == kUioDriver)
        (void)qm_uio_bindDeviceToUio(&board);
    else
        (void)qm_pci_bindDriver(&board, driver.c_str());
    return driverOf(addressOf(board)) == driver;
}

std::string giveBack(qm_PCIDevice& board, const std::string& before)
{
    if (before.empty()) return "; it has no driver, as before";
    return handOver(board, before) ? fmt::format("; it has its old driver {} back", before)
                                   : fmt::format("; its old driver {} did not take it back", before);
}

void requireDriver(const std::string& driver)
{
    if (driver.find('/') == std::string::npos && files::present("/sys/bus/pci/drivers/" + driver)) return;
    throw Failure(
        fmt::format("there is no driver '{0}' below /sys/bus/pci/drivers; load its module first "
                    "('modprobe {0}')",
                    driver));
}

namespace {

Json result(const qm_PCIDevice& board, const std::string& before, const std::string& done)
{
    const std::string address = addressOf(board);
    return {{"address", address}, {"before", before}, {"driver", driverOf(address)}, {"done", done}};
}

Json dryRun(const qm_PCIDevice& board, const std::string& before, const std::string& what)
{
    return result(board, before,
                  fmt::format("would {} {} (driver now: {})", what, addressOf(board), orNone(before)));
}

Json bind(const Arguments& arguments)
{
    const std::string driver = arguments.text("DRIVER");
    requireDriver(driver);
    qm_PCIDevice board = findBoard(arguments);
    const std::string address = addressOf(board);
    const std::string before = driverOf(address);
    if (before == driver)
        return result(board, before, fmt::format("{} has the driver {} already", address, driver));
    refuseInUse(address, arguments);
    if (arguments.has("--dry-run")) return dryRun(board, before, "bind " + driver + " to");
    if (handOver(board, driver))
        return result(board, before, fmt::format("{}: {} instead of {}", address, driver, orNone(before)));
    throw Failure(
        fmt::format("the kernel did not give {} ({}) to {}: the driver does not know such a board, see "
                    "'dmesg'{}",
                    address, idsOf(board), driver, giveBack(board, before)));
}

Json unbind(const Arguments& arguments)
{
    qm_PCIDevice board = findBoard(arguments);
    const std::string address = addressOf(board);
    const std::string before = driverOf(address);
    if (before.empty()) return result(board, before, fmt::format("{} has no driver already", address));
    refuseInUse(address, arguments);
    if (arguments.has("--dry-run")) return dryRun(board, before, "unbind");
    if (qm_pci_unbindDriver(&board) != 0 || !driverOf(address).empty())
        throw Failure(fmt::format("{} still has the driver {}; are you root?", address, driverOf(address)));
    return result(board, before, fmt::format("{}: no driver instead of {}", address, before));
}

Json probe(const Arguments& arguments)
{
    qm_PCIDevice board = findBoard(arguments);
    const std::string address = addressOf(board);
    const std::string before = driverOf(address);
    if (!before.empty())
        return result(board, before, fmt::format("{} has the driver {} already", address, before));
    if (arguments.has("--dry-run")) return dryRun(board, before, "let the kernel find a driver for");
    if (qm_pci_probeDriver(&board) != 0) throw Failure("cannot ask the kernel for a driver; are you root?");
    const std::string driver = driverOf(address);
    if (driver.empty())
        throw Failure(
            fmt::format("the kernel knows no driver for {} ({}); 'qmctl pci bind' gives it a certain one",
                        address, idsOf(board)));
    return result(board, before, fmt::format("{}: {}", address, driver));
}

/// In a child, whose library words explain a failure.
template <Json (*act)(const Arguments&)>
Outcome inOwnProcess(const Arguments& arguments)
{
    return {inChild([&] { return act(arguments); }).value};
}

Command command(const char* verb, const char* text, std::vector<Option> options,
                Outcome (*run)(const Arguments&))
{
    options.push_back({"--dry-run", Kind::flag, "", "Only say what would be done"});
    return {"pci", verb, text, std::move(options), run, showDone, "", false};
}

}  // namespace

std::vector<Command> pciDriverCommands()
{
    const Option force{"--force", Kind::flag, "", "Also a network card or a disk that is in use"};
    auto toBind = boardOptionsAnd({force});
    toBind.insert(toBind.begin() + 1, {"DRIVER", Kind::driver, "DRIVER", "Name below /sys/bus/pci/drivers"});
    std::vector<Command> all{
        command("bind", "Hand a board to a kernel driver", toBind, inOwnProcess<bind>),
        command("unbind", "Take a board away from its kernel driver", boardOptionsAnd({force}),
                inOwnProcess<unbind>),
        command("probe", "Let the kernel find a driver for a board", boardOptions(), inOwnProcess<probe>)};
    all[0].details =
        "When the new driver does not take the board, the old one gets it back. uio_quillmark, the driver "
        "for "
        "interrupts in models, takes any board.";
    return all;
}

}  // namespace qmctl
