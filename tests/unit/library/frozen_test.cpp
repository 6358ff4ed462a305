// The entries of earlier releases, with recorders instead of the functions of today: each hands on what it is
// called with, and the result.

#include "test.hpp"
#include <qm/frozen.h>

namespace {

using namespace qm::test;

std::string called;
int answer = 0;

struct Entry
{
    const char *frozen, *today;
    void (*expect)(const std::string& today);
};
std::vector<Entry> entries;

template <typename Value>
Value asArgument(int number)
{
    if constexpr (std::is_pointer_v<Value>)
        return reinterpret_cast<Value>(static_cast<uintptr_t>(number));
    else
        return static_cast<Value>(number);
}

template <typename Result, typename... Argument, int... number>
void expectForwarded(const std::string& today, Result (*frozen)(Argument...),
                     std::integer_sequence<int, number...> /*numbers*/)
{
    std::string expected = today;
    ((expected += fmt::format(" {}", number + 1)), ...);
    for (answer = 0; answer < 2; ++answer) {
        if constexpr (std::is_void_v<Result>)
            frozen(asArgument<Argument>(number + 1)...);
        else
            EXPECT_EQ(asArgument<Result>(answer), frozen(asArgument<Argument>(number + 1)...));
        EXPECT_EQ(expected, called.substr(0, expected.size()));
    }
}

template <auto frozen>
void expectForwardedOf(const std::string& today)
{
    [&]<typename Result, typename... Argument>(Result (*function)(Argument...)) {
        expectForwarded(today, function, std::make_integer_sequence<int, sizeof...(Argument)>());
    }(frozen);
}

long record(const char* today, const std::vector<int>& arguments)
{
    called = fmt::format("{} {}", today, fmt::join(arguments, " "));
    return answer;
}

}  // namespace

/// All have at most six arguments, each an integer or an address: on x86-64, six registers.
#define ENTRY(frozen, today)                                                   \
    extern "C" long own_##today(int, int, int, int, int, int) __asm__(#today); \
    long own_##today(int a, int b, int c, int d, int e, int f)                 \
    {                                                                          \
        return record(#today, {a, b, c, d, e, f});                             \
    }                                                                          \
    static const Entry& entry_##today =                                        \
        entries.emplace_back(Entry{#frozen, #today, expectForwardedOf<frozen>});

ENTRY(qm_hdlc_inpDW_v19b, qm_inpDW)
ENTRY(qm_hdlc_outpDW_v19b, qm_outpDW)
ENTRY(qm_hdlc_setAbilities_v19b, qm_setAbilities)
ENTRY(qm_hdlc_module_register_v19b, qm_module_register)
ENTRY(qm_hdlc_module_unregister_v19b, qm_module_unregister)
ENTRY(qm_hdlc_module_get_v19b, qm_module_get)
ENTRY(qm_hdlc_module_get_single_v24a, qm_module_get_single)
ENTRY(qm_hdlc_block_register_v24a, qm_block_register)
ENTRY(qm_hdlc_block_unregister_v24a, qm_block_unregister)
ENTRY(qm_hdlc_block_get_v24a, qm_block_get)
ENTRY(qm_hdlc_isModelInit_v19b, qm_isModelInit)
ENTRY(qm_hdlc_initModelRun_v21b, qm_initModelRun)
ENTRY(qm_hdlc_terminateModelRun_v22a, qm_tagModelRun)
ENTRY(qm_hdlc_isFirstModelLoad_v26a, qm_isFirstModelLoad)
ENTRY(qm_hdlc_allocPhysicalMemory_v19b, qm_allocPhysicalMemory_uncached)
ENTRY(qm_hdlc_allocPhysicalMemory_v2_v22b, qm_allocPhysicalMemory_v2)
ENTRY(qm_hdlc_freePhysicalMemory_v19b, qm_freePhysicalMemory)
ENTRY(qm_hdlc_getPhysicalBufferAddr_v25a, qm_getPhysicalBufferAddr)
ENTRY(qm_hdlc_findAxiDevice_v25a, qm_findAxiDevice)
ENTRY(qm_hdlc_mapAxiBar_v25a, qm_mapAxiBar)
ENTRY(qm_hdlc_loadOnChipBitstream_v25a, qm_loadOnChipBitstream)
ENTRY(qm_hdlc_showPciDevice_v19b, qm_showPciDevice)
ENTRY(qm_hdlc_mapMemory_v19b, qm_mapMemory)
ENTRY(qmPCI_backupPCIConfig_v22a, qmPCI_backupPCIConfig)
ENTRY(qmPCI_restorePCIConfig_v22a, qmPCI_restorePCIConfig)
ENTRY(qmPCI_printPCIConfig_v22a, qmPCI_printPCIConfig)
ENTRY(qm_pci_bindDriver_v26a, qm_pci_bindDriver)
ENTRY(qm_pci_unbindDriver_v26a, qm_pci_unbindDriver)
ENTRY(qm_hdlc_getModelBaseDir_v21a, qm_getModelBaseDir)
ENTRY(qm_hdlc_spawnExecutable_v21b, qm_spawnExecutable)
ENTRY(qm_hdlc_add_start_callback_v26a, qm_add_start_callback)

TEST(FrozenEntries, HandOnTheirArgumentsAndTheResult)
{
    ASSERT_EQ(31U, entries.size());
    for (const Entry& entry : entries) {
        SCOPED_TRACE(entry.frozen);
        entry.expect(entry.today);
    }
}

// Those of another kind of arguments.
extern "C" int ownFind(int, int, int, int, int, int, int, int, int) __asm__("qm_findPciDevice");
int ownFind(int a, int b, int c, int d, int e, int f, int g, int h, int i)
{
    return static_cast<int>(record("qm_findPciDevice", {a, b, c, d, e, f, g, h, i}));
}
extern "C" void ownWait(double) __asm__("qm_wait_s");
void ownWait(double seconds)
{
    called = fmt::format("qm_wait_s {}", seconds);
}
extern "C" double ownElapsedTime() __asm__("qm_getElapsedTime");
double ownElapsedTime()
{
    return 2.5;
}

TEST(FrozenEntries, HandOnNineArgumentsAndTimes)
{
    expectForwardedOf<qm_hdlc_findPciDevice_v19b>("qm_findPciDevice");
    qm_hdlc_wait_s_v19b(0.25);
    EXPECT_EQ("qm_wait_s 0.25", called);
    EXPECT_EQ(2.5, qm_hdlc_getElapsedTime_v19b());
}
