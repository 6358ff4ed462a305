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

namespace qmctl {

namespace {

constexpr char kPlace[] = "/tmp";  // any directory that is there on every machine
constexpr char kRoom[] = "size=256m,mode=755";

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
    if (mount("qmctl", kPlace, "tmpfs", MS_NOSUID | MS_NODEV, kRoom) != 0)
        throw cannot("mount memory for the report");
}

}  // namespace

bool unpackReport(int archive, const std::filesystem::path& place)
{
    return runProgram({"tar", "-xzf", "-", "--strip-components=1", "--no-same-owner", "-C", place},
                      archive) &&
           files::present(place / std::filesystem::path(kMeasurementsFile).relative_path());
}

void openReport(const std::string& archive)
{
    const int file = open(archive.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) throw cannot("open the report " + archive);
    enterNamespaces();
    const bool unpacked = unpackReport(file, kPlace);
    (void)close(file);
    if (!unpacked) throw Failure(fmt::format("{} is no report; 'qmctl report' writes one", archive));
    if (chroot(kPlace) != 0 || chdir("/") != 0) throw cannot("enter the report");
    // Only from here on: a link in somebody else's report leads nowhere but into the report.
    try {
        restoreBinaries("/");
    } catch (const std::exception& error) {
        throw Failure(fmt::format("{} is damaged: {}", archive, error.what()));
    }
    // Without it libpci would look for this machine's boards by the processor's ports.
    std::filesystem::create_directories("/sys/bus/pci/devices");
    (void)setenv("SYSTEMD_DEVICE_VERIFY_SYSFS", "0", 1);  // its /sys is no kernel's
}

}  // namespace qmctl
