// The files of somebody else's report: persistent memory as text, what the doctor looks at,
// what was measured, buffers and interrupts.

#include "command.hpp"
#include "doctor.hpp"
#include "input.hpp"
#include "redaction.hpp"
#include "report_tree.hpp"

namespace {

constexpr std::array kFiles{"/dev/shm/qm_persMem_main.hex",
                            "/dev/shm/first.hex",
                            "/proc/meminfo",
                            "/proc/self/limits",
                            "/proc/self/status",
                            "/sys/kernel/security/lockdown",
                            "/proc/sys/kernel/version",
                            "/proc/sys/kernel/sched_rt_period_us",
                            "/qmctl/measurements.json"};
constexpr std::array kSysfsFiles{"/sys/class/u-dma-buf/other/size", "/sys/class/u-dma-buf/other/phys_addr",
                                 "/sys/class/uio/uio0/name", "/sys/class/uio/uio0/device/irq",
                                 "/sys/class/uio/uio0/event"};
constexpr std::size_t kOwnPlaces = 2;  // the others are looked for below a root
constexpr const char* kRoot = "/dev/shm/machine";

bool enterWorld()
{
    qm::test::sandbox::freshDirectory("/dev/shm");
    qm::test::sandbox::freshDirectory("/sys");
    return true;
}

/// What a report says is neither an order to the terminal nor a text that is no JSON.
void check(const qmctl::Json& value, const std::string& text)
{
    qm::fuzz::require(text.find('\033') == std::string::npos);
    qm::fuzz::require(qmctl::Json::accept(qmctl::jsonText(value)));
}

void list(const char* name)
try {
    const auto& commands = qmctl::commands();
    const auto list = std::ranges::find(commands, name, &qmctl::Command::name);
    const qmctl::Json value = list->run({}).value;
    check(value, list->show(value, {}));
} catch (const qmctl::Failure&) {
    // what cannot be listed is said so
}

void seeTheDoctor(const std::string& measurements)
try {
    const auto saved = qmctl::measurementsIn(measurements);
    const qmctl::Json findings = qmctl::examine({kRoot, saved.measurements}).value;
    check(findings, qmctl::showFindings(findings, {}));
} catch (const qmctl::Failure& failure) {
    qm::fuzz::require(std::string(failure.what()).starts_with("the report is damaged: /qmctl/"));
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    static const bool entered = enterWorld();
    qm::fuzz::require(entered);
    const auto texts = qm::fuzz::texts<kFiles.size() + kSysfsFiles.size()>(data, size);
    for (const auto& entry : std::filesystem::directory_iterator("/dev/shm"))
        std::filesystem::remove_all(entry);
    for (std::size_t i = 0; i < kFiles.size(); ++i)
        qm::test::sandbox::writeFile((i < kOwnPlaces ? "" : kRoot) + std::string(kFiles[i]), texts[i]);
    for (std::size_t i = 0; i < kSysfsFiles.size(); ++i)
        qm::test::sandbox::writeFile(kSysfsFiles[i], texts[kFiles.size() + i]);
    try {
        qmctl::restoreBinaries("/dev/shm");
    } catch (const qmctl::Failure&) {
        return 0;  // opening the report ends here
    }
    seeTheDoctor(texts[kFiles.size() - 1]);
    (void)qmctl::Redaction(false)(texts[2]);
    for (const char* const name : {"persist list", "dma list", "irq list"})
        list(name);
    return 0;
}
