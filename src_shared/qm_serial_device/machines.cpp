#include "qm_serial_device/machines.hpp"

#include <algorithm>
#include <array>
#include <span>

namespace qm::serial {

namespace {

// clang-format off
constexpr std::array<uint32_t, 6> defaultMachine = {0x3F8,      0x2F8,      0x220, 0x228, 0x238, 0x338};
constexpr std::array<uint32_t, 6> KR411Machine   = {0x3F8,      0x2F8,      0x3E8, 0x2E8, 0x2F0, 0x2E0};
constexpr std::array<uint32_t, 6> RoverVMachine  = {0x3F8,      0x2F8,      0x3E8, 0x2E8, 0x238, 0x338};
constexpr std::array<uint32_t, 6> ZenithMachine  = {0x3F8,      0x2F8,      0x240, 0x248, 0x250, 0x258};
constexpr std::array<uint32_t, 2> TalusMachine   = {0xFF000000, 0xFF010000};
// clang-format on

struct Machine
{
    qm_TargetType type;
    std::span<const uint32_t> addresses;  // of port 1 and on
};

/// Every other model is a defaultMachine.
constexpr std::array<Machine, 6> kMachines = {{
    {KR411, KR411Machine},
    {RoverV2, RoverVMachine},
    {RoverV3, RoverVMachine},
    {Zenith, ZenithMachine},
    {Talus, TalusMachine},
    {NonQuillmark, {}},
}};

std::span<const uint32_t> addressesOf(qm_TargetType type)
{
    const auto* const row = std::ranges::find(kMachines, type, &Machine::type);
    return row != kMachines.end() ? row->addresses : defaultMachine;
}

}  // namespace

std::optional<uint32_t> portAddress(qm_TargetType type, int port)
{
    const std::span<const uint32_t> addresses = addressesOf(type);
    if (port < 1 || static_cast<std::size_t>(port) > addresses.size()) return std::nullopt;
    return addresses[static_cast<std::size_t>(port) - 1];
}

}  // namespace qm::serial
