// Finding boards and reading the topology over the number of functions and buses, beside lspci and
// libpciaccess on the same faked tree. Every figure is of a new process: a scan is kept for a process's life.
// Times are processor time.

#include "child.hpp"
#include "sandbox.hpp"
#include "size_table.hpp"
#include "world.hpp"
#include <qm.h>

#include <boost/log/core.hpp>
#include <pciaccess.h>

namespace {

using qm::test::Board;
using qm::test::World;

constexpr uint16_t kVendor = 0x1234;
constexpr uint16_t kDevice = 0x11E8;
constexpr int kRuns = 15;
constexpr int kLaterSearches = 1000;

/// What both sides ask for: the last board of the tree.
struct Wanted
{
    int position;
    int bus;
    int slot;
};

Board wantedBoard()
{
    return {kVendor, kDevice};
}

/// With what libpciaccess reads beyond libpci; without, it would ask for it in vain and go another way.
void add(World& world, const Board& board)
{
    world.add(board);
    for (const auto& [file, content] : {std::pair{"revision", "0x01\n"},
                                        {"subsystem_vendor", "0x0000\n"},
                                        {"subsystem_device", "0x0000\n"}})
        qm::test::sandbox::writeFile(World::directory(board.address()) / file, content);
}

/// Boards with the same identifiers, all on bus 0.
Wanted addFunctions(World& world, int count)
{
    for (int i = 0; i < count; ++i)
        add(world, wantedBoard()
                       .at(0, static_cast<unsigned>(i) / 8, static_cast<unsigned>(i) % 8)
                       .bar(0, 0xFEB00000, 0x1000)
                       .express(2, 1)
                       .multiFunction());
    return {count, 0, (count - 1) / 8};
}

/// A board behind each bridge of bus 0, and one on it.
Wanted addBuses(World& world, int count)
{
    add(world, wantedBoard().at(0, 0));
    for (unsigned bus = 1; bus < static_cast<unsigned>(count); ++bus) {
        add(world, Board(0x8086, 0xA110).at(0, bus).bridgeTo(bus, bus));
        add(world, wantedBoard().at(bus, 0).express(2, 1));
    }
    return {count, count - 1, 0};
}

void search(const Wanted& wanted)
{
    qm_PCIDevice board{};
    require(qm_detectPciDevice(&board, "ADC", kVendor, kDevice, QM_PCI_ANY_ID, QM_PCI_ANY_ID,
                               wanted.position) == 0,
            "qm_detectPciDevice");
}

void searchAtSlot(const Wanted& wanted)
{
    qm_PCIDevice board{};
    require(qm_detectPciDeviceAtSlot(&board, "ADC", kVendor, kDevice, QM_PCI_ANY_ID, QM_PCI_ANY_ID,
                                     wanted.bus, wanted.slot) == 0,
            "qm_detectPciDeviceAtSlot");
}

double laterSearch(const Wanted& wanted)
{
    search(wanted);
    return nsPer(kLaterSearches, [&](int) { search(wanted); });
}

void topology()
{
    qm_topo_node* nodes = nullptr;
    require(qm_getPciTopology(&nodes) > 0, "qm_getPciTopology");
}

/// Walks the boards with the identifiers to the last one.
pci_device* walkByPciaccess(const Wanted& wanted)
{
    const pci_id_match match = {kVendor, kDevice, PCI_MATCH_ANY, PCI_MATCH_ANY, 0, 0, 0};
    pci_device_iterator* const boards = pci_id_match_iterator_create(&match);
    pci_device* board = nullptr;
    for (int i = 0; i < wanted.position; ++i)
        board = pci_device_next(boards);
    require(board != nullptr, "pci_device_next");
    pci_iterator_destroy(boards);
    return board;
}

/// Asks for the BARs, too.
void searchByPciaccess(const Wanted& wanted)
{
    require(pci_system_init() == 0, "pci_system_init");
    require(pci_device_probe(walkByPciaccess(wanted)) == 0, "pci_device_probe");
}

double laterSearchByPciaccess(const Wanted& wanted)
{
    searchByPciaccess(wanted);
    return nsPer(kLaterSearches, [&](int) { (void)walkByPciaccess(wanted); });
}

void searchAtSlotByPciaccess(const Wanted& wanted)
{
    require(pci_system_init() == 0, "pci_system_init");
    pci_device* const board =
        pci_device_find_by_slot(0, static_cast<uint32_t>(wanted.bus), static_cast<uint32_t>(wanted.slot), 0);
    require(board != nullptr && pci_device_probe(board) == 0, "pci_device_probe");
    pci_system_cleanup();
}

/// Which bus hangs behind which bridge.
void topologyByPciaccess()
{
    require(pci_system_init() == 0, "pci_system_init");
    pci_device_iterator* const all = pci_slot_match_iterator_create(nullptr);
    while (pci_device* const device = pci_device_next(all)) {
        int primary = 0, secondary = 0, subordinate = 0;
        (void)pci_device_get_bridge_buses(device, &primary, &secondary, &subordinate);
    }
    pci_iterator_destroy(all);
}

double nsOf(const std::function<void()>& act)
{
    return inNewProcess([&] { return processorNsOf(act); });
}

/// Both libraries and lspci for one way of asking.
std::vector<double> besideOthers(const std::function<void()>& ours, const std::function<void()>& theirs,
                                 const std::vector<const char*>& lspci)
{
    const std::vector<double> ns =
        mediansByTurns(kRuns, {[&] { return nsOf(ours); }, [&] { return nsOf(theirs); },
                               [&] { return processorNsOfProgram(lspci); }});
    return {ns[0], ns[0], systemCallsOf(ours), ns[1], systemCallsOf(theirs), ns[2]};
}

/// The columns of what besideOthers() returns.
enum Figure : std::size_t
{
    kOurs,
    kOursOfEach,
    kOurCalls,
    kPciaccess,
    kCallsOfPciaccess,
    kLspci
};

SizeTable tableOf(const char* title, const char* items, const char* ours, const char* lspci)
{
    return {title,
            items,
            {{ours, 1000.0, 0},
             {"us for each", 1000.0, 2, true},
             {"system calls for each", 1.0, 1, true},
             {"libpciaccess, us", 1000.0, 0, false, kOurs},
             {"its system calls for each", 1.0, 1, true, kOurCalls},
             {lspci, 1000.0, 0, false, kOurs}}};
}

/// Both ways to search in a new process, over the number of `items`.
struct Searches
{
    SizeTable first, atSlot;

