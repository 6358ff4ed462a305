// qmctl report: one archive with everything that somebody needs who looks into a problem from afar.

#include "child.hpp"
#include "doctor.hpp"
#include "files.hpp"
#include "nouns.hpp"
#include "persistent_format.hpp"
#include "report_tree.hpp"
#include "text.hpp"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>

namespace fs = std::filesystem;

namespace qmctl {

namespace {

constexpr char kFolder[] = "qmctl-report";
constexpr std::size_t kLogLines = 200;

constexpr std::array kFiles{"/proc/cmdline",
                            "/proc/version",
                            "/proc/uptime",
                            "/proc/cpuinfo",
                            "/proc/meminfo",
                            "/proc/interrupts",
                            "/proc/modules",
                            "/proc/iomem",
                            "/proc/ioports",
                            "/proc/self/limits",
                            "/proc/self/status",
                            "/proc/sys/kernel/osrelease",
                            "/proc/sys/kernel/version",
                            "/proc/sys/kernel/sched_rt_*_us",
                            "/proc/irq/*/smp_affinity_list",
                            "/proc/tty/driver/serial",
                            "/etc/debian_version",
                            "/etc/os-release",
                            "/sys/kernel/realtime",
                            "/sys/kernel/security/lockdown",
                            "/sys/kernel/qm/*",
                            "/sys/devices/system/cpu/isolated",
                            "/sys/devices/system/cpu/online",
                            "/sys/devices/system/cpu/nohz_full",
                            "/sys/devices/system/cpu/cpu[0-9]*/cpufreq/scaling_governor",
                            "/sys/devices/system/cpu/cpu[0-9]*/cpuidle/state*/name",
                            "/sys/devices/system/cpu/cpu[0-9]*/cpuidle/state*/latency",
                            "/sys/devices/system/cpu/cpu[0-9]*/cpuidle/state*/disable",
                            "/sys/devices/system/clocksource/clocksource0/*_clocksource",
                            "/sys/class/dmi/id/sys_vendor",
                            "/sys/class/dmi/id/product_name",
                            "/sys/class/dmi/id/board_name",
                            "/sys/class/dmi/id/bios_version",
                            "/usr/quillmark/sysinfo/*"};

constexpr std::array kFilesOfFull{"/sys/class/dmi/id/product_serial", "/sys/class/dmi/id/board_serial",
                                  "/sys/class/dmi/id/chassis_serial"};

constexpr std::array kNodes{"/dev/mem",       "/dev/u-dma-buf-mgr", "/dev/qm-udma-buf*",
                            "/dev/uio[0-9]*", "/dev/ttyS*",         "/dev/cpu/0/msr"};

/// A directory that is gone with this object.
class Scratch
{
public:
    Scratch()
    {
        std::string name = (fs::temp_directory_path() / "qmctl-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr)
            throw Failure(fmt::format("cannot make a folder in {}: {}", fs::temp_directory_path().string(),
                                      std::strerror(errno)));
        path_ = name;
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    ~Scratch()
    {
        std::error_code none;
        fs::remove_all(path_, none);
    }
    [[nodiscard]] const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

void copyDevices(ReportTree& tree)
{
    for (const char* const kind :
         {"bus/pci/devices", "class/net", "class/tty", "class/uio", "class/u-dma-buf"}) {
        const fs::path folder = fs::path("/sys") / kind;
        for (const std::string& name : files::entries(folder)) {
            const bool virtualTerminal =
                folder.filename() == "tty" && !files::present(folder / name / "device");
            if (virtualTerminal) continue;
            tree.copyLink(folder / name);
            tree.copyDevice(folder / name);
        }
    }
    for (const std::string& name : files::entries("/sys/bus/pci/drivers"))
        tree.makeDirectory("/sys/bus/pci/drivers/" + name);
}

/// Only that udev knows the device, unless everything is asked for: the rest holds serial numbers.
void copyDeviceDatabase(ReportTree& tree, bool full)
{
    for (const char* const kind : {"c", "n"})
        for (const std::string& path : matches(fmt::format("/run/udev/data/{}[0-9]*", kind)))
            full ? tree.copy(path) : tree.write(path, "I:1\n");
}

/// The kernel's threads for interrupts: their names and priorities.
void copyInterruptThreads(ReportTree& tree)
{
    for (const std::string& process : files::entries("/proc")) {
        const std::string folder = "/proc/" + process;
        if (std::isdigit(static_cast<unsigned char>(process[0])) == 0 ||
            !files::firstLine(folder + "/comm").value_or("").starts_with("irq/"))
            continue;
        tree.copy(folder + "/comm");
        tree.copy(folder + "/stat");
    }
}

/// Names and sizes of persistent memory, not what it holds.
void copyPersistentMemory(ReportTree& tree)
{
    const auto content = files::content(persistent::kDirectory);
    if (!content) return;
    const persistent::Directory directory = persistent::directoryIn(*content);
    tree.copyBinary(persistent::kDirectory, {{0, directory.bytes}});
    for (const std::string& name : directory.names) {
        const auto object = files::content(persistent::pathOf(name));
        if (!object) continue;
        ReportTree::Ranges heads;
        for (const persistent::Fragment& fragment : persistent::objectIn(*object).fragments)
            heads.emplace_back(fragment.begin, persistent::kHeadSize);
        tree.copyBinary(persistent::pathOf(name), heads);
    }
}

/// What every command that only looks says here, as text.
void writeAnswers(ReportTree& tree)
{
    for (const Command& command : commands()) {
        const bool asks = !command.options.empty() || !command.readsOnly || command.noun == "document";
        if (asks) continue;
        std::string name = command.name();
        std::replace(name.begin(), name.end(), ' ', '-');
        std::string answer;
        try {
            answer = command.show(command.run({}).value, {});
        } catch (const Failure& failure) {
            answer = fmt::format("failed: {}\n", failure.what());
        }
        tree.write("/qmctl/" + name + ".txt", answer);
    }
}

std::string readMe(bool full)
{
    return fmt::format(
        "Report of qmctl {}, {:%Y-%m-%d %H:%M} UTC{}\n\n"
        "qmctl/     what qmctl says on that machine; doctor.txt first\n"
        "sys/ ...   the machine's files at their places, binary ones as text in NAME.hex\n\n"
        "'qmctl --from REPORT pci tree' and every other command that only looks answers as\n"
        "on that machine. {}\n",
        QMCTL_VERSION, fmt::gmtime(std::time(nullptr)),
        geteuid() == 0 ? "" : ", not written by root: incomplete",
        full ? "MAC addresses and serial numbers are in here: made with --full."
             : "MAC addresses, serial numbers and passwords were taken out.");
}

Outcome run(const Arguments& arguments)
{
    const bool full = arguments.has("--full");
    const std::string output = arguments.has("--output") ? arguments.text("--output")
                                                         : fmt::format("qmctl-report-{:%Y%m%d-%H%M%S}.tar.gz",
                                                                       fmt::gmtime(std::time(nullptr)));
    if (!std::ofstream(output, std::ios::app))
        throw Failure(fmt::format("cannot write {}: {}", output, std::strerror(errno)));
    const Scratch scratch;
    ReportTree tree(scratch.path() / kFolder, full);
    tree.write("/README.txt", readMe(full));
    Json measurements = toJson(measure());
    measurements["cpu_temperature"] = cpuTemperature();
    tree.write(kMeasurementsFile, measurements.dump(2) + '\n');
    writeAnswers(tree);
    for (const char* const pattern : kFiles)
        tree.copyAll(pattern);
    if (full)
        for (const char* const pattern : kFilesOfFull)
            tree.copyAll(pattern);
    tree.copy("/boot/config-" + files::firstLine("/proc/sys/kernel/osrelease").value_or(""));
    tree.copy("/var/log/slrt/qmlog.log", kLogLines);
    for (const char* const pattern : kNodes)
        tree.noteNodes(pattern);
    copyDevices(tree);
    copyDeviceDatabase(tree, full);
    copyInterruptThreads(tree);
    copyPersistentMemory(tree);
    if (!runProgram({"tar", "--owner=0", "--group=0", "--sort=name", "--force-local", "-czf", output, "-C",
                     scratch.path(), kFolder}))
        throw Failure(fmt::format("tar could not write {}", output));
    return {{{"file", output}, {"bytes", fs::file_size(output)}, {"full", full}, {"root", geteuid() == 0}}};
}

std::string show(const Json& value, const Look& /*look*/)
{
    return fmt::format("{} written, {} bytes{}\n", plain(value.at("file")), plain(value.at("bytes")),
                       value.at("root").get<bool>() ? "" : "; run as root it would be complete");
}

}  // namespace

std::vector<Command> reportCommands()
{
    return {{"report",
             "",
             "Write an archive for whoever looks into a problem",
             {{"--output", Kind::file, "FILE", "The archive (qmctl-report-TIME.tar.gz)"},
              {"--full", Kind::flag, "", "With MAC addresses and serial numbers"}},
             run,
             show,
             "The archive holds the target's PCI, UIO, interrupt, serial and network files, versions, the "
             "kernel's "
             "command line, the doctor's findings and the end of the log, as text. 'qmctl --from FILE' "
             "answers from "
             "it.",
             false}};
}

}  // namespace qmctl
