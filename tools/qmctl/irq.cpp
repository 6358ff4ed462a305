// qmctl irq list: the interrupts of boards that models can wait for.

#include "board.hpp"
#include "files.hpp"
#include "nouns.hpp"
#include "text.hpp"

#include <fmt/format.h>

#include <cctype>
#include <sstream>

namespace qmctl {

namespace {

constexpr int kPriorityField = 40;  // of /proc/PID/stat, counted from 1

/// Process of the kernel's thread for an interrupt: "irq/23-qm00030"; empty without one.
std::string threadOf(const std::string& irq, const std::string& device)
{
    // The kernel cuts names at 15 characters.
    const std::string name = fmt::format("irq/{}-{}", irq, device).substr(0, 15);
    for (const std::string& process : files::entries("/proc"))
        if (std::isdigit(static_cast<unsigned char>(process[0])) != 0 &&
            files::firstLine("/proc/" + process + "/comm") == name)
            return process;
    return "";
}

Json priorityOf(const std::string& process)
{
    const std::string stat = files::firstLine("/proc/" + process + "/stat").value_or("");
    const std::size_t end = stat.rfind(')');  // the name may hold blanks
    if (end == std::string::npos) return nullptr;
    std::istringstream fields(stat.substr(end + 1));
    std::string field;
    for (int i = 3; i <= kPriorityField; ++i)
        fields >> field;
    return numberOrNull(field);
}

Json describe(const std::string& uio)
{
    const std::filesystem::path folder = "/sys/class/uio/" + uio;
    const std::string device = files::firstLine(folder / "name").value_or("");
    const std::string address = files::linkName(folder / "device");
    const std::string irq = files::firstLine(folder / "device/irq").value_or("");
    const std::string thread = threadOf(irq, device);
    return {{"uio", uio},
            {"name", device},
            {"board", address.starts_with("0000:") ? address.substr(5) : address},
            {"irq", numberOrNull(irq)},
            {"interrupts", numberOrNull(files::firstLine(folder / "event"))},
            {"cpus", files::firstLine("/proc/irq/" + irq + "/smp_affinity_list").value_or("")},
            {"thread", numberOrNull(thread)},
            {"priority", thread.empty() ? Json() : priorityOf(thread)}};
}

Outcome list(const Arguments& /*arguments*/)
{
    Outcome outcome{Json::array()};
    for (const std::string& uio : files::entries("/sys/class/uio"))
        outcome.value.push_back(describe(uio));
    return outcome;
}

std::string showList(const Json& rows, const Look& look)
{
    return table(rows,
                 {{"UIO", "uio"},
                  {"Board", "board"},
                  {"Name", "name"},
                  {"IRQ", "irq", false, true},
                  {"Interrupts", "interrupts", false, true},
                  {"CPUs", "cpus"},
                  {"Thread", "thread", false, true},
                  {"Priority", "priority", false, true}},
                 look, "no board has a UIO driver; 'qmctl pci bind BOARD uio_quillmark' gives it one");
}

}  // namespace

std::vector<Command> irqCommands()
{
    return {
        {"irq",
         "list",
         "List the interrupts that models can wait for",
         {},
         list,
         showList,
         "Thread is the kernel's thread for the interrupt, with its real-time priority; CPUs are those that "
         "the interrupt may run on."}};
}

}  // namespace qmctl
