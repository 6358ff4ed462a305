#include "board.hpp"

#include "child.hpp"
#include "files.hpp"
#include "text.hpp"
#include <qm/error.h>
#include <qm/pci_topology.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <regex>
#include <set>
#include <span>
#include <sstream>

namespace qmctl {

namespace {

constexpr char kLabelFile[] = "/usr/quillmark/sysinfo/ethTranslateFile.txt";
constexpr char kEthernet[] = "020000";
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

/// The caller owns a topology: arrays, texts and bridge records.
void freeTopology(qm_topo_node* nodes, uint32_t count)
{
    for (qm_topo_node& node : std::span(nodes, count)) {
        std::free(node.interfaceType);
        auto* const bridge = reinterpret_cast<_qm_topo_bridge*>(node.customData);
        if (bridge == nullptr) continue;
        freeTopology(bridge->children, bridge->nChildren);
        std::free(bridge);
    }
    std::free(nodes);
}

/// Fills in the identifiers of the board in a slot.
void identify(Named& named)
{
    qm_topo_node* nodes = nullptr;
    const auto count =
        static_cast<uint32_t>(qm_getPciTopologyAtBus(&nodes, static_cast<uint32_t>(named.bus)));
    bool found = false;
    for (const qm_topo_node& node : std::span(nodes, count)) {
        if (node.slot != static_cast<uint32_t>(named.slot) || node.func != 0) continue;
        named.vendor = static_cast<uint16_t>(node.VID);
        named.device = static_cast<uint16_t>(node.DID);
        found = true;
    }
    freeTopology(nodes, count);
    if (!found)
        throw Failure(fmt::format("there is no board at {:02x}:{:02x}; 'qmctl pci list' shows what there is",
                                  named.bus, named.slot));
}

struct ClassName
{
    uint32_t code, mask;
    const char* name;
};

constexpr ClassName kClassNames[] = {
    {0x0100, 0xFF00, "storage"},        {0x0200, 0xFFFF, "Ethernet"},    {0x0200, 0xFF00, "network"},
    {0x0300, 0xFF00, "display"},        {0x0400, 0xFF00, "multimedia"},  {0x0500, 0xFF00, "memory"},
    {0x0600, 0xFFFF, "host bridge"},    {0x0601, 0xFFFF, "ISA bridge"},  {0x0604, 0xFFFF, "PCI bridge"},
    {0x0607, 0xFFFF, "CardBus bridge"}, {0x0600, 0xFF00, "bridge"},      {0x0700, 0xFFFF, "serial"},
    {0x0700, 0xFF00, "communication"},  {0x0800, 0xFF00, "system"},      {0x0900, 0xFF00, "input"},
    {0x0B00, 0xFF00, "processor"},      {0x0C03, 0xFFFF, "USB"},         {0x0C05, 0xFFFF, "SMBus"},
    {0x0C00, 0xFF00, "serial bus"},     {0x0D00, 0xFF00, "wireless"},    {0x1000, 0xFF00, "encryption"},
    {0x1100, 0xFF00, "acquisition"},    {0x1200, 0xFF00, "accelerator"}, {0x0000, 0xFF00, "other"},
    {0xFF00, 0xFF00, "other"},
};

std::string className(uint32_t code)
{
    for (const ClassName& row : kClassNames)
        if ((code >> 8 & row.mask) == row.code) return row.name;
    return fmt::format("class {:04x}", code >> 8);
}

Json toJson(const qm_topo_node& node, const Devices& devices, std::set<uint32_t>& buses)
{
    const std::string address = fmt::format("{:02x}:{:02x}.{:x}", node.bus, node.slot, node.func);
    const auto own = devices.equal_range(address);
    Json names = Json::array();
    for (auto device = own.first; device != own.second; ++device)
        names.push_back(device->second);
    Json value{{"address", address},
               {"ids", fmt::format("{:04x}:{:04x}", node.VID, node.DID)},
               {"subsystem", node.SubVID == 0 && node.SubDID == 0
                                 ? Json()
                                 : Json(fmt::format("{:04x}:{:04x}", node.SubVID, node.SubDID))},
               {"class", fmt::format("{:06x}", node.classcode)},
               {"kind", className(node.classcode)},
               {"interface", node.interfaceType != nullptr ? node.interfaceType : "PCI"},
               {"driver", driverOf(address)},
               {"devices", names}};
    const auto* const bridge = reinterpret_cast<const _qm_topo_bridge*>(node.customData);
    if (node.headerType != QM_TOPO_PCI_BRIDGE || bridge == nullptr) return value;
    buses.insert(bridge->sec);
    value["secondary_bus"] = bridge->sec;
    value["subordinate_bus"] = bridge->sub;
    value["children"] = Json::array();
    for (const qm_topo_node& child : std::span(bridge->children, bridge->nChildren))
        value["children"].push_back(toJson(child, devices, buses));
    return value;
}

/// Labels of ports by their addresses: entries "name:index:label;" of the library's file.
std::map<std::string, std::string> labelsOf(const Json& ports)
{
    std::map<std::string, std::string> labels;
    std::istringstream entries(files::content(kLabelFile).value_or(""));
    for (std::string entry; std::getline(entries, entry, ';');) {
        const std::size_t name = entry.find(':');
        const std::size_t number = std::min(entry.find(':', name + 1), entry.size());
        if (name == std::string::npos || number == entry.size()) continue;
        const auto index = wholeNumber(std::string_view(entry).substr(name + 1, number - name - 1));
        if (index && *index < ports.size()) labels[ports[*index].at("address")] = entry.substr(number + 1);
    }
    return labels;
}

void addLabels(Json& tree, const std::map<std::string, std::string>& labels)
{
    for (Json& node : tree) {
        const auto label = labels.find(node.at("address"));
        node["label"] = label == labels.end() ? "" : label->second;
        if (node.contains("children")) addLabels(node["children"], labels);
    }
}

void flatten(const Json& tree, Json& list)
{
    for (const Json& node : tree) {
        Json row = node;
        row.erase("children");
        list.push_back(row);
        if (node.contains("children")) flatten(node.at("children"), list);
    }
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

Json topology()
{
    Json tree = Json::array();
    std::set<uint32_t> buses{0};
    for (const std::string& name : files::entries("/sys/bus/pci/devices"))
        if (name.starts_with("0000:")) buses.insert(hex(name.substr(5, 2)));
    Devices devices;
    for (const char* const kind : {"net", "uio", "tty"})
        devices.merge(devicesOfClass(kind));
    std::set<uint32_t> shown;
    for (const uint32_t bus : buses) {
        if (!shown.insert(bus).second) continue;
        qm_topo_node* nodes = nullptr;
        const auto count = static_cast<uint32_t>(qm_getPciTopologyAtBus(&nodes, bus));
        for (const qm_topo_node& node : std::span(nodes, count))
            tree.push_back(toJson(node, devices, shown));
        freeTopology(nodes, count);
    }
    addLabels(tree, labelsOf(ethernetPorts(tree)));
    return tree;
}

Json ethernetPorts(const Json& tree)
{
    Json ports = Json::array();
    for (const Json& function : flattened(tree)) {
        if (function.at("class") != kEthernet) continue;
        ports.push_back(function);
        ports.back()["index"] = ports.size() - 1;
    }
    return ports;
}

Json flattened(const Json& tree)
{
    Json list = Json::array();
    flatten(tree, list);
    std::sort(list.begin(), list.end(), [](const Json& left, const Json& right) {
        return left.at("address").get<std::string>() < right.at("address").get<std::string>();
    });
    std::map<std::string, int> positions;
    for (Json& row : list)
        row["position"] = ++positions[row.at("ids").get<std::string>()];
    return list;
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
