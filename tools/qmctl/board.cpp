#include "board.hpp"

#include "bus_topology.hpp"
#include "child.hpp"
#include "files.hpp"
#include <qm/error.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <regex>

namespace qmctl {

namespace {

constexpr char kRightBoard[] =
    "right is VENDOR:DEVICE[:SUBVENDOR:SUBDEVICE], four hexadecimal digits each, or BUS:SLOT, two each, as "
    "in 'qmctl pci list'";

/// What a board argument says.
struct Named
{
    uint16_t vendor = 0, device = 0, subVendor = QM_PCI_ANY_ID, subDevice = QM_PCI_ANY_ID;
    int bus = -1, slot = -1;
};

uint16_t hex(const std::string& digits)
{
    return static_cast<uint16_t>(std::stoul(digits, nullptr, 16));
}

Named parse(const std::string& text)
{
    static const std::regex kIds("([0-9a-fA-F]{4}):([0-9a-fA-F]{4})(:([0-9a-fA-F]{4}):([0-9a-fA-F]{4}))?");
    static const std::regex kPlace("(0000:)?([0-9a-fA-F]{1,2}):([01]?[0-9a-fA-F])(\\.0)?");
    std::smatch parts;
    Named named;
    if (std::regex_match(text, parts, kIds)) {
        named.vendor = hex(parts[1]);
        named.device = hex(parts[2]);
        if (parts[3].matched) {
            named.subVendor = hex(parts[4]);
            named.subDevice = hex(parts[5]);
        }
        return named;
    }
    if (!std::regex_match(text, parts, kPlace))
        throw usage(fmt::format("BOARD: '{}' is wrong; {}", text, kRightBoard));
    named.bus = hex(parts[2]);
    named.slot = hex(parts[3]);
    return named;
}

/// Fills in the identifiers of the board in a slot.
void identify(Named& named)
{
    bool found = false;
    const BusTopology topology(static_cast<uint32_t>(named.bus));
    for (const qm_topo_node& node : topology.nodes()) {
        if (node.slot != static_cast<uint32_t>(named.slot) || node.func != 0) continue;
        named.vendor = static_cast<uint16_t>(node.VID);
        named.device = static_cast<uint16_t>(node.DID);
        found = true;
    }
    if (!found)
        throw Failure(fmt::format("there is no board at {:02x}:{:02x}; 'qmctl pci list' shows what there is",
                                  named.bus, named.slot));
}

}  // namespace

std::vector<Option> boardOptions()
{
    return {{"BOARD", Kind::text, "BOARD", "VENDOR:DEVICE[:SUBVENDOR:SUBDEVICE] or BUS:SLOT, hexadecimal"},
            {"--position", Kind::whole, "N", "Which of several such boards, in order of bus and slot", "1", 1,
             255}};
}

std::vector<Option> boardOptionsAnd(const std::vector<Option>& more)
{
    std::vector<Option> options = boardOptions();
    options.insert(options.begin() + 1, more.begin(), more.end());
    return options;
}

qm_PCIDevice findBoard(const Arguments& arguments)
{
    const std::string text = arguments.text("BOARD");
    Named named = parse(text);
    if (named.bus >= 0) identify(named);
    qm_PCIDevice board{};
    if (qm_findPciDevice(&board, text.c_str(), named.vendor, named.device, named.subVendor, named.subDevice,
                         arguments.whole("--position"), named.bus, named.slot) != 0)
        throw Failure(fmt::format("{}; 'qmctl pci list' shows what there is", pQmErrorStr));
    return board;
}

qm_PCIDevice findBoardInChild(const Arguments& arguments)
{
    (void)parse(arguments.text("BOARD"));
    const Json bytes = inChild([&] {
                           qm_PCIDevice board = findBoard(arguments);
                           board.dev = nullptr;
                           const auto* const begin = reinterpret_cast<const uint8_t*>(&board);
                           return Json(std::vector<uint8_t>(begin, begin + sizeof board));
                       }).value;
    const auto raw = bytes.get<std::vector<uint8_t>>();
    qm_PCIDevice board{};
    std::memcpy(&board, raw.data(), std::min(raw.size(), sizeof board));
    return board;
}

Devices devicesOfClass(const std::string& kind)
{
    Devices devices;
    const std::filesystem::path folder = "/sys/class/" + kind;
    for (const std::string& name : files::entries(folder)) {
        std::error_code none;
        std::string address;
        for (const std::string part : std::filesystem::canonical(folder / name, none))
            if (part.starts_with("0000:") && part.size() == 12) address = part.substr(5);
        if (!address.empty()) devices.emplace(address, name);
    }
    return devices;
}

std::string addressOf(const qm_PCIDevice& board)
{
    return fmt::format("{:02x}:{:02x}.0", board.bus, board.slot);
}

std::string idsOf(const qm_PCIDevice& board)
{
    return fmt::format("{:04x}:{:04x}", board.VendorId, board.DeviceId);
}

std::filesystem::path directoryOf(const std::string& address)
{
    return "/sys/bus/pci/devices/0000:" + address;
}

std::string driverOf(const std::string& address)
{
    return files::linkName(directoryOf(address) / "driver");
}

}  // namespace qmctl
