// qmctl pci list, tree, find: what boards there are, by the library's own discovery.

#include "board.hpp"
#include "child.hpp"
#include "nouns.hpp"
#include "text.hpp"

#include <fmt/format.h>

namespace qmctl {

namespace {

std::string showList(const Json& boards, const Look& look)
{
    return table(boards,
                 {{"Address", "address"},
                  {"IDs", "ids"},
                  {"Pos.", "position", false, true},
                  {"Subsystem", "subsystem", false, false, true},
                  {"Kind", "kind", true},
                  {"Link", "interface", true},
                  {"Driver", "driver"},
                  {"Devices", "devices", true},
                  {"Label", "label", true}},
                 look, "no PCI device");
}

/// One node a line, what hangs behind a bridge below it.
std::string branch(const Json& nodes, const std::string& before)
{
    std::string text;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const Json& node = nodes[i];
        const bool last = i + 1 == nodes.size();
        text += fmt::format("{}{}{}  {}  {}, {}", before, before.empty() ? "" : (last ? "`-" : "|-"),
                            plain(node.at("address")), plain(node.at("ids")), plain(node.at("kind")),
                            plain(node.at("interface")));
        if (node.contains("secondary_bus")) {
            const unsigned from = node.at("secondary_bus");
            const unsigned to = node.at("subordinate_bus");
            text += from == to ? fmt::format(" to bus {:02x}", from)
                               : fmt::format(" to buses {:02x}-{:02x}", from, to);
        }
        if (!node.at("driver").get<std::string>().empty()) text += ", " + plain(node.at("driver"));
        if (!node.at("devices").empty()) text += fmt::format(" [{}]", plain(node.at("devices")));
        if (!node.at("label").get<std::string>().empty()) text += " = " + plain(node.at("label"));
        text += '\n';
        if (!node.contains("children")) continue;
        const std::string line = before.empty() ? " " : before + (last ? "  " : "| ");
        text += branch(node.at("children"), line);
    }
    return text;
}

std::string showTree(const Json& tree, const Look& /*look*/)
{
    return tree.empty() ? "no PCI device\n" : branch(tree, "");
}

Json describe(const qm_PCIDevice& board)
{
    Json bars = Json::array();
    for (unsigned i = 0; i < QM_PCI_BARS; ++i) {
        if (board.BaseAddress_raw[i] == 0 && board.Length[i] == 0) continue;
        const bool ports = (board.BaseAddress_raw[i] & 1U) != 0;
        const uintptr_t flags = ports ? 0x3U : 0xFU;
        bars.push_back({{"bar", i},
                        {"kind", ports ? "ports" : "memory"},
                        {"address", fmt::format("0x{:x}", board.BaseAddress_raw[i] & ~flags)},
                        {"bytes", board.Length[i]}});
    }
    return {{"address", addressOf(board)},
            {"ids", idsOf(board)},
            {"position", board.pciIdx},
            {"driver", driverOf(addressOf(board))},
            {"bars", bars}};
}

std::string showBoard(const Json& board, const Look& look)
{
    return facts(board, {{"Address", "address"}, {"IDs", "ids"}, {"Driver", "driver"}}, look) + '\n' +
           table(board.at("bars"),
                 {{"BAR", "bar", false, true},
                  {"Kind", "kind", true},
                  {"Address", "address", false, true},
                  {"Bytes", "bytes", false, true}},
                 look, "no BAR");
}

}  // namespace

std::vector<Command> pciCommands()
{
    return {{"pci",
             "list",
             "List the PCI functions of this machine",
             {},
             [](const Arguments&) { return Outcome{inChild([] { return flattened(topology()); }).value}; },
             showList,
             "Pos. is the position among functions of the same IDs, as models and --position count it."},
            {"pci",
             "tree",
             "Show which PCI function sits behind which bridge",
             {},
             [](const Arguments&) { return Outcome{inChild(topology).value}; },
             showTree},
            {"pci", "find", "Find a board as a model would", boardOptions(),
             [](const Arguments& arguments) {
                 return Outcome{inChild([&] { return describe(findBoard(arguments)); }).value};
             },
             showBoard}};
}

}  // namespace qmctl
