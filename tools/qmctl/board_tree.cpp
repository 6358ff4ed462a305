// The machine's boards as a tree: what the library's topology, sysfs and the file of labels say of each.

#include "board.hpp"
#include "bus_topology.hpp"
#include "files.hpp"
#include "text.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <span>
#include <sstream>

namespace qmctl {

namespace {

constexpr char kLabelFile[] = "/usr/quillmark/sysinfo/ethTranslateFile.txt";
constexpr char kEthernet[] = "020000";

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

Json topology()
{
    Json tree = Json::array();
    std::set<uint32_t> buses{0};
    for (const std::string& name : files::entries("/sys/bus/pci/devices"))
        if (name.starts_with("0000:"))
            if (const auto bus = wholeNumber(name.substr(5, 2), 16))
                buses.insert(static_cast<uint32_t>(*bus));
    Devices devices;
    for (const char* const kind : {"net", "uio", "tty"})
        devices.merge(devicesOfClass(kind));
    std::set<uint32_t> shown;
    for (const uint32_t bus : buses) {
        if (!shown.insert(bus).second) continue;
        const BusTopology topology(bus);
        for (const qm_topo_node& node : topology.nodes())
            tree.push_back(toJson(node, devices, shown));
    }
    addLabels(tree, labelsIn(files::content(kLabelFile).value_or(""), ethernetPorts(tree)));
    return tree;
}

std::map<std::string, std::string> labelsIn(const std::string& text, const Json& ports)
{
    std::map<std::string, std::string> labels;
    std::istringstream entries(text);
    for (std::string entry; std::getline(entries, entry, ';');) {
        const std::size_t name = entry.find(':');
        const std::size_t number = std::min(entry.find(':', name + 1), entry.size());
        if (name == std::string::npos || number == entry.size()) continue;
        const auto index = wholeNumber(std::string_view(entry).substr(name + 1, number - name - 1));
        if (index && *index < ports.size()) labels[ports[*index].at("address")] = entry.substr(number + 1);
    }
    return labels;
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

}  // namespace qmctl