    Searches(const char* titleOfFirst, const char* titleOfAtSlot, const char* items)
        : first(tableOf(titleOfFirst, items, "`qm_detectPciDevice`, us", "`lspci -n`, us")),
          atSlot(tableOf(titleOfAtSlot, items, "`qm_detectPciDeviceAtSlot`, us", "`lspci -n`, us"))
    {}

    void add(int count, const Wanted& wanted)
    {
        first.add(count,
                  besideOthers([&] { search(wanted); }, [&] { searchByPciaccess(wanted); }, {"lspci", "-n"}));
        atSlot.add(count, besideOthers([&] { searchAtSlot(wanted); },
                                       [&] { searchAtSlotByPciaccess(wanted); }, {"lspci", "-n"}));
    }
};

void addLater(SizeTable& later, int count, const Wanted& wanted)
{
    const std::vector<double> ns =
        mediansByTurns(kRuns, {[&] { return inNewProcess([&] { return laterSearch(wanted); }); },
                               [&] { return inNewProcess([&] { return laterSearchByPciaccess(wanted); }); }});
    const double calls =
        systemCallsOf([&] { search(wanted), search(wanted); }) - systemCallsOf([&] { search(wanted); });
    later.add(count, {ns[0], ns[0], calls, ns[1]});
}

int overFunctions()
{
    Searches searches("The first search of a process, for the last board",
                      "A search at a bus and slot, for the last board", "Functions");
    SizeTable later("Every later search of a process, for the last board", "Functions",
                    {{"`qm_detectPciDevice`, ns", 1.0, 0, false},
                     {"ns for each", 1.0, 1, true},
                     {"system calls", 1.0, 0, false},
                     {"libpciaccess, ns", 1.0, 0, false, kOurs}});
    SizeTable tree =
        tableOf("The topology of one bus", "Functions", "`qm_getPciTopology`, us", "`lspci -t`, us");
    for (const int count : {1, 4, 16, 64, 256}) {
        World world;
        const Wanted wanted = addFunctions(world, count);
        searches.add(count, wanted);
        addLater(later, count, wanted);
        tree.add(count, besideOthers(topology, topologyByPciaccess, {"lspci", "-t"}));
    }
    auto& [first, atSlot] = searches;
    for (const SizeTable* table : {&first, &atSlot, &later, &tree})
        table->print();
    return printLimits({
        {"the first search among 256 functions, of libpciaccess's", first.ratio(kOurs, kPciaccess, 256), 2.0},
        {"the first search among 256 functions, of `lspci -n`", first.ratio(kOurs, kLspci, 256), 1.0},
        {"a search at a slot among 256 functions, of libpciaccess's", atSlot.ratio(kOurs, kPciaccess, 256),
         2.0},
        {"system calls of a later search", later.at(kOurCalls, 256), 0.0},
        {"a later search among 256 functions, of libpciaccess's", later.ratio(kOurs, 3, 256), 2.0},
        {"the topology of 256 functions of one bus, of libpciaccess's", tree.ratio(kOurs, kPciaccess, 256),
         3.0},
        {"growth of the first search from 16 to 256 functions", first.growth(kOurs, 16, 256), 1.3},
    });
}

int overBuses()
{
    Searches searches("The first search over several buses, for the board of the last one",
                      "A search at a slot of the last of several buses", "Buses");
    SizeTable tree = tableOf("The topology of several buses, each with one board", "Buses",
                             "`qm_getPciTopology`, us", "`lspci -t`, us");
    for (const int count : {1, 4, 8, 32}) {
        World world;
        searches.add(count, addBuses(world, count));
        tree.add(count, besideOthers(topology, topologyByPciaccess, {"lspci", "-t"}));
    }
    auto& [first, atSlot] = searches;
    for (const SizeTable* table : {&first, &atSlot, &tree})
        table->print();
    return printLimits({
        {"the first search over 32 buses, of libpciaccess's", first.ratio(kOurs, kPciaccess, 32), 2.0},
        {"the first search over 32 buses, of `lspci -n`", first.ratio(kOurs, kLspci, 32), 1.0},
        {"a search at a slot of the last of 32 buses, of libpciaccess's", atSlot.ratio(kOurs, kPciaccess, 32),
         2.0},
        {"growth of the first search from 4 to 32 buses", first.growth(kOurs, 4, 32), 1.3},
        // It asks each of a bus's 256 slots and functions, which libpciaccess does not: see
        // docs/benchmarks.md.
        {"the topology of 32 buses, of libpciaccess's", tree.ratio(kOurs, kPciaccess, 32), 25.0},
        {"growth of the topology from 4 to 32 buses", tree.growth(kOurs, 4, 32), 1.3},
        {"system calls of the topology of 32 buses, for each", tree.at(kOurCalls, 32) / 32, 310.0},
    });
}

}  // namespace

int main()
{
    boost::log::core::get()->set_logging_enabled(false);
    const int ofFunctions = overFunctions();
    const int ofBuses = overBuses();
    return ofFunctions != 0 ? ofFunctions : ofBuses;
}
