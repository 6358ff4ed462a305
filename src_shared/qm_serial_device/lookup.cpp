#include "qm_common/device_database.hpp"
#include "qm_pci/board_paths.hpp"
#include "qm_serial_device/natural_order.hpp"
#include <qm/serial.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr char kSubsystem[] = "tty";
constexpr char kPortAttribute[] = "port";

constexpr int kNoPort = -1;

constexpr int kNoCard = -1;
constexpr int kNoEnumerator = -2;
constexpr int kNoTty = -3;
constexpr int kNoNode = -4;
constexpr int kNoFit = -EIO;
static_assert(kNoFit == -5);

/// False, and nothing copied, when there is no room for the text and its terminator.
bool copyIfItFits(std::string_view text, char* destination, size_t destinationSize)
{
    if (text.size() >= destinationSize) return false;
    destination[text.copy(destination, text.size())] = '\0';
    return true;
}

int collectNodes(sd_device_enumerator* ttys, std::vector<std::string>& nodes)
{
    for (sd_device* tty = sd_device_enumerator_get_device_first(ttys); tty != nullptr;
         tty = sd_device_enumerator_get_device_next(ttys)) {
        const char* node = nullptr;
        if (sd_device_get_devname(tty, &node) < 0) return kNoNode;
        nodes.emplace_back(node);
    }
    return nodes.empty() ? kNoTty : 0;
}

int findByPci(const qm_PCIDevice& card, int channel, char* destination, size_t destinationSize)
{
    const qm::Device device = qm::pciDevice(qm::pci::boardAddress(card).data());
    if (device == nullptr) return kNoCard;
    const qm::DeviceEnumerator ttys = qm::devicesBelow(*device, kSubsystem);
    if (ttys == nullptr) return kNoEnumerator;
    std::vector<std::string> nodes;
    if (const int refusal = collectNodes(ttys.get(), nodes); refusal != 0) return refusal;
    std::ranges::sort(nodes, qm::serial::doNaturalCompare);

    const auto index = static_cast<std::size_t>(channel);  // a negative channel becomes one that is too large
    if (index >= nodes.size()) return kNoFit;
    return copyIfItFits(nodes[index], destination, destinationSize) ? 0 : kNoFit;
}

}  // namespace

int qm_findSerialDeviceByPort(uint32_t port, char* destination, size_t destinationSize)
{
    std::array<char, sizeof "0xFFFFFFFF"> address{};
    std::snprintf(address.data(), address.size(), "0x%X", port);
    const qm::DeviceEnumerator ttys = qm::devicesWith(kPortAttribute, address.data(), kSubsystem);
    if (ttys == nullptr) return kNoPort;
    sd_device* const tty = sd_device_enumerator_get_device_first(ttys.get());
    const char* node = nullptr;
    if (tty == nullptr || sd_device_get_devname(tty, &node) < 0) return kNoPort;
    return copyIfItFits(node, destination, destinationSize) ? 0 : kNoPort;
}

int qm_findSerialDeviceByPci(qm_PCIDevice* pPciInfo, int channel, char* destination, size_t destinationSize)
{
    try {
        return findByPci(*pPciInfo, channel, destination, destinationSize);
    } catch (const std::exception&) {
        return kNoFit;  // a name with a number too large to compare, or out of memory
    }
}
