#include "qm_common/information_files.hpp"
#include "qm_common/text_file.hpp"
#include <qm/host_link.h>
#include <qm/log.h>

#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <ifaddrs.h>
#include <memory>
#include <netpacket/packet.h>
#include <new>
#include <sstream>
#include <string>

namespace {

constexpr char kHostLinkLabel[] = "Hostlink";
constexpr char kEntryEnd = ';';
constexpr char kFieldEnd = ':';

struct FreeAddresses
{
    void operator()(ifaddrs* first) const { ::freeifaddrs(first); }
};

using Addresses = std::unique_ptr<ifaddrs, FreeAddresses>;

/// Name of the host link's network interface; empty when unknown.
std::string qm_getDefaultHostLinkInterface()
try {
    std::istringstream labels(qm::readWholeText(qm::kEthernetLabelsFile).value_or(""));
    for (std::string entry; std::getline(labels, entry, kEntryEnd);) {
        if (entry.find(kHostLinkLabel) == std::string::npos) continue;
        const std::size_t nameEnd = entry.find(kFieldEnd);
        if (nameEnd != std::string::npos) return entry.substr(0, nameEnd);
    }
    return {};
} catch (const std::bad_alloc&) {
    return {};
}

/// The first hardware address of an interface; null without one.
const sockaddr_ll* findLinkAddress(const ifaddrs* first, const std::string& interface)
{
    for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_PACKET) continue;
        if (interface == entry->ifa_name) return reinterpret_cast<const sockaddr_ll*>(entry->ifa_addr);
    }
    return nullptr;
}

}  // namespace

int qm_target_getHostLinkMac(uint8_t* destination)
{
    const std::string interface = qm_getDefaultHostLinkInterface();
    if (interface.empty()) {
        qm_printf(qm_error, "Failed to determine default host link interface\n");
        return -1;
    }
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0) {
        qm_printf(qm_error, "Failed to get interface addresses\n");
        return -1;
    }
    const Addresses addresses(first);
    const sockaddr_ll* const link = findLinkAddress(first, interface);
    if (link == nullptr) return -1;
    // The length may be that of a longer address, of which only the beginning is there.
    const std::size_t length = std::min<std::size_t>(link->sll_halen, sizeof link->sll_addr);
    std::memcpy(destination, link->sll_addr, length);
    return 0;
}
