// The file of Ethernet labels, as read for the host link's address and by qmctl.

#include "board.hpp"
#include "input.hpp"

int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    static const bool world = (qm::test::sandbox::freshDirectory("/usr/quillmark"), true);
    const qm::fuzz::Log log;
    const auto [labels] = qm::fuzz::texts<1>(data, size);
    if (world) qm::test::sandbox::writeFile("/usr/quillmark/sysinfo/ethTranslateFile.txt", labels);
    std::vector<uint8_t> address(8);  // of its own, so that a byte too many is seen
    (void)qm_target_getHostLinkMac(address.data());
    static const qmctl::Json ports{{{"address", "00:03.0"}}, {{"address", "01:00.0"}}};
    qm::fuzz::require(qmctl::labelsIn(labels, ports).size() <= ports.size());
    return 0;
}
