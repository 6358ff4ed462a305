// A bridge's and a card's configuration space: saved, printed, written back, and walked as a tree.

#include "input.hpp"
#include "pci_errors.hpp"
#include "world.hpp"

namespace {

using namespace qm::test;

bool enterWorld()
{
    World world;
    world.add(board(0x8086, 0x3420).at(0, 28).bridgeTo(1, 1))
        .add(board(0x1234, 0x11E8).at(1, 0).express(2, 4));
    return true;
}

void saveAndRestore(unsigned bus, unsigned slot)
{
    qm_PCIDevice board{};
    board.bus = bus;
    board.slot = slot;
    std::array<uint32_t, QM_PCI_CONFIG_SAVE_WORDS> saved{};
    qmPCI_backupPCIConfig(&board, saved.data());
    qmPCI_printPCIConfig(&board);
    qmPCI_restorePCIConfig(&board, saved.data());
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    static const bool entered = enterWorld();
    const qm::fuzz::Log log;
    // The first byte says how much of the rest is the bridge's.
    const std::size_t cut = size == 0 ? 0 : std::min<std::size_t>(data[0], size - 1);
    const char* const bytes = reinterpret_cast<const char*>(data) + (size == 0 ? 0 : 1);
    const std::string bridge(bytes, cut);
    const std::string card(bytes + cut, size == 0 ? 0 : size - 1 - cut);
    qm::fuzz::require(entered);
    const auto bridgeFile = World::directory("0000:00:1c.0") / "config";
    const auto cardFile = World::directory("0000:01:00.0") / "config";
    sandbox::writeFile(bridgeFile, bridge);
    sandbox::writeFile(cardFile, card);

    qm::fuzz::surviveLibpci([&] {
        saveAndRestore(0, 28);
        saveAndRestore(1, 0);
        if (bridge.size() >= 64) qm::fuzz::require(sandbox::readFile(bridgeFile) == bridge);
        if (card.size() >= 64) qm::fuzz::require(sandbox::readFile(cardFile) == card);
        qm_topo_node* root = nullptr;
        const int count = qm_getPciTopology(&root);
        qm_printPciTopology(root, static_cast<uint32_t>(count));
    });
    return 0;
}
