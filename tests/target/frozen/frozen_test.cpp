#include "fake_kernel.hpp"
#include "target_test.hpp"
#include "world.hpp"
#include <slrealtime/Standalone.hpp>

#include <fcntl.h>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <sys/wait.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <regex>
#include <type_traits>
#include <ucontext.h>
#include <utility>

// Each frozen entry beside the function of today: called with the same arguments in equal copies of a
// process.

namespace qm::test {

namespace {

constexpr uint32_t kAll = 0xFFFFFFFF;
constexpr char kFilePage[] = "in the program's file: one page for all processes";

/// What the functions read and write.
struct State
{
    qm_PCIDevice board{};
    qm_AxiDevice axi{7, "/dev/uio7"};
    uint32_t words[QM_PCI_CONFIG_SAVE_WORDS] = {1, 2, 3, 4, 5, 6, 7, 8};
    uintptr_t physical = 9;
    qm_mod_info* module = nullptr;
    char path[100] = {};
} state;

/// A record under the name of whichever release asks for it.
struct Axi
{
    template <typename Device>
    operator Device*() const
    {
        return reinterpret_cast<Device*>(&state.axi);
    }
};

std::string instructions;  // port accesses, which the processor refuses

void onFault(int /*signal*/, siginfo_t* /*info*/, void* context)
{
    auto* const registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    instructions += fmt::format("{:x} {:x} {:x}", *reinterpret_cast<unsigned char*>(registers[REG_RIP]),
                                registers[REG_RDX], registers[REG_RAX] & 0xFFFFFFFF);
    registers[REG_RAX] = 0x12345678;
    registers[REG_RIP] += 1;
}

template <typename Record>
std::string showRecord(const Record* record)
{
    return record == nullptr ? "null" : fmt::format("type {}, id {}", record->type, record->id);
}

template <typename Call>
std::string resultOf(Call call)
{
    using Result = std::invoke_result_t<Call>;
    if constexpr (std::is_void_v<Result>)
        return call(), "nothing";
    else if constexpr (std::is_same_v<Result, void*>)
        return fmt::format("{}", call());
    else if constexpr (std::is_pointer_v<Result>)
        return showRecord(call());
    else
        return fmt::format("{}", call());
}

// What does not show by itself.

/// The same bits for whichever signedness is asked for.
struct Bits
{
    operator int32_t() const { return static_cast<int32_t>(value); }
    operator uint32_t() const { return value; }

