#include "opened_report.hpp"

#include "child.hpp"
#include "doctor.hpp"
#include "files.hpp"
#include "report_tree.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>

namespace fs = std::filesystem;

namespace qmctl {

namespace {

constexpr char kPlace[] = "/tmp";  // any directory that is there on every machine
constexpr char kRoom[] = "size=256m,nr_inodes=65536,mode=755";

Failure cannot(const std::string& what)
{
    return Failure(fmt::format("cannot {}: {}", what, std::strerror(errno)));
}

/// As root a mount namespace is enough; others get a user namespace in which they are root.
void enterNamespaces()
{
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (unshare(CLONE_NEWNS | (user == 0 ? 0 : CLONE_NEWUSER)) != 0)
        throw Failure(
            fmt::format("cannot make a namespace for the report: {}; run as root", std::strerror(errno)));
    if (user != 0) {
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/uid_map") << fmt::format("0 {} 1", user);
        std::ofstream("/proc/self/gid_map") << fmt::format("0 {} 1", group);
    }
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        throw cannot("make the namespace private");
    if (mount("qmctl", kPlace, "tmpfs", MS_NOSUID | MS_NODEV | MS_NOEXEC, kRoom) != 0)
        throw cannot("mount memory for the report");
}

}  // namespace

std::optional<fs::path> unpackReport(int archive, const fs::path& place)
{
    // No --strip-components: tar would take what is left of "folder//etc/file" for a file of this machine.
    if (!runProgram({"tar", "-xzf", "-", "--no-same-owner", "-C", place}, archive)) return std::nullopt;
    const auto folders = files::entries(place);
    if (folders.size() != 1) return std::nullopt;
    fs::path report = place / folders.front();
    const bool whole = fs::is_directory(fs::symlink_status(report)) &&
                       files::present(report / fs::path(kMeasurementsFile).relative_path());
    return whole ? std::optional(report) : std::nullopt;
}

void openReport(const std::string& archive)
{
    const int file = open(archive.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) throw cannot("open the report " + archive);
    enterNamespaces();
    const auto report = unpackReport(file, kPlace);
    (void)close(file);
    if (!report) throw Failure(fmt::format("{} is no report; 'qmctl report' writes one", archive));
    if (chroot(report->c_str()) != 0 || chdir("/") != 0) throw cannot("enter the report");
    // Only from here on: a link in somebody else's report leads nowhere but into the report.
    try {
        restoreBinaries("/");
        // Without it libpci would look for this machine's boards by the processor's ports.
        fs::create_directories("/sys/bus/pci/devices");
    } catch (const std::exception& error) {
        throw Failure(fmt::format("{} is damaged: {}", archive, error.what()));
    }
    (void)setenv("SYSTEMD_DEVICE_VERIFY_SYSFS", "0", 1);  // its /sys is no kernel's
}

}  // namespace qmctl
