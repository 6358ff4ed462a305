// The files of somebody else's report: persistent memory as text, what the doctor looks at.

#include "command.hpp"
#include "doctor.hpp"
#include "input.hpp"
#include "report_tree.hpp"

#include <exception>

namespace {

constexpr std::array kFiles{"/dev/shm/qm_persMem_main.hex",
                            "/dev/shm/first.hex",
                            "/proc/meminfo",
                            "/proc/self/limits",
                            "/proc/self/status",
                            "/sys/kernel/security/lockdown",
                            "/proc/sys/kernel/version",
                            "/proc/sys/kernel/sched_rt_period_us"};
constexpr std::size_t kOwnPlaces = 2;  // the others are looked for below a root
constexpr const char* kRoot = "/dev/shm/machine";

void listPersistentMemory()
{
    const auto& commands = qmctl::commands();
    const auto list = std::ranges::find(commands, "persist list", &qmctl::Command::name);
    (void)list->show(list->run({}).value, {});
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    static const bool entered = (qm::test::sandbox::freshDirectory("/dev/shm"), true);
    qm::fuzz::require(entered);
    const auto texts = qm::fuzz::texts<kFiles.size()>(data, size);
    for (const auto& entry : std::filesystem::directory_iterator("/dev/shm"))
        std::filesystem::remove_all(entry);
    for (std::size_t i = 0; i < kFiles.size(); ++i)
        qm::test::sandbox::writeFile((i < kOwnPlaces ? "" : kRoot) + std::string(kFiles[i]), texts[i]);
    try {
        qmctl::restoreBinaries("/dev/shm");
    } catch (const std::exception&) {
        return 0;  // opening the report ends here
    }
    (void)qmctl::showFindings(qmctl::examine({kRoot, {}}).value, {});
    try {
        listPersistentMemory();
    } catch (const qmctl::Failure&) {
    }
    return 0;
}
