#include "target_test.hpp"

#include <sys/socket.h>

#include <ifaddrs.h>
#include <netpacket/packet.h>

namespace {

struct Interface
{
    ifaddrs entry;
    sockaddr_ll address;
};

Interface interface(const char* name, unsigned short family, unsigned char length, unsigned char first)
{
    Interface made{};
    made.entry.ifa_name = const_cast<char*>(name);
    made.address.sll_family = family;
    made.address.sll_halen = length;
    for (unsigned char& byte : made.address.sll_addr)
        byte = first++;
    return made;
}

Interface interfaces[] = {interface("eno1", 0, 6, 'm'),         interface("eno1", AF_INET, 6, 'n'),
                          interface("eno2", AF_PACKET, 6, 'o'), interface("eno1", AF_PACKET, 6, 'a'),
                          interface("eno1", AF_PACKET, 6, 'p'), interface("ib0", AF_PACKET, 20, 'A'),
                          interface("ppp0", AF_INET, 6, 'q'),   interface("enHostlink0", AF_PACKET, 6, 'k')};
int lists = 0;
bool refused = false;

}  // namespace

// This program's interfaces instead of the computer's; the first one has no address at all.
extern "C" __attribute__((visibility("default"))) int getifaddrs(ifaddrs** first) noexcept
{
    if (refused) return -1;
    ++lists;
    *first = nullptr;
    for (size_t i = std::size(interfaces); i-- > 0; *first = &interfaces[i].entry) {
        interfaces[i].entry.ifa_next = *first;
        if (i > 0) interfaces[i].entry.ifa_addr = reinterpret_cast<sockaddr*>(&interfaces[i].address);
    }
    return 0;
}

extern "C" __attribute__((visibility("default"))) void freeifaddrs(ifaddrs* /*first*/) noexcept
{
    --lists;
}

namespace qm::test {

namespace {

constexpr char kUnknown[] = "error QM: Failed to determine default host link interface";
constexpr char kUntouched[] = "################";

class HostLink : public TargetTest
{};

TEST_F(HostLink, IsTheFirstEntryThatSaysSoAndNamesAnInterfaceWithAHardwareAddress)
{
    sandbox::freshDirectory("/usr/quillmark");
    for (const auto& [labels, address, error] :
         {std::tuple{"no file", kUntouched, kUnknown},
          {"", kUntouched, kUnknown},
          {"eno1:0:ETH1;", kUntouched, kUnknown},
          {"Hostlink;", kUntouched, kUnknown},
          {":0:Hostlink;eno1:1:Hostlink;", kUntouched, kUnknown},
          {"eno:0:Hostlink;eno1:1:Hostlink;", kUntouched, ""},
          {"ppp0:0:Hostlink;", kUntouched, ""},
          {"eno2:0:ETH1;eno1:1:Hostlink;eno2:2:Hostlink;", "abcdef##########", ""},
          {"Hostlink;eno1:1:Hostlink", "abcdef##########", ""},
          {"enHostlink0:0:ETH1;eno1:1:Hostlink;", "klmnop##########", ""},
          {"ib0:0:Hostlink;", "ABCDEFGH########", ""}}) {
        SCOPED_TRACE(labels);
        log_.clear();
        if (*labels != 'n') sandbox::writeFile("/usr/quillmark/sysinfo/ethTranslateFile.txt", labels);
        std::string destination(kUntouched);
        EXPECT_EQ(destination == address ? -1 : 0,
                  qm_target_getHostLinkMac(reinterpret_cast<uint8_t*>(destination.data())));
        EXPECT_EQ(address, destination);
        EXPECT_EQ(*error == '\0' ? std::vector<std::string>{} : std::vector<std::string>{error},
                  log_.lines());
        EXPECT_EQ(0, lists) << "left without being freed";
    }
    refused = true;
    EXPECT_EQ(-1, qm_target_getHostLinkMac(nullptr));
    EXPECT_THAT(log_.lines(), testing::ElementsAre("error QM: Failed to get interface addresses"));
}

}  // namespace

}  // namespace qm::test
