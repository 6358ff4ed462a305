#ifndef QMCTL_OPENED_REPORT_HPP
#define QMCTL_OPENED_REPORT_HPP

#include <filesystem>
#include <optional>
#include <string>

namespace qmctl {

/// Unpacks a report's archive, from a descriptor, into an empty directory: its folder there; nothing when it
/// is no report.
std::optional<std::filesystem::path> unpackReport(int archive, const std::filesystem::path& place);

/**
 * Makes the files of a report this process's own root: from then on the library and this tool see the machine
 * that wrote it. The files are in memory in a mount namespace of the process's own, and gone with it.
 */
void openReport(const std::string& archive);

}  // namespace qmctl

#endif
