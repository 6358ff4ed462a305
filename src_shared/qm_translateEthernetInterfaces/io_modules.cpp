#include "qm_translateEthernetInterfaces/io_modules.hpp"

#include <algorithm>
#include <span>

namespace {

using namespace qm::ethernet;

using Ports = std::span<const qm_topo_node>;

constexpr uint32_t kIntel = 0x8086;
constexpr uint32_t kRealtek = 0x10EC;
/// Deliberate: not Intel's number, so that an Intel 0x1229 is never taken for an NX20.
constexpr uint32_t kNx20Vendor = 0x8006;

/// Where the bridges in front of a module's ports must stand: on one bus, the first at this slot, each next
/// one `step` slots further. Without a step all stand at the same slot, whichever.
struct Bridges
{
    uint32_t firstSlot, step;
};

constexpr Bridges kSameSlot = {0, 0};
constexpr Bridges kAlone = kSameSlot;  // of a single port, which needs no bridge

constexpr Bridges slotsFrom(uint32_t first)
{
    return {first, 1};
}

bool standAs(const Bridges& wanted, Ports ports)
{
    if (ports.size() == 1) return true;
    const qm_topo_node* const first = ports.front().parent;
    if (first == nullptr) return false;  // on bus 0
    uint32_t slot = wanted.step == 0 ? first->slot : wanted.firstSlot;
    for (const qm_topo_node& port : ports) {
        if (port.parent == nullptr || port.parent->bus != first->bus || port.parent->slot != slot)
            return false;
        slot += wanted.step;
    }
    return true;
}

/// What else must be true of a module's first port.
using Condition = bool (*)(const qm_topo_node& port, qm_TargetType target);

bool isAny(const qm_topo_node& /*port*/, qm_TargetType /*target*/)
{
    return true;
}

bool isOwnPairOfTalus(const qm_topo_node& port, qm_TargetType target)
{
    return target == Talus && port.bus == 5 && port.slot == 0;
}

/// Deliberate: never true on a RoverV3, whose own ports look the same.
bool hasNx60Subsystem(const qm_topo_node& port, qm_TargetType target)
{
    return port.SubVID == 0xFFFF && port.SubDID == 0 && target != RoverV3;
}

bool hasNx40_10Subsystem(const qm_topo_node& port, qm_TargetType /*target*/)
{
    return port.SubVID == 0 && port.SubDID == 0;
}

struct Rule
{
    uint32_t vendor, device;  // of each port
    Bridges bridges;
    Condition condition;
    EthInterface result;
};

/// The first rule that applies decides.
constexpr std::array<Rule, 14> kRules = {{
    {kIntel, 0x1533, slotsFrom(2), isAny, {NX46, 4}},
    {kIntel, 0x1533, slotsFrom(1), isAny, {NX46, 4}},
    {kRealtek, 0x8168, kAlone, isAny, {NX48, 1}},
    {kNx20Vendor, 0x1229, kAlone, isAny, {NX20, 1}},
    {kIntel, 0x1533, slotsFrom(1), isOwnPairOfTalus, {ONBOARD, 2}},
    {kIntel, 0x1533, slotsFrom(1), isAny, {NX90, 2}},
    {kIntel, 0x1533, kAlone, hasNx60Subsystem, {NX60, 1}},
    {kIntel, 0x1533, kAlone, hasNx40_10Subsystem, {NX40_10, 1}},
    {kIntel, 0x1539, slotsFrom(1), isAny, {NX90_11, 2}},
    {kIntel, 0x1563, kSameSlot, isAny, {NX50, 2}},
    {kIntel, 0x10D3, slotsFrom(2), isAny, {NX44, 4}},
    {kIntel, 0x10D3, slotsFrom(4), isAny, {NX42, 2}},
    {kIntel, 0x107C, kAlone, isAny, {NX40, 1}},
    {kIntel, 0x1229, kSameSlot, isAny, {NX22, 2}},
}};

constexpr EthInterface kUnknownPort = {ONBOARD, 1};

bool applies(const Rule& rule, Ports rest, qm_TargetType target)
{
    if (rest.size() < rule.result.nPorts) return false;
    const Ports ports = rest.first(rule.result.nPorts);
    const auto hasIds = [&](const auto& port) { return port.VID == rule.vendor && port.DID == rule.device; };
    return std::all_of(ports.begin(), ports.end(), hasIds) && standAs(rule.bridges, ports) &&
           rule.condition(ports.front(), target);
}

}  // namespace

namespace qm::ethernet {

EthInterface isEthernetModule(const EthernetDevices& devices, std::size_t position, qm_TargetType target)
{
    const Ports rest = Ports(devices).subspan(position);
    const auto* const rule = std::find_if(kRules.begin(), kRules.end(),
                                          [&](const Rule& row) { return applies(row, rest, target); });
    return rule == kRules.end() ? kUnknownPort : rule->result;
}

}  // namespace qm::ethernet
