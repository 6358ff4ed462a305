#include "test.hpp"

#include <sys/socket.h>

#include <ifaddrs.h>
#include <netpacket/packet.h>

// Instead of the computer's interfaces eno1, with its hardware address last of three, and ib0 with a long
// one.
INTERPOSED int getifaddrs(ifaddrs** first) noexcept
{
    static sockaddr_ll addresses[] = {{AF_INET, 0, 0, 0, 0, 6, "zzzzz"},
                                      {AF_PACKET, 0, 0, 0, 0, 6, "abcdef"},
                                      {AF_PACKET, 0, 0, 0, 0, 20, "ABCDEFG"}};
    static ifaddrs entries[4];
    for (size_t i = 0; i < 4; ++i) {
        entries[i].ifa_next = i < 3 ? &entries[i + 1] : nullptr;
        entries[i].ifa_name = const_cast<char*>(i < 3 ? "eno1" : "ib0");
        entries[i].ifa_addr = i > 0 ? reinterpret_cast<sockaddr*>(&addresses[i - 1]) : nullptr;
    }
    *first = entries;
    return 0;
}

INTERPOSED void freeifaddrs(ifaddrs* /*first*/) noexcept {}

namespace qm::test {

using HostLink = TargetTest;

TEST_F(HostLink, IsTheFirstEntryThatSaysSoAndNamesAnInterfaceWithAHardwareAddress)
{
    constexpr char kUnknown[] = "error QM: Failed to determine default host link interface";
    sandbox::freshDirectory("/usr/quillmark/sysinfo");
    for (const auto& [labels, address, error] : {std::tuple{"", "#########", kUnknown},  // no file
                                                 {"eno1:0:ETH1;", "#########", kUnknown},
                                                 {":0:Hostlink;eno1:1:Hostlink;", "#########", kUnknown},
                                                 {"eno:0:Hostlink;eno1:1:Hostlink;", "#########", ""},
                                                 {"enHostlink:0:ETH1;eno1:1:Hostlink;", "#########", ""},
                                                 {"ib0:0:ETH1;Hostlink;eno1:1:Hostlink", "abcdef###", ""},
                                                 {"ib0:0:Hostlink;", "ABCDEFG\0#", ""}}) {
        log_.clear();
        if (*labels != '\0') sandbox::writeFile("/usr/quillmark/sysinfo/ethTranslateFile.txt", labels);
        uint8_t destination[] = "#########";
        EXPECT_EQ(*address == '#' ? -1 : 0, qm_target_getHostLinkMac(destination));
        EXPECT_EQ(0, std::memcmp(address, destination, sizeof destination)) << labels;
        EXPECT_EQ(error, log_.lines().empty() ? "" : log_.lines().back());
    }
}

}  // namespace qm::test