    uint32_t value;
};

template <auto get>
std::string modulesOf(uint32_t type, uint32_t id)
{
    qm_mod_list modules = nullptr;
    std::string found;
    for (int i = 0, count = get(&modules, type, Bits{id}); i < count; ++i)
        found += showRecord(modules[i]) + "; ";
    std::free(modules);
    return found;
}

template <auto map>
bool isMapped(uint32_t bar)
{
    return map(&state.board, bar) == reinterpret_cast<void*>(std::exchange(state.board.VirtAddress[bar], 0));
}

template <auto wait>
bool takesAsLongAs(double seconds)
{
    const auto before = std::chrono::steady_clock::now();
    wait(seconds);
    return std::chrono::steady_clock::now() - before >= std::chrono::duration<double>(seconds);
}

template <auto elapsedTime>
bool isNow()
{
    return std::abs(elapsedTime() - qm_getElapsedTime()) < 60.0;
}

template <auto isFresh>
bool afterSetting()
{
    qm_setModelInit();
    return isFresh();
}

template <auto tag>
void discarding()
{
    (void)tag();
}

template <auto spawn>
int exitStatus(const char* path, const char* program, const char* options)
{
    int status = -1;
    const pid_t child = spawn(path, program, options);
    return waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

template <auto add>
std::string orderOf(int priority)
{
    std::string order;
    const auto first = [](void* text) { *static_cast<std::string*>(text) += "entry "; };
    const auto second = [](void* text) { *static_cast<std::string*>(text) += "other "; };
    add(first, &order, priority);
    qm_add_start_callback(second, &order, priority - 1);
    slrealtime::standalone::runStartCallbacks();
    return order;
}

using Act = std::string (*)();

struct Pair
{
    std::string name;
    Act today, frozen;
};

#define PAIR(today, frozen, ...)                                       \
    Pair                                                               \
    {                                                                  \
#frozen, [] { return resultOf([] { return today(__VA_ARGS__); }); }, \
            [] { return resultOf([] { return frozen(__VA_ARGS__); }); } \
    }

const Pair kPairs[] = {
    PAIR(qm_inpDW, qm_hdlc_inpDW_v19b, 0xE000),
    PAIR(qm_outpDW, qm_hdlc_outpDW_v19b, 0xE004, 0x89ABCDEF),
    PAIR(qm_setAbilities, qm_hdlc_setAbilities_v19b),
    PAIR(qm_module_register, qm_hdlc_module_register_v19b, 7, 3),
    PAIR(qm_module_unregister, qm_hdlc_module_unregister_v19b, 7, 2),
    PAIR(modulesOf<qm_module_get>, modulesOf<qm_hdlc_module_get_v19b>, 7, 2),
    PAIR(modulesOf<qm_module_get>, modulesOf<qm_hdlc_module_get_v19b>, 7, kAll),
    PAIR(qm_module_get_single, qm_hdlc_module_get_single_v24a, 7, 2),
    PAIR(qm_block_register, qm_hdlc_block_register_v24a, state.module, 4, 6),
    PAIR(qm_block_unregister, qm_hdlc_block_unregister_v24a, state.module, 4, 5),
    PAIR(qm_block_get, qm_hdlc_block_get_v24a, state.module, 4, 5),
    PAIR(afterSetting<qm_isModelInit>, afterSetting<qm_hdlc_isModelInit_v19b>),
    PAIR(qm_initModelRun, qm_hdlc_initModelRun_v21b),
    PAIR(discarding<qm_tagModelRun>, qm_hdlc_terminateModelRun_v22a),
    PAIR(afterSetting<qm_isFirstModelLoad>, afterSetting<qm_hdlc_isFirstModelLoad_v26a>),
    PAIR(qm_allocPhysicalMemory_uncached, qm_hdlc_allocPhysicalMemory_v19b, 12288),
    PAIR(qm_allocPhysicalMemory_v2, qm_hdlc_allocPhysicalMemory_v2_v22b, 12288, &state.physical),
    PAIR(qm_freePhysicalMemory, qm_hdlc_freePhysicalMemory_v19b, reinterpret_cast<void*>(0x1234)),
    PAIR(qm_getPhysicalBufferAddr, qm_hdlc_getPhysicalBufferAddr_v25a, const_cast<char*>(kFilePage)),
    PAIR(qm_findAxiDevice, qm_hdlc_findAxiDevice_v25a, Axi(), "fabric"),
    PAIR(qm_findAxiDevice, qm_hdlc_findAxiDevice_v25a, Axi(), "missing"),
    PAIR(qm_mapAxiBar, qm_hdlc_mapAxiBar_v25a, Axi(), 3),
    PAIR(qm_loadOnChipBitstream, qm_hdlc_loadOnChipBitstream_v25a, "file"),
    PAIR(qm_findPciDevice, qm_hdlc_findPciDevice_v19b, &state.board, "ADC", 0x9234, 0x91E8, 0x9AF4, 0x9100, 2,
         3, -1),
    PAIR(qm_findPciDevice, qm_hdlc_findPciDevice_v19b, &state.board, "ADC", 0x9234, 0x91E8, 0x9AF4, 0x9100, 2,
         3, 5),
    PAIR(qm_findPciDevice, qm_hdlc_findPciDevice_v19b, &state.board, "ADC", 0x9234, 0x91E8, 0x9100, 0x9AF4, 2,
         3, 5),
    PAIR(qm_showPciDevice, qm_hdlc_showPciDevice_v19b, &state.board),
    PAIR(isMapped<qm_mapMemory>, isMapped<qm_hdlc_mapMemory_v19b>, 2),
    PAIR(qm_mapMemory, qm_hdlc_mapMemory_v19b, &state.board, 6),
    PAIR(qmPCI_backupPCIConfig, qmPCI_backupPCIConfig_v22a, &state.board, state.words),
    PAIR(qmPCI_restorePCIConfig, qmPCI_restorePCIConfig_v22a, &state.board, state.words),
    PAIR(qmPCI_printPCIConfig, qmPCI_printPCIConfig_v22a, &state.board),
    PAIR(qm_pci_bindDriver, qm_pci_bindDriver_v26a, &state.board, "driver"),
    PAIR(qm_pci_unbindDriver, qm_pci_unbindDriver_v26a, &state.board),
    PAIR(takesAsLongAs<qm_wait_s>, takesAsLongAs<qm_hdlc_wait_s_v19b>, 0.004),
    PAIR(isNow<qm_getElapsedTime>, isNow<qm_hdlc_getElapsedTime_v19b>),
    PAIR(qm_getModelBaseDir, qm_hdlc_getModelBaseDir_v21a, state.path, 100),
    PAIR(qm_getModelBaseDir, qm_hdlc_getModelBaseDir_v21a, state.path, 4),
    PAIR(exitStatus<qm_spawnExecutable>, exitStatus<qm_hdlc_spawnExecutable_v21b>, "/usr/bin", "test",
         "1 -gt 2"),
    PAIR(orderOf<qm_add_start_callback>, orderOf<qm_hdlc_add_start_callback_v26a>, 5),
};

class FrozenEntries : public TargetTest
{
public:
    FrozenEntries()
    {
        Board card = board(0x9234, 0x91E8).subsystem(0x9AF4, 0x9100).bar(2, 0xFEB00000, 0x3000);
        world_.add(Board(card).at(3, 5)).add(card.at(4, 6));
        sandbox::writeFile(World::directory("0000:03:05.0") / "driver/unbind", "");
        sandbox::writeFile("/sys/bus/pci/drivers/driver/bind", "");
        sandbox::writeFile("/sys/class/uio/uio0/name", "fabric");
        for (const char* directory : {"/dev", "/tmp/quillmark", "/dev/shm"})
            sandbox::freshDirectory(directory);
        sandbox::writeFile("/dev/u-dma-buf-mgr", "");
        state.board.bus = 3;
        state.board.slot = 5;
        state.board.BaseAddress_raw[2] = state.board.BaseAddress[2] = 0xFEB00000;
        state.board.Length[2] = 0x3000;
        for (uint32_t id = 1; id <= 2; ++id)
            state.module = qm_module_register(7, id);
        (void)qm_block_register(state.module, 4, 5);
    }

protected:
    /// Everything that an act leaves behind in a copy of this process: nothing of it stays here.
    std::string traceOf(Act act)
    {
        int ends[2];
        EXPECT_EQ(0, pipe2(ends, O_CLOEXEC));
        if (fork() == 0) {
            const std::string trace = perform(act);
            const auto written = write(ends[1], trace.data(), trace.size());
            _exit(written == static_cast<ssize_t>(trace.size()) ? 0 : 1);
        }
        close(ends[1]);
        std::string trace;
        char part[4096];
        for (ssize_t size = 0; (size = read(ends[0], part, sizeof part)) > 0;)
            trace.append(part, static_cast<size_t>(size));
        close(ends[0]);
        int status = -1;
        EXPECT_LT(0, wait(&status));
        EXPECT_EQ(0, status);
        std::filesystem::remove("/tmp/quillmark/model_uuid");
        return trace;
    }

private:
    /// The trace, without what differs from process to process.
    std::string perform(Act act)
    {
        struct sigaction action = {};
        action.sa_sigaction = &onFault;
        action.sa_flags = SA_SIGINFO;
        sigaction(SIGSEGV, &action, nullptr);
        log_.clear();
        kernel.writes.clear();
        errno = E2BIG;
        const std::string result = act();
        const int error = errno;
        if (state.board.dev != nullptr) state.board.dev = reinterpret_cast<pci_dev*>(1);
        state.module = nullptr;
        const std::string log = fmt::format("{}", fmt::join(log_.lines(), "\n"));
        const auto* const bytes = reinterpret_cast<const unsigned char*>(&state);
        return fmt::format("{}, errno {}, text '{}', writes {}, ports {}, instruction {}\n{}\n{:02x}\n",
                           result, error, pQmErrorStr, kernel.writes, kernel.ports, instructions,
                           std::regex_replace(log, std::regex("pid: [0-9]+|0x[0-9a-f]{9,}"), "#"),
                           fmt::join(bytes, bytes + sizeof state, ""));
    }

    World world_;
};

TEST_F(FrozenEntries, DoWhatTheFunctionsOfTodayDo)
{
    const std::string nothing = traceOf([] { return std::string("nothing"); });
    for (const Pair& pair : kPairs) {
        SCOPED_TRACE(pair.name);
        const std::string today = traceOf(pair.today);
        EXPECT_NE(nothing, today) << "shows nothing";
        EXPECT_EQ(today, traceOf(pair.frozen));
    }
}

}  // namespace

}  // namespace qm::test
